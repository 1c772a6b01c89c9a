// Writes the fuzzers' seed corpora with the library's own writers:
//   make_fuzz_corpus FOLDER   (FOLDER/<fuzzer>/<seed>)
// The files are what a calendar saves in a data folder held in memory; the
// texts are what a user types; the calendar scripts are fixed byte runs.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "orncalendar/orncalendar.h"
#include "platform/system.h"
#include "support/memory_file_system.h"

namespace {

using namespace orncal;
namespace fs = std::filesystem;

constexpr const char* kAppData = "/corpus";
constexpr const char* kFolder = "/corpus/Ornavel/Calendar/files";

void Write(const fs::path& folder, const std::string& name, const std::string& bytes) {
  fs::create_directories(folder);
  std::ofstream(folder / name, std::ios::binary) << bytes;
}

// A calendar with a bit of everything, saved into memory.
void FillCalendar(Calendar& calendar) {
  auto at = [](int month, int day, int hour) {
    return DateFromParts(2008, month, day) + TimeFromParts(hour, 0, 0);
  };
  AppointmentPtr meeting =
      calendar.Appointment({.StartDateTime = at(5, 20, 9), .EndDateTime = at(5, 20, 10)});
  meeting->SetTitle("Besprechung K\xC3\xBChlhaus \xE2\x82\xAC");
  meeting->SetNotes("Raum 3\r\nmit Beamer");
  meeting->SetCategory("Arbeit");
  meeting->SetRemind(true);
  meeting->SetRemindAt(15);
  meeting->AddTag("Ort", "Text", "Halle");
  meeting->NotifyChange();
  calendar.Appointment({.StartDateTime = at(5, 28, 0), .EndDateTime = at(7, 3, 0), .AllDay = true})
      ->NotifyChange();

  AppointmentPtr weekly = calendar.Appointment({.SaveNow = false});
  DateTimeSerialPtr series = DateTimeSerial::New();
  series->SetRepetitionMode(calWeekdayInMonth);
  series->Setn(1);
  series->SetWeekdays(calTuesday);
  series->SetInMonth(2);
  series->SetSeriesStartDateTime(DateFromParts(2008, 4, 29));
  series->SetSeriesEndDateTime(DateFromParts(2008, 8, 31));
  series->SetStartDateTime(TimeFromParts(10, 0, 0));
  series->SetEndDateTime(TimeFromParts(11, 0, 0));
  weekly->SetDateTime(series);
  weekly->SetTitle("Jour fixe");
  weekly->SetProject("Ornavel");
  weekly->AfterDateTimeChange();

  TaskPtr task = calendar.Task();
  task->SetTitle("Steuererkl\xC3\xA4rung");
  task->SetNotes("bis Ende Mai");
  task->SetDateTime(DateTimeNormal::New(at(5, 14, 0), at(5, 31, 0)));
  task->NotifyChange();
  task->SetRemindAt(at(5, 30, 8));
  TaskPtr done = calendar.Task();
  done->SetTitle("Reifen wechseln");
  done->SetDateTime(DateTimeNormal::New(at(4, 1, 0), at(4, 10, 0)));
  done->NotifyChange();
  done->Complete();

  calendar.Categories()->SetColor("Arbeit", 0x0000FF);
  calendar.Categories()->SetColor("Privat = daheim", 0x00FF00);
  calendar.Categories()->Save();
  calendar.SpecialRemindTimes()->Add(SpecialRemindTime::New(at(5, 20, 8), meeting));
  calendar.SpecialRemindTimes()->Add(SpecialRemindTime::New(at(6, 1, 7) + 0.25 / 24, meeting));
  calendar.Save();
  calendar.SaveSpecialRemindTimes();
}

std::string Script(std::initializer_list<uint8_t> bytes) {
  return std::string(bytes.begin(), bytes.end());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: make_fuzz_corpus FOLDER\n";
    return 2;
  }
  const fs::path out = argv[1];
  UseNotifier(false);
  SetClock(std::make_shared<ManualClock>(DateFromParts(2008, 5, 14) + TimeFromParts(10, 0, 0)));

  testing::MemoryFileSystem memory;
  memory.AddFolder(kAppData);
  platform::FileSystem* before = platform::SetFileSystem(&memory);
  platform::SetShellFolderHook([](int32_t) -> std::optional<std::string> { return kAppData; });
  FillCalendar(*CalendarMain().Calendar());
  platform::SetFileSystem(before);
  const std::string prefix = std::string(kFolder) + "/";
  for (const auto& [path, bytes] : memory.Files()) {
    const std::string name = path.substr(prefix.size());
    if (name.ends_with(".xmf")) Write(out / "month_file", "written-" + name, bytes);
    if (name == "tasks.xtf") Write(out / "task_file", "written-tasks.xtf", bytes);
    if (name == "categor.ini") Write(out / "categor_ini", "written.ini", bytes);
    if (name == "SpRmdTim.ini") Write(out / "remind_times_file", "written.ini", bytes);
  }
  Write(out / "categor_ini", "empty.ini", "");
  Write(out / "remind_times_file", "scan-only.ini", "39582,4166666667\r\n");

  const char* const texts[] = {"2008-05-14",
                               "2008-05-14T10:30",
                               "2008-05-14 9:05:30",
                               "today",
                               "Sun",
                               "ole:39582.5",
                               "ole:-1.25",
                               "now",
                               "10:00-11:30",
                               "23:00-1:00",
                               "2008-05",
                               "200805/3",
                               "999912/2147483647",
                               "0x80000000",
                               "-7",
                               "#FF8000",
                               "none",
                               "mon,Wed,friday"};
  int n = 0;
  for (const char* text : texts)
    Write(out / "orncal_arguments", "text-" + std::to_string(++n), text);

  // Calendar scripts: steps of making appointments, a save, edits, moves
  // and tasks, and saves with a fault armed (an odd byte after a save).
  Write(out / "calendar_script", "make-and-save",
        Script({0, 1, 4, 19, 40, 1, 6, 1, 2, 11, 0, 3, 3, 11, 0}));
  Write(out / "calendar_script", "save-fails",
        Script({0, 0, 4, 19, 40, 1, 6, 1, 2, 11, 0, 11, 7, 20, 2, 1, 3, 11, 0}));
  Write(out / "calendar_script", "tasks",
        Script({5, 1, 3, 0, 4, 10, 0, 6, 0, 2, 3, 11, 0, 7, 1, 11, 9, 30}));
  std::mt19937 random(20080514);
  for (int i = 1; i <= 4; ++i) {
    std::string bytes(200 * i, '\0');
    for (char& c : bytes)
      c = static_cast<char>(random());
    Write(out / "calendar_script", "random-" + std::to_string(i), bytes);
  }
  std::cout << "seed corpora written under " << out << "\n";
  return 0;
}
