// One month file of the calendar: the month's appointments, where the file
// lies, the numbering of its appointments, its links and its loading and
// saving.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "orncalendar/fwd.h"

namespace orncal {

namespace core {
class CalendarRef;
}

class File {
  struct Key {
    explicit Key() = default;
  };

 public:
  explicit File(Key);
  ~File();
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  // A file with an empty list and every other field zero or empty.
  static FilePtr New();

  // The public fields are plain: writing them has no side effect.
  bool LinksResolved() const { return links_resolved_; }
  void SetLinksResolved(bool value) { links_resolved_ = value; }
  // The file must be written; cleared by a successful save.
  bool Changed() const { return changed_; }
  void SetChanged(bool value) { changed_ = value; }
  AppointmentsPtr Appointments() const { return appointments_; }
  void SetAppointments(AppointmentsPtr value) { appointments_ = std::move(value); }
  int32_t Month() const { return month_; }
  void SetMonth(int32_t value) { month_ = value; }
  int32_t Year() const { return year_; }
  void SetYear(int32_t value) { year_ = value; }
  const std::string& FileName() const { return file_name_; }
  void SetFileName(std::string value) { file_name_ = std::move(value); }
  const std::string& FilePath() const { return file_path_; }
  void SetFilePath(std::string value) { file_path_ = std::move(value); }
  // Year * 100 + Month: what the file's appointments carry as File.
  int32_t FileLong() const { return file_long_; }
  void SetFileLong(int32_t value) { file_long_ = value; }

  // The owning calendar: the one held, else the shared calendar.
  CalendarPtr Calendar() const;

  // Binds every stored link of the file to its destination, the real
  // appointment its numbers name (nullptr when the calendar has none); runs
  // once. A destination that is itself a stored link is followed to the
  // real appointment at the end of the chain, and the link then names that
  // appointment directly; a chain that runs in a circle or ends at nothing
  // leaves the link unbound. Parts of a series are left alone. Never raises.
  void ResolveLinks();
  // The reserved number if one is set (which clears it), else the smallest
  // number from 1 up that no entry carries.
  int32_t GetEmptyID();
  bool ItemExists(int32_t ID) const;
  // Reads FilePath, appending its records to the list. On any failure shows
  // the load message and returns false; the records read before stay.
  bool Load();
  // Clears Changed on every entry (links clear their destination's) and on
  // the file.
  void ResetChanged();
  // Another process is about to read the file: forgets the reserved number
  // and writes pending changes.
  void NewLoaded();

  // -- Library-internal

  // The shared calendar clears the reference; any other calendar keeps what
  // Calendar() answers at this moment (the given object is never stored).
  void SetCalendar(const CalendarPtr& calendar);
  // A number handed back by the calendar when it takes an appointment out
  // of this file, so that the appointment gets it again; 0 = none.
  int32_t ReservedID() const { return reserved_id_; }
  void SetReservedID(int32_t value) { reserved_id_ = value; }
  // Writes the file when it or one of its real appointments is changed.
  void SaveIfChanged();
  // Writes the file: the old one is moved to a backup name first and put
  // back when anything fails. Failures show the save message; nothing is
  // raised.
  void SaveFile();

 private:
  bool links_resolved_ = false;
  bool changed_ = false;
  AppointmentsPtr appointments_;
  int32_t month_ = 0;
  int32_t year_ = 0;
  std::string file_name_;
  std::string file_path_;
  int32_t file_long_ = 0;
  int32_t reserved_id_ = 0;
  // Load failed: the file on disk holds more than was read, so the first
  // save keeps it as the backup.
  bool load_failed_ = false;
  // Made only when a calendar other than the shared one is held.
  std::unique_ptr<core::CalendarRef> owner_;
};

}  // namespace orncal
