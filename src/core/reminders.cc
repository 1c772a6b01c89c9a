// GetRemindAppointments: the reminders due since the last poll. The
// appointments that can remind in the current hour are fetched once per
// hour (or after a change) and kept in a small cache that the polls walk.
#include "core/calendar_state.h"
#include "datetime/helpers.h"
#include "orncalendar/appointment.h"
#include "orncalendar/appointments.h"
#include "orncalendar/calendar.h"
#include "orncalendar/date_time.h"
#include "orncalendar/ole_date.h"
#include "orncalendar/platform.h"
#include "orncalendar/remind_times.h"

namespace orncal {
namespace {

// Start of the appointment's (or occurrence's) period plus RemindAt seconds.
Date RemindMoment(const Appointment& a) {
  DateTimePtr when = a.DateTime();
  if (!when) throw Error(ErrorNumber::kObjectNotSet);
  return when->StartDateTime() + a.RemindAt() / 86400.0;
}

}  // namespace

bool Calendar::GetRemindAppointments(CollectionPtr<AppointmentPtr>& Out_Appointments) {
  State& s = *state_;
  const Date now = CurrentClock().Now();
  const int32_t hour = HourOf(now);
  const Date day = DayPart(now);
  // The cache holds the current hour of the current day: a poll a day later
  // in the same hour of the clock fills it anew too.
  if (hour != s.remind_scan_hour || s.remind_scan_hour == -1 || day != s.remind_scan_day) {
    // Everything that may remind from the last poll to the end of this hour,
    // whatever its flags.
    DateTimeNormalPtr fill = DateTimeNormal::New(s.remind_scan_from, day + (hour + 1) / 24.0);
    s.remind_scan_hour = hour;
    s.remind_scan_day = day;
    s.remind_cache = AllAppointmentsInPeriod(*fill, {.SeperateSerials = true,
                                                     .AlsoAllDay = true,
                                                     .OnlyAllDay = false,
                                                     .UseRemindTime = true,
                                                     .Flags = 0,
                                                     .NotFlags = 0,
                                                     .OrFlags = 0,
                                                     .NotAndFlags = 0,
                                                     .RemoveDoubles = false})
                         ->ConvertToCollection();
  }

  DateTimeNormalPtr check = DateTimeNormal::New(s.remind_scan_from, now);
  bool found = false;
  auto hand_out = [&](AppointmentPtr appointment) {
    if (!found) Out_Appointments = std::make_shared<Collection<AppointmentPtr>>();
    found = true;
    Out_Appointments->Add(std::move(appointment));
  };
  // Each reminder is handed out once: it leaves the cache (or the special
  // remind times) as it is handed out.
  Collection<AppointmentPtr>& cache = *s.remind_cache;
  for (int32_t i = 1; i <= cache.Count();) {
    const AppointmentPtr a = cache.Item(i);
    bool due = false;
    try {
      due = IsDateInPeriod(RemindMoment(*a), *check);
    } catch (const Error&) {
      // an entry without a period never reminds
    }
    if (!due) {
      ++i;
      continue;
    }
    hand_out(a);
    cache.Remove(i);
  }
  Collection<SpecialRemindTimePtr>& special = *s.special_remind_times;
  for (int32_t i = 1; i <= special.Count();) {
    const SpecialRemindTimePtr record = special.Item(i);
    if (!record || !IsDateInPeriod(record->RemindAt(), *check)) {
      ++i;
      continue;
    }
    hand_out(record->Appointment());
    special.Remove(i);
  }
  s.remind_scan_from = now;
  return found;
}

}  // namespace orncal
