// iCalendar export and import of a data folder of 10,000 appointments:
// 9,800 single ones over two years and 200 series of every kind (some
// written as rules, some as their days). Export starts a calendar afresh
// on the folder (the month files are read); import goes into an empty
// folder and saves, and a second import of the same text updates nothing.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <random>
#include <string>

#include "core/shared_calendar.h"
#include "interop/ical.h"
#include "orncalendar/orncalendar.h"
#include "platform/system.h"

namespace orncal {
namespace {

constexpr int32_t kSingles = 9800;
constexpr int32_t kSeries = 200;
const Date kFrom = DateFromParts(2024, 1, 1);
const Date kTo = DateFromParts(2026, 1, 1);
const Date kNow = DateFromParts(2025, 1, 1) + 10.5 / 24;

DateTimeSerialPtr MakeSeries(int32_t i) {
  DateTimeSerialPtr s = DateTimeSerial::New();
  s->SetSeriesStartDateTime(DateFromParts(2024, 1 + i % 12, 1 + i % 28));
  s->SetEternal(true);
  s->SetStartDateTime((8 + i % 10) / 24.0);
  s->SetEndDateTime((9 + i % 10) / 24.0);
  s->Setn(1 + i % 3);
  switch (i % 8) {
    case 0:
      s->SetRepetitionMode(calDaily);
      break;
    case 1:
      s->SetRepetitionMode(calWeekly);
      s->SetWeekdays(1 << (i % 7));
      break;
    case 2:  // the 29th to 31st run into the next month: written as days
      s->SetRepetitionMode(calMonthly);
      s->Setm(1 + i % 31);
      break;
    case 3:
      s->SetRepetitionMode(calWeekdayInMonth);
      s->Setm(1 + i % 4);
      s->SetWeekdays(calTuesday);
      break;
    case 4:
      s->SetRepetitionMode(calYearly);
      s->SetInMonth(1 + i % 12);
      s->Setm(1 + i % 28);
      break;
    case 5:
      s->SetRepetitionMode(calYearly2);
      s->Setm(1 + i % 365);
      break;
    case 6:
      s->SetRepetitionMode(calWeekdayInYear);
      s->Setm(1 + i % 50);
      s->SetWeekdays(calFriday);
      break;
    default:
      s->SetRepetitionMode(calWeekdayInYear2);
      s->SetInMonth(1 + i % 12);
      s->Setm(-1);
      s->SetWeekdays(calMonday);
      break;
  }
  s->AdjustStartDate();
  return s;
}

class Folders {
 public:
  Folders() {
    root_ = std::filesystem::temp_directory_path() /
            ("orncal-interop-bench-" + std::to_string(std::random_device{}()));
    SetClock(std::make_shared<ManualClock>(kNow));
    SetMessageHandler([](const Message&) {});
    CalendarPtr calendar = Start("source");
    std::mt19937 random(16);
    for (int32_t i = 0; i < kSingles; ++i) {
      const Date start = kFrom + static_cast<int32_t>(random() % 730) +
                         (7 + static_cast<int32_t>(random() % 12)) / 24.0;
      AppointmentPtr a = calendar->Appointment({.StartDateTime = start,
                                                .EndDateTime = start + 1.0 / 24,
                                                .AllDay = i % 25 == 0,
                                                .SaveNow = false});
      a->SetTitle("Termin " + std::to_string(i));
      a->SetNotes(i % 4 == 0 ? "Raum 3, bitte Unterlagen mitbringen" : "");
      a->SetRemind(i % 3 == 0);
      a->SetRemindAt(-900);
      a->AfterDateTimeChange();
    }
    for (int32_t i = 0; i < kSeries; ++i) {
      AppointmentPtr a = calendar->Appointment({.SaveNow = false});
      a->SetDateTime(MakeSeries(i));
      a->SetTitle("Serie " + std::to_string(i));
      a->AfterDateTimeChange();
    }
    calendar->Save();
  }
  ~Folders() {
    core::ResetStartupForTesting();
    std::error_code ec;
    std::filesystem::remove_all(root_, ec);
  }

  // A calendar started afresh on a folder of its own under the root.
  CalendarPtr Start(const std::string& name) {
    const std::filesystem::path dir = root_ / name;
    std::filesystem::create_directories(dir);
    core::ResetStartupForTesting();
    platform::SetShellFolderHook([d = dir.string()](int32_t) { return d; });
    UseNotifier(false);
    return CalendarMain().Calendar();
  }
  void Remove(const std::string& name) {
    core::ResetStartupForTesting();
    std::error_code ec;
    std::filesystem::remove_all(root_ / name, ec);
  }

  std::string Export(interop::ExportCounts* counts = nullptr) {
    CalendarPtr calendar = Start("source");
    interop::Identity identity(*calendar);
    const std::vector<interop::LocalItem> items =
        interop::CollectItems(*calendar, identity, kFrom, kTo);
    return interop::ExportItems(*calendar, items, {kFrom, kTo}, counts);
  }

 private:
  std::filesystem::path root_;
};

Folders& Data() {
  static Folders folders;
  return folders;
}

void BM_ExportIcs(benchmark::State& state) {
  Folders& data = Data();
  interop::ExportCounts counts;
  size_t bytes = 0;
  for (auto _ : state) {
    counts = {};
    bytes = data.Export(&counts).size();
  }
  state.counters["events"] = counts.Events;
  state.counters["as_rule"] = counts.SeriesAsRule;
  state.counters["as_days"] = counts.SeriesAsDates;
  state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_ExportIcs)->Unit(benchmark::kMillisecond);

interop::ImportReport Import(Folders& data, const std::string& text, const std::string& folder) {
  CalendarPtr calendar = data.Start(folder);
  interop::Identity identity(*calendar);
  interop::Importer importer(*calendar, identity);
  interop::ImportOptions options;
  options.Now = kNow;
  const interop::ImportReport report = importer.Import(text, options);
  calendar->Save();
  identity.Save();
  return report;
}

// Into an empty data folder, saved.
void BM_ImportIcsNew(benchmark::State& state) {
  Folders& data = Data();
  const std::string text = data.Export();
  interop::ImportReport report;
  for (auto _ : state) {
    state.PauseTiming();
    data.Remove("target");
    state.ResumeTiming();
    report = Import(data, text, "target");
  }
  state.counters["created"] = report.Created;
  state.counters["series"] = report.Series;
}
BENCHMARK(BM_ImportIcsNew)->Unit(benchmark::kMillisecond);

// The same text again: every object is found by its UID and is unchanged.
void BM_ImportIcsAgain(benchmark::State& state) {
  Folders& data = Data();
  const std::string text = data.Export();
  data.Remove("again");
  Import(data, text, "again");
  interop::ImportReport report;
  for (auto _ : state)
    report = Import(data, text, "again");
  state.counters["unchanged"] = report.Unchanged;
}
BENCHMARK(BM_ImportIcsAgain)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace orncal
