// The calendar of the benchmarks: a generated data folder of ten years
// (2010-2019), 300 appointments a month (a third of them reminding, every
// 25th all-day) and 200 eternal series begun in the first year, on a clock
// standing at 10 June 2015, 10:30. The month view is June 2015.
#pragma once

#include <filesystem>
#include <random>
#include <string>

#include "core/shared_calendar.h"
#include "orncalendar/orncalendar.h"
#include "platform/system.h"

namespace orncal {

inline constexpr int32_t kFirstYear = 2010;
inline constexpr int32_t kYears = 10;
inline constexpr int32_t kPerMonth = 300;
inline const Date kNow = DateFromParts(2015, 6, 10) + 10.5 / 24;

// The series mix of a personal calendar: mostly birthdays and weekly
// routines, some monthly dates, a few daily ones.
inline DateTimeSerialPtr MakeSeries(int32_t i, std::mt19937& random) {
  DateTimeSerialPtr s = DateTimeSerial::New();
  const int32_t month = 1 + i % 12;
  s->SetSeriesStartDateTime(DateFromParts(kFirstYear, month, 1 + i % 28));
  s->SetEternal(true);
  s->SetStartDateTime((8 + i % 10) / 24.0);
  s->SetEndDateTime((9 + i % 10) / 24.0);
  s->Setn(1);
  if (i < 100) {  // birthdays and anniversaries
    s->SetRepetitionMode(calYearly);
    s->SetInMonth(month);
    s->Setm(1 + i % 28);
  } else if (i < 160) {  // weekly, ten of them every working day
    s->SetRepetitionMode(calWeekly);
    s->SetWeekdays(i < 110 ? 31 : 1 << (random() % 7));
  } else if (i < 190) {  // monthly
    s->SetRepetitionMode(i % 2 ? calMonthly : calWeekdayInMonth);
    s->Setm(i % 2 ? 1 + i % 28 : 1 + i % 4);
    s->SetWeekdays(calTuesday);
  } else {  // daily, every 1st to 7th day
    s->SetRepetitionMode(calDaily);
    s->Setn(1 + i % 7);
  }
  s->AdjustStartDate();
  return s;
}

// Builds the data folder below an application-data folder: a temporary one
// removed with the object, or the one given, which is kept.
class DataFolder {
 public:
  explicit DataFolder(std::filesystem::path root = {}) : keep_(!root.empty()) {
    root_ = keep_ ? root
                  : std::filesystem::temp_directory_path() /
                        ("orncal-bench-" + std::to_string(std::random_device{}()));
    std::filesystem::create_directories(root_);
    platform::SetShellFolderHook([dir = root_.string()](int32_t) { return dir; });
    SetClock(std::make_shared<ManualClock>(kNow));
    SetMessageHandler([](const Message&) {});
    CalendarPtr calendar = Start();
    std::mt19937 random(7);
    for (int32_t y = kFirstYear; y < kFirstYear + kYears; ++y) {
      for (int32_t m = 1; m <= 12; ++m) {
        for (int32_t i = 0; i < kPerMonth; ++i) {
          const Date start = DateFromParts(y, m, 1 + static_cast<int32_t>(random() % 28)) +
                             (7 + static_cast<int32_t>(random() % 12)) / 24.0;
          AppointmentPtr a = calendar->Appointment({.StartDateTime = start,
                                                    .EndDateTime = start + 1.0 / 24,
                                                    .AllDay = i % 25 == 0,
                                                    .SaveNow = false});
          a->SetTitle("Termin " + std::to_string(i));
          a->SetRemind(i % 3 == 0);
          a->SetRemindAt(-900);
          a->AfterDateTimeChange();
        }
      }
    }
    for (int32_t i = 0; i < 200; ++i) {
      AppointmentPtr a = calendar->Appointment({.SaveNow = false});
      a->SetDateTime(MakeSeries(i, random));
      a->SetTitle("Serie " + std::to_string(i));
      a->AfterDateTimeChange();
    }
    calendar->Save();
  }
  ~DataFolder() {
    core::ResetStartupForTesting();
    std::error_code ec;
    if (!keep_) std::filesystem::remove_all(root_, ec);
  }

  // A calendar started afresh on the folder: nothing loaded yet.
  static CalendarPtr Start() {
    core::ResetStartupForTesting();
    UseNotifier(false);  // the calendar's own figures: it works alone
    return CalendarMain().Calendar();
  }

 private:
  std::filesystem::path root_;
  bool keep_;
};

inline const DateTimeNormalPtr kJune2015 =
    DateTimeNormal::New(DateFromParts(2015, 6, 1), DateFromParts(2015, 7, 1));

}  // namespace orncal
