// A started calendar with helpers to make appointments and series in it.
#pragma once

#include <string>
#include <vector>

#include "orncalendar/orncalendar.h"
#include "support/recording_notifier.h"

namespace orncal::testing {

inline Date Day(int32_t y, int32_t m, int32_t d) { return DateFromParts(y, m, d); }
inline Date At(int32_t y, int32_t m, int32_t d, int32_t h, int32_t min = 0) {
  return DateFromParts(y, m, d) + TimeFromParts(h, min, 0);
}

class CalendarOpsTest : public RecordingCalendarTest {
 protected:
  CalendarOpsTest() : calendar_(StartCalendar()) {}

  // A filed appointment from `start` to `end`.
  AppointmentPtr Make(const std::string& title, Date start, Date end, int32_t flags = 0,
                      bool allDay = false) {
    AppointmentPtr a = calendar_->Appointment(
        {.StartDateTime = start, .EndDateTime = end, .AllDay = allDay, .SaveNow = false});
    a->SetTitle(title);
    a->SetFlags(flags);
    a->AfterDateTimeChange();
    return a;
  }

  // A filed weekly series from `first` (a Monday) on the given weekdays,
  // 09:00 to 10:00, running for `weeks` weeks (eternal when 0).
  AppointmentPtr MakeWeekly(const std::string& title, Date first, int32_t weekdays,
                            int32_t weeks = 0) {
    AppointmentPtr a = calendar_->Appointment({.SaveNow = false});
    DateTimeSerialPtr series = DateTimeSerial::New();
    series->SetRepetitionMode(calWeekly);
    series->Setn(1);
    series->SetWeekdays(weekdays);
    series->SetSeriesStartDateTime(first);
    series->SetSeriesEndDateTime(first + 7 * weeks - 1);
    series->SetEternal(weeks == 0);
    series->SetStartDateTime(TimeFromParts(9, 0, 0));
    series->SetEndDateTime(TimeFromParts(10, 0, 0));
    a->SetDateTime(series);
    a->SetTitle(title);
    a->AfterDateTimeChange();
    return a;
  }

  AppointmentsPtr Query(Date start, Date end, const QueryOptions& options = {}) {
    return calendar_->AllAppointmentsInPeriod(*DateTimeNormal::New(start, end), options);
  }

  static std::vector<std::string> Titles(const AppointmentsPtr& list) {
    std::vector<std::string> titles;
    for (const AppointmentPtr& a : *list)
      titles.push_back(a->Title());
    return titles;
  }

  bool Loaded(int32_t fileLong) const {
    return calendar_->Files()->Exists(std::to_string(fileLong));
  }

  CalendarPtr calendar_;
};

}  // namespace orncal::testing
