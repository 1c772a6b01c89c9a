// Tasks and categories at work: a task file of 10,000 tasks encoded,
// decoded, saved and loaded; the incomplete tasks of a month picked from
// them; and the colour of an appointment whose category is known.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <random>
#include <string>

#include "core/shared_calendar.h"
#include "orncalendar/orncalendar.h"
#include "platform/system.h"
#include "tasks/task_file_format.h"
#include "tasks/task_ids.h"

namespace orncal {
namespace {

constexpr int32_t kTasks = 10000;
const Date kNow = DateFromParts(2008, 5, 14) + 10.5 / 24;

// A data folder with 10,000 tasks spread over 2008 (every tenth with a
// reminder) and 20 categories, built once in a temporary folder.
class DataFolder {
 public:
  DataFolder() {
    root_ = std::filesystem::temp_directory_path() /
            ("orncal-bench-" + std::to_string(std::random_device{}()));
    std::filesystem::create_directories(root_);
    platform::SetShellFolderHook([dir = root_.string()](int32_t) { return dir; });
    UseNotifier(false);  // the calendar's own figures: it works alone
    SetClock(std::make_shared<ManualClock>(kNow));
    SetMessageHandler([](const Message&) {});
    auto random = std::make_shared<std::mt19937>(11);
    tasks::SetTaskIdSource([random] { return std::generate_canonical<double, 53>(*random); });
    calendar_ = CalendarMain().Calendar();

    CategoriesPtr categories = calendar_->Categories();
    for (int32_t i = 0; i < 20; ++i)
      categories->Add("Kategorie " + std::to_string(i), {.Color = 0x010101 * i});
    categories->Save();

    std::mt19937 pick(7);
    const Date year = DateFromParts(2008, 1, 1);
    for (int32_t i = 0; i < kTasks; ++i) {
      TaskPtr task = calendar_->Task({.SaveNow = false});
      task->SetTitle("Aufgabe Nummer " + std::to_string(i));
      if (i % 3 == 0) task->SetNotes(std::string(120, 'n') + (i % 6 == 0 ? "\xC3\xBC" : ""));
      task->SetProject(i % 2 ? "Haus" : "B\xC3\xBCro");
      const Date start = year + static_cast<double>(pick() % 360) + (pick() % 48) / 48.0;
      task->SetDateTime(DateTimeNormal::New(start, start + 1 + pick() % 14));
      task->NotifyChange();
      if (i % 10 == 0) task->SetRemindAt(start - 0.5);
    }
    calendar_->Save();
  }
  ~DataFolder() {
    std::error_code ec;
    std::filesystem::remove_all(root_, ec);
  }

  CalendarPtr calendar_;

 private:
  std::filesystem::path root_;
};

DataFolder& Folder() {
  static DataFolder folder;
  return folder;
}

void BM_EncodeTaskFile(benchmark::State& state) {
  const CollectionPtr<TaskPtr> list = Folder().calendar_->IncompleteTasks();
  size_t bytes = 0;
  for (auto _ : state)
    bytes = tasks::EncodeTaskFile(*list).size();
  state.SetItemsProcessed(state.iterations() * list->Count());
  state.counters["file_bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_EncodeTaskFile)->Unit(benchmark::kMillisecond);

void BM_DecodeTaskFile(benchmark::State& state) {
  const std::string bytes = tasks::EncodeTaskFile(*Folder().calendar_->IncompleteTasks());
  for (auto _ : state)
    benchmark::DoNotOptimize(DecodeTaskFile(bytes));
  state.SetItemsProcessed(state.iterations() * kTasks);
}
BENCHMARK(BM_DecodeTaskFile)->Unit(benchmark::kMillisecond);

// SaveTasks: encode, backup rename, write, sync, backup delete.
void BM_SaveTasks(benchmark::State& state) {
  Calendar& calendar = *Folder().calendar_;
  for (auto _ : state)
    calendar.SaveTasks();
  state.SetItemsProcessed(state.iterations() * kTasks);
}
BENCHMARK(BM_SaveTasks)->Unit(benchmark::kMillisecond)->UseRealTime();

// LoadTasks: read the file, decode it, make the tasks and find their
// reminders (in month files already loaded).
void BM_LoadTasks(benchmark::State& state) {
  Calendar& calendar = *Folder().calendar_;
  for (auto _ : state) {
    calendar.LoadTasks();
    state.PauseTiming();
    if (calendar.IncompleteTasks()->Count() != kTasks) state.SkipWithError("tasks lost");
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kTasks);
}
BENCHMARK(BM_LoadTasks)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_IncompleteTasksInPeriod(benchmark::State& state) {
  Calendar& calendar = *Folder().calendar_;
  const DateTimeNormalPtr may =
      DateTimeNormal::New(DateFromParts(2008, 5, 1), DateFromParts(2008, 6, 1));
  calendar.IncompleteTasks();  // loaded
  int64_t found = 0;
  for (auto _ : state)
    found = calendar.IncompleteTasksInPeriod(*may)->Count();
  state.counters["found"] = static_cast<double>(found);
}
BENCHMARK(BM_IncompleteTasksInPeriod)->Unit(benchmark::kMicrosecond);

// The colour once looked up: the cached value.
void BM_AppointmentColor(benchmark::State& state) {
  AppointmentPtr a = Folder().calendar_->Appointment({.StartDateTime = kNow, .SaveNow = false});
  a->SetCategory("kategorie 7");
  for (auto _ : state)
    benchmark::DoNotOptimize(a->Color());
}
BENCHMARK(BM_AppointmentColor);

// The colour looked up in the categories each time (the category set anew,
// which forgets the cached colour).
void BM_AppointmentColorLookup(benchmark::State& state) {
  AppointmentPtr a = Folder().calendar_->Appointment({.StartDateTime = kNow, .SaveNow = false});
  const std::string category = "kategorie 7";
  for (auto _ : state) {
    a->SetCategory(category);
    benchmark::DoNotOptimize(a->Color());
  }
}
BENCHMARK(BM_AppointmentColorLookup);

}  // namespace
}  // namespace orncal
