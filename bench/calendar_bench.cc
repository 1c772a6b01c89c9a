// The calendar at work on a generated data folder of ten years, 300
// appointments a month, and 200 series begun in the first year: month
// views (cold and warm), a year view, a search for a title that is not
// there, and a reminder poll within the hour.
#include <benchmark/benchmark.h>

#include "calendar_folder.h"

namespace orncal {
namespace {

DataFolder& Folder() {
  static DataFolder folder;
  return folder;
}

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
