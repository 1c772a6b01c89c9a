// The calendar's side stores: the extra remind times of appointments
// (SpecialRemindTime) with their file SpRmdTim.ini, and the categories object.
#include "core/calendar_state.h"
#include "core/shared_calendar.h"
#include "datetime/helpers.h"
#include "datetime/locale_forms.h"
#include "orncalendar/appointment.h"
#include "orncalendar/calendar.h"
#include "orncalendar/categories.h"
#include "orncalendar/ole_date.h"
#include "orncalendar/platform.h"
#include "orncalendar/remind_times.h"
#include "platform/system.h"
#include "side/text_file.h"

namespace orncal {
namespace {

std::string SpecialPath(const std::string& folder) {
  return folder + platform::kPathSeparator + "SpRmdTim.ini";
}

}  // namespace

// The file: the moment the reminder scan has reached, then one line
// "moment=FileLong/ID" per special remind time. Moments are OLE dates
// written as numbers with a decimal comma.
void Calendar::LoadSpecialRemindTimes() {
  State& s = *state_;
  auto records = std::make_shared<Collection<SpecialRemindTimePtr>>();
  s.special_remind_times = records;
  s.special_load_failed = false;
  s.special_loaded = true;
  s.remind_scan_from = CurrentClock().Now();
  std::vector<std::string> lines;
  if (!side::ReadTextLines(SpecialPath(s.path), &lines) || lines.empty()) return;
  // Whatever cannot be read ends the reading quietly; the rest of the file
  // stays as the backup of the next write.
  auto stop = [&] { s.special_load_failed = true; };
  // The scan goes on from there, so it must be a date the calendar can walk
  // from.
  const std::optional<double> from = ParseLocaleNumber(lines[0]);
  if (!from || !(*from >= kMinDate && *from < kMaxDate + 1)) return stop();
  s.remind_scan_from = *from;
  for (size_t i = 1; i < lines.size(); ++i) {
    if (TrimSpaces(lines[i]).empty()) continue;
    std::string place, id_text;
    const std::string moment = SplitFirst(lines[i], '=', &place);
    const std::string file_text = SplitFirst(place, '/', &id_text);
    const std::optional<double> at = ParseLocaleNumber(moment);
    const std::optional<int32_t> file = side::ParseLong(file_text);
    const std::optional<int32_t> id = side::ParseLong(id_text);
    if (!at || !file || !id) return stop();
    // A record whose appointment is gone is dropped.
    if (AppointmentPtr appointment = FindStoredAppointment(*file, *id)) {
      records->Add(SpecialRemindTime::New(*at, std::move(appointment)));
    }
  }
}

void Calendar::WriteSpecialRemindTimes() {
  State& s = *state_;
  const Date now = CurrentClock().Now();
  std::vector<std::string> lines{FormatLocaleNumber(s.remind_scan_from)};
  for (const SpecialRemindTimePtr& record : *s.special_remind_times) {
    // Moments that have passed are not kept.
    if (!record || !(record->RemindAt() > now)) continue;
    const AppointmentPtr appointment = record->Appointment();
    if (!appointment) continue;
    lines.push_back(FormatLocaleNumber(record->RemindAt()) + "=" +
                    std::to_string(appointment->File()) + "/" + std::to_string(appointment->ID()));
  }
  try {
    if (side::WriteTextLines(SpecialPath(s.path), lines, s.special_load_failed)) {
      s.special_load_failed = false;
    }
  } catch (const std::exception&) {
    // quietly
  }
}

void Calendar::SaveSpecialRemindTimes() {
  WriteSpecialRemindTimes();
  try {
    state_->Notifier().NotifySRTChanged(core::InstanceID(), state_->path);
  } catch (const std::exception&) {
    // The special remind times fail quietly, their notice included.
  }
}

CategoriesPtr Calendar::Categories() {
  State& s = *state_;
  if (!s.categories) {
    CategoriesPtr categories = orncal::Categories::New();
    categories->SetPath(s.path);
    categories->SetCalendar(shared_from_this());
    categories->Load();
    s.categories = std::move(categories);
  }
  return s.categories;
}

void Calendar::DropCategories() { state_->categories = nullptr; }

}  // namespace orncal
