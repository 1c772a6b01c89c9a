// Reading and writing a month file of 10,000 appointments: mixed texts
// (some long, some beyond ASCII), tags, single and recurring periods and a
// share of links. Figures are records per second.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "core/shared_calendar.h"
#include "orncalendar/orncalendar.h"
#include "platform/system.h"
#include "store/month_file_format.h"

namespace orncal {
namespace {

constexpr int32_t kRecords = 10000;

AppointmentPtr MakeRecord(int32_t i) {
  if (i % 10 == 9) {
    AppointmentLinkPtr link = AppointmentLink::New();
    link->SetOutsideID(i + 1);
    link->SetDestinationFile(200804);
    link->SetDestinationID(i);
    return link;
  }
  AppointmentRealPtr a = AppointmentReal::New();
  a->SetID(i + 1);
  a->SetTitle("Besprechung " + std::to_string(i));
  if (i % 3 == 0)
    a->SetNotes(std::string(180, 'n') + (i % 6 == 0 ? " Gr\xC3\xBC\xC3\x9F"
                                                      "e"
                                                    : ""));
  a->SetCategory(i % 2 ? "Arbeit" : "");
  a->SetAllDay(i % 7 == 0);
  a->SetRemind(i % 5 == 0);
  a->SetRemindAt(15);
  a->SetProject(i % 4 == 0 ? "Umzug" : "");
  if (i % 2 == 0) {
    a->AddTag("Ort", "text", "Raum " + std::to_string(i % 40));
    a->AddTag("Wer", "text", "Anna");
  }
  const Date day = 39569 + i % 31;
  if (i % 4 == 1) {
    DateTimeSerialPtr s = DateTimeSerial::New();
    s->SetStartDateTime(0.375);
    s->SetEndDateTime(0.4375);
    s->SetSeriesStartDateTime(day);
    s->SetSeriesEndDateTime(day + 365);
    s->SetRepetitionMode(calWeekly);
    s->Setn(1);
    s->SetWeekdays(calMonday | calThursday);
    a->SetDateTime(s);
  } else {
    a->SetDateTime(DateTimeNormal::New(day + 0.375, day + 0.4375));
  }
  return a;
}

AppointmentsPtr MakeMonth() {
  AppointmentsPtr list = Appointments::New();
  for (int32_t i = 0; i < kRecords; ++i)
    list->AddKeyed(MakeRecord(i));
  return list;
}

void Report(benchmark::State& state, size_t bytes) {
  state.SetItemsProcessed(state.iterations() * kRecords);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}

void BM_EncodeMonthFile(benchmark::State& state) {
  AppointmentsPtr list = MakeMonth();
  size_t bytes = 0;
  for (auto _ : state) {
    std::string encoded = store::EncodeMonthFile(*list);
    bytes = encoded.size();
    benchmark::DoNotOptimize(encoded);
  }
  Report(state, bytes);
}
BENCHMARK(BM_EncodeMonthFile)->Unit(benchmark::kMillisecond);

void BM_DecodeMonthFile(benchmark::State& state) {
  const std::string encoded = store::EncodeMonthFile(*MakeMonth());
  for (auto _ : state) {
    AppointmentsPtr list = Appointments::New();
    store::DecodeMonthFileInto(encoded, 200805, nullptr, *list);
    state.PauseTiming();  // freeing the records is not part of reading
    list.reset();
    state.ResumeTiming();
  }
  Report(state, encoded.size());
}
BENCHMARK(BM_DecodeMonthFile)->Unit(benchmark::kMillisecond);

// The whole save and load of a File in a data folder on disk: backup,
// write, sync, delete of the backup; and read plus decode. A message from
// the library fails the benchmark.
class DataFolder {
 public:
  DataFolder() {
    root_ = std::filesystem::temp_directory_path() / "orncal-month-file-bench";
    platform::SetShellFolderHook([root = root_.string()](int32_t) { return root; });
    UseNotifier(false);  // the calendar's own figures: it works alone
    core::StartupCalendar();
    calendar_ = core::SharedCalendar();
    std::filesystem::create_directories(calendar_->Path());
    SetMessageHandler([this](const Message& m) { failure_ = m.Text; });
  }
  ~DataFolder() {
    SetMessageHandler(nullptr);
    platform::SetShellFolderHook(nullptr);
    std::filesystem::remove_all(root_);
  }
  FilePtr NewMayFile() const {
    FilePtr file = File::New();
    file->SetFileLong(200805);
    file->SetFilePath(calendar_->Path() + platform::kPathSeparator + "200805.xmf");
    return file;
  }
  const std::string& failure() const { return failure_; }

 private:
  std::filesystem::path root_;
  CalendarPtr calendar_;
  std::string failure_;
};

void BM_SaveFile(benchmark::State& state) {
  DataFolder folder;
  FilePtr file = folder.NewMayFile();
  file->SetAppointments(MakeMonth());
  for (auto _ : state)
    file->SaveFile();
  if (!folder.failure().empty()) return state.SkipWithError(folder.failure().c_str());
  Report(state, std::filesystem::file_size(file->FilePath()));
}
BENCHMARK(BM_SaveFile)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_LoadFile(benchmark::State& state) {
  DataFolder folder;
  FilePtr saved = folder.NewMayFile();
  saved->SetAppointments(MakeMonth());
  saved->SaveFile();
  for (auto _ : state) {
    FilePtr file = folder.NewMayFile();
    file->Load();
    state.PauseTiming();
    file.reset();
    state.ResumeTiming();
  }
  if (!folder.failure().empty()) return state.SkipWithError(folder.failure().c_str());
  Report(state, std::filesystem::file_size(saved->FilePath()));
}
BENCHMARK(BM_LoadFile)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace orncal
