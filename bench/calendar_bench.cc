// The calendar at work on a generated data folder of ten years, 300
// appointments a month, and 200 series begun in the first year: month
// views (cold and warm), a year view, a search for a title that is not
// there, and a reminder poll within the hour.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <random>
#include <string>

#include "core/shared_calendar.h"
#include "orncalendar/orncalendar.h"
#include "platform/system.h"

namespace orncal {
namespace {

constexpr int32_t kFirstYear = 2010;
constexpr int32_t kYears = 10;
constexpr int32_t kPerMonth = 300;
const Date kNow = DateFromParts(2015, 6, 10) + 10.5 / 24;

// The series mix of a personal calendar: mostly birthdays and weekly
// routines, some monthly dates, a few daily ones.
DateTimeSerialPtr MakeSeries(int32_t i, std::mt19937& random) {
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

// Builds the data folder once, in a temporary folder removed at exit.
class DataFolder {
 public:
  DataFolder() {
    root_ = std::filesystem::temp_directory_path() /
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
    std::filesystem::remove_all(root_, ec);
  }

  // A calendar started afresh on the folder: nothing loaded yet.
  static CalendarPtr Start() {
    core::ResetStartupForTesting();
    UseNotifier(false);  // the calendar's own figures: it works alone
    return CalendarMain().Calendar();
  }

 private:
  std::filesystem::path root_;
};

DataFolder& Folder() {
  static DataFolder folder;
  return folder;
}

const DateTimeNormalPtr kJune2015 =
    DateTimeNormal::New(DateFromParts(2015, 6, 1), DateFromParts(2015, 7, 1));

void BM_MonthViewCold(benchmark::State& state) {
  Folder();
  int64_t entries = 0;
  for (auto _ : state) {
    state.PauseTiming();
    CalendarPtr calendar = DataFolder::Start();
    state.ResumeTiming();
    entries = calendar->AllAppointmentsInPeriod(*kJune2015)->Count();
    benchmark::DoNotOptimize(entries);
  }
  state.counters["entries"] = static_cast<double>(entries);
}
BENCHMARK(BM_MonthViewCold)->Unit(benchmark::kMillisecond);

void BM_MonthViewWarm(benchmark::State& state) {
  Folder();
  CalendarPtr calendar = DataFolder::Start();
  calendar->AllAppointmentsInPeriod(*kJune2015);
  int64_t entries = 0;
  for (auto _ : state) {
    entries = calendar->AllAppointmentsInPeriod(*kJune2015)->Count();
    benchmark::DoNotOptimize(entries);
  }
  state.counters["entries"] = static_cast<double>(entries);
}
BENCHMARK(BM_MonthViewWarm)->Unit(benchmark::kMicrosecond);

void BM_YearViewWarm(benchmark::State& state) {
  Folder();
  CalendarPtr calendar = DataFolder::Start();
  const DateTimeNormalPtr year =
      DateTimeNormal::New(DateFromParts(2015, 1, 1), DateFromParts(2016, 1, 1));
  calendar->AllAppointmentsInPeriod(*year);
  int64_t entries = 0;
  for (auto _ : state) {
    entries = calendar->AllAppointmentsInPeriod(*year)->Count();
    benchmark::DoNotOptimize(entries);
  }
  state.counters["entries"] = static_cast<double>(entries);
}
BENCHMARK(BM_YearViewWarm)->Unit(benchmark::kMillisecond);

// From the middle of the ten years both ways: the forward span reaches the
// last month on disk when the backward one reaches the first.
void FindMissing(benchmark::State& state, bool cold) {
  Folder();
  CalendarPtr calendar = DataFolder::Start();
  const FindOptions from_middle{.Direction = 0, .StartAt = DateFromParts(2015, 1, 1)};
  if (!cold) calendar->FindAppointment("nirgends", from_middle);
  for (auto _ : state) {
    if (cold) {
      state.PauseTiming();
      calendar = DataFolder::Start();
      state.ResumeTiming();
    }
    benchmark::DoNotOptimize(calendar->FindAppointment("nirgends", from_middle));
  }
}
void BM_FindMissingTitleWarm(benchmark::State& state) { FindMissing(state, false); }
void BM_FindMissingTitleCold(benchmark::State& state) { FindMissing(state, true); }
BENCHMARK(BM_FindMissingTitleWarm)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FindMissingTitleCold)->Unit(benchmark::kMillisecond);

// A poll within the hour whose cache the first poll filled.
void BM_ReminderPoll(benchmark::State& state) {
  Folder();
  CalendarPtr calendar = DataFolder::Start();
  CollectionPtr<AppointmentPtr> due;
  calendar->GetRemindAppointments(due);
  for (auto _ : state) {
    benchmark::DoNotOptimize(calendar->GetRemindAppointments(due));
  }
}
BENCHMARK(BM_ReminderPoll)->Unit(benchmark::kNanosecond);

}  // namespace
}  // namespace orncal
