#include "core/reach_index.h"

#include <algorithm>

#include "orncalendar/appointment.h"
#include "orncalendar/appointments.h"
#include "orncalendar/date_time.h"
#include "orncalendar/date_time_serial.h"
#include "orncalendar/error.h"
#include "orncalendar/file.h"
#include "orncalendar/ole_date.h"

namespace orncal::core {
namespace {

// Whether a period may meet a month starting at `after` or later.
bool MayReach(DateTime& period, Date after) {
  if (auto* simple = dynamic_cast<DateTimeNormal*>(&period)) {
    const Date start = simple->StartDateTime(), end = simple->EndDateTime();
    // An instant meets a month that starts exactly at it.
    return !(end <= after) || (end == after && start == after);
  }
  if (auto* series = dynamic_cast<DateTimeSerial*>(&period)) {
    return series->Eternal() || !(series->GetLastDate() <= after);
  }
  return true;  // a period of another kind is asked each time
}

}  // namespace

const std::vector<int32_t>& ReachIndex::Months(const Collection<int32_t>& allFiles) {
  if (all_files_ != &allFiles || all_files_version_ != allFiles.Version()) {
    months_.clear();
    for (int32_t listed : allFiles) {
      if (!link_only_.count(listed)) months_.push_back(listed);
    }
    all_files_ = &allFiles;
    all_files_version_ = allFiles.Version();
  }
  return months_;
}

void ReachIndex::MadeLinkOnly(const Collection<int32_t>& allFiles, int32_t fileLong) {
  link_only_.insert(fileLong);
  // Appended to a list the index is up to date with: it stays up to date.
  if (all_files_ == &allFiles && all_files_version_ + 1 == allFiles.Version()) {
    all_files_version_ = allFiles.Version();
  }
}

void ReachIndex::MadeListedLinkOnly(int32_t fileLong) {
  if (!link_only_.insert(fileLong).second) return;
  auto it = std::find(months_.begin(), months_.end(), fileLong);
  if (it != months_.end()) months_.erase(it);
}

void ReachIndex::Filed(int32_t fileLong) {
  if (link_only_.erase(fileLong)) all_files_ = nullptr;
}

const std::vector<AppointmentPtr>& ReachIndex::Reaching(const File& file) {
  Reach& reach = reach_[file.FileLong()];
  AppointmentsPtr list = file.Appointments();
  CollectionPtr<AppointmentPtr> items = list ? list->ConvertToCollection() : nullptr;
  if (items && reach.list.lock() == items && reach.version == items->Version()) {
    return reach.appointments;
  }
  reach.appointments.clear();
  reach.list = items;
  reach.version = items ? items->Version() : 0;
  if (!items) return reach.appointments;

  // The first day after the month. A number that names no month of a
  // year (200813, -5) keeps all: later numbers need not be later months.
  Date after = kMaxDate + 1;
  const int32_t month = file.FileLong() % 100;
  bool dated = month >= 1 && month <= 12;
  try {
    if (dated) after = DateFromParts(file.FileLong() / 100, month + 1, 1);
  } catch (const Error&) {
    dated = false;
  }
  for (const AppointmentPtr& a : *items) {
    if (a->AppointmentType() != 1) continue;
    DateTimePtr period = a->DateTime();
    if (period && (!dated || MayReach(*period, after))) reach.appointments.push_back(a);
  }
  return reach.appointments;
}

void ReachIndex::PeriodsChanged() { reach_.clear(); }

void ReachIndex::Clear() { *this = ReachIndex(); }

}  // namespace orncal::core
