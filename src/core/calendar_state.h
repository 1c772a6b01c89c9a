// What a Calendar holds. Each subsystem keeps its part of the calendar's
// state here; the Calendar's members in the various subsystem folders work
// on it.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "core/notifier.h"
#include "core/reach_index.h"
#include "orncalendar/calendar.h"
#include "orncalendar/collection.h"
#include "orncalendar/error.h"

namespace orncal {

struct Calendar::State {
  // The data folder, normalised.
  std::string path;
  // The month-file cache, keyed by the month's key.
  CollectionPtr<FilePtr> files = std::make_shared<Collection<FilePtr>>();
  // FileLong of every month file present or created, keyed by its text.
  CollectionPtr<int32_t> all_files = std::make_shared<Collection<int32_t>>();
  // What CreateMonthFile has to look at in the listed months.
  core::ReachIndex reach;
  bool initialized = false;
  std::string tasks_file_path;

  // Reminder scan (see GetRemindAppointments): the hour the cache was
  // filled in, the moment up to which reminders were handed out, and the
  // appointments that may still remind in this hour.
  int32_t remind_scan_hour = -1;
  Date remind_scan_day = 0;
  Date remind_scan_from = 0;
  CollectionPtr<AppointmentPtr> remind_cache;
  CollectionPtr<SpecialRemindTimePtr> special_remind_times =
      std::make_shared<Collection<SpecialRemindTimePtr>>();
  // SpRmdTim.ini could not be read to its end: the next write keeps it as
  // the backup.
  bool special_load_failed = false;
  // SpRmdTim.ini was read once: before that, this process has nothing of
  // its own to write into it.
  bool special_loaded = false;

  // The task list (nullptr until it is loaded), whether it must be
  // written, and whether its load failed (its file then holds more than the
  // list, and the first save keeps it as the backup).
  CollectionPtr<TaskPtr> tasks;
  bool tasks_changed = false;
  bool tasks_load_failed = false;
  // The list is being read (it stands empty meanwhile): other processes'
  // messages about tasks leave it alone.
  bool tasks_loading = false;

  // Made at the first call of Categories().
  CategoriesPtr categories;

  NotificatorPtr notificator;

  int32_t client_count = 0;
  std::shared_ptr<core::NotifierServer> notifier;
  // What this process itself changed and has not seen written since: the
  // months (by FileLong) and the task list. Changes that came from other
  // processes are not counted, as those processes hold them too.
  std::set<int32_t> own_changes;
  bool own_task_changes = false;
  // The real appointments this process filed itself (FileLong, number), as
  // long as they stand there: another process's appointment under one of
  // these numbers is not the same.
  std::set<std::pair<int32_t, int32_t>> own_filed;
  // Appointments of other processes filed here under another number than
  // theirs: (instance, FileLong, their number) -> the number here, so that
  // what they send about it later reaches it.
  std::map<std::tuple<int32_t, int32_t, int32_t>, int32_t> renumbered;

  // The notifier link; a calendar that was never initialised has none, and
  // a message sent through it fails with error 91.
  core::NotifierServer& Notifier() const {
    if (!notifier) throw Error(ErrorNumber::kObjectNotSet);
    return *notifier;
  }
};

}  // namespace orncal
