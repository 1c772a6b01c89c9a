// A calendar that saves again and again until it is killed, for the crash
// consistency test:
//
//   crash_actor APPDATA LOG SEED
//
// It works alone (no notifier) on the data folder below the application-
// data folder APPDATA. On an empty folder it first fills 24 months with a
// few hundred appointments and the task list; then each round makes a few
// random changes (appointments and series made, edited, moved and removed;
// tasks added, changed, removed) and saves. Round N is recorded in the
// folder LOG/N: before the save, a file for every file about to be written
// holding the bytes it will hold (named by its FileLong, 0 for the task
// file), then the file "begun"; after the save the file "done". A kill
// loses nothing written before it, so a round with "begun" is whole.
//
// Any message of the library (a failed save) ends it with status 3.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "orncalendar/orncalendar.h"
#include "store/month_file_format.h"
#include "tasks/task_file_format.h"

namespace orncal {
namespace {

constexpr int kMonths = 24;  // 2008 and 2009

void Record(const std::string& path, const std::string& bytes) {
  if (!(std::ofstream(path, std::ios::binary) << bytes)) std::exit(4);
}

class Actor {
 public:
  explicit Actor(uint32_t seed) : random_(seed), calendar_(CalendarMain().Calendar()) {
    for (int i = 0; i < kMonths; ++i) {
      calendar_->GetMonthFile(MonthRef{.Month = 1 + i % 12, .Year = 2008 + i / 12});
    }
  }

  size_t Count() { return Reals().size(); }

  void Fill() {
    for (int i = 0; i < 300; ++i)
      Make();
    for (int i = 0; i < 20; ++i)
      AddTask();
  }

  void Change() {
    const size_t count = Count();
    switch (Pick(count < 250 ? 4 : count > 350 ? 10 : 12) % 6) {
      case 0:
        Make();
        break;
      case 1:
        if (AppointmentPtr a = Any()) {
          a->SetTitle("Termin " + std::to_string(Pick(100000)));
          a->SetNotes(std::string(Pick(200), 'n'));
          a->NotifyChange();
        }
        break;
      case 2:
        if (AppointmentPtr a = Any()) {
          a->BeforeDateTimeChange();
          a->SetDateTime(Period());
          a->AfterDateTimeChange();
        }
        break;
      case 3:
        if (AppointmentPtr a = Any()) a->Remove();
        break;
      case 4:
        AddTask();
        break;
      default: {
        CollectionPtr<TaskPtr> tasks = calendar_->IncompleteTasks();
        if (tasks->Count() == 0) break;
        TaskPtr task = tasks->Item(1 + Pick(tasks->Count()));
        if (Pick(3) == 0) {
          task->Remove();
        } else {
          task->SetNotes("Stand " + std::to_string(Pick(1000)));
          task->NotifyChange();
        }
      }
    }
  }

  // Records what the save will write, saves, and records that it is done.
  void Save(const std::string& log) {
    const std::string round = log + "/" + std::to_string(rounds_++) + "/";
    std::filesystem::create_directories(round);
    for (const FilePtr& file : *calendar_->Files()) {
      bool due = file->Changed();
      for (const AppointmentPtr& a : *file->Appointments())
        due = due || (a->AppointmentType() == 1 && a->Changed());
      if (due) {
        Record(round + std::to_string(file->FileLong()),
               store::EncodeMonthFile(*file->Appointments()));
      }
    }
    bool tasks = calendar_->TasksChanged();
    for (const TaskPtr& task : *calendar_->IncompleteTasks())
      tasks = tasks || task->Changed();
    if (tasks) Record(round + "0", tasks::EncodeTaskFile(*calendar_->IncompleteTasks()));
    Record(round + "begun", "");
    calendar_->Save();
    Record(round + "done", "");
  }

 private:
  int32_t Pick(int32_t n) { return static_cast<int32_t>(random_() % static_cast<uint32_t>(n)); }

  std::vector<AppointmentPtr> Reals() {
    std::vector<AppointmentPtr> found;
    for (const FilePtr& file : *calendar_->Files())
      for (const AppointmentPtr& a : *file->Appointments())
        if (a->AppointmentType() == 1) found.push_back(a);
    return found;
  }
  AppointmentPtr Any() {
    const std::vector<AppointmentPtr> all = Reals();
    return all.empty() ? nullptr : all[static_cast<size_t>(Pick(static_cast<int32_t>(all.size())))];
  }

  // Mostly an hour or two; now and then weeks (links into later months) or
  // a weekly series over a few months.
  DateTimePtr Period() {
    const int month = Pick(kMonths);
    const Date day = DateFromParts(2008 + month / 12, 1 + month % 12, 1 + Pick(28));
    const Date start = day + Pick(48) / 48.0;
    const int kind = Pick(10);
    if (kind == 0) return DateTimeNormal::New(start, start + 7 + Pick(50));
    if (kind == 1) {
      DateTimeSerialPtr series = DateTimeSerial::New();
      series->SetRepetitionMode(calWeekly);
      series->Setn(1);
      series->SetWeekdays(1 << Pick(7));
      series->SetSeriesStartDateTime(day);
      series->SetSeriesEndDateTime(day + 30 + Pick(90));
      series->SetStartDateTime(start - day);
      series->SetEndDateTime(start - day + 1 / 24.0);
      return series;
    }
    return DateTimeNormal::New(start, start + (1 + Pick(4)) / 24.0);
  }

  void Make() {
    AppointmentPtr a = calendar_->Appointment({.SaveNow = false});
    a->SetDateTime(Period());
    a->SetTitle("Termin " + std::to_string(Pick(100000)));
    a->SetCategory(Pick(2) ? "Arbeit" : "Privat");
    a->AfterDateTimeChange();
  }

  void AddTask() {
    TaskPtr task = calendar_->Task();
    task->SetTitle("Aufgabe " + std::to_string(Pick(1000)));
    const Date start = DateFromParts(2008, 1 + Pick(12), 1 + Pick(28));
    task->SetDateTime(DateTimeNormal::New(start, start + Pick(30)));
    task->NotifyChange();
  }

  std::mt19937 random_;
  CalendarPtr calendar_;
  int rounds_ = 0;
};

}  // namespace
}  // namespace orncal

int main(int argc, char** argv) {
  using namespace orncal;
  if (argc != 4) {
    std::fprintf(stderr, "usage: crash_actor APPDATA LOG SEED\n");
    return 2;
  }
  UseNotifier(false);
  SetMessageHandler([](const Message& m) {
    std::fprintf(stderr, "crash_actor: %s\n", m.Text.c_str());
    std::_Exit(3);
  });
  // Task numbers and the completion moments follow the seed, not the time.
  SetClock(std::make_shared<ManualClock>(DateFromParts(2008, 5, 14) + TimeFromParts(10, 0, 0)));
  UseApplicationDataFolder(argv[1]);
  const std::string log = argv[2];
  Actor actor(static_cast<uint32_t>(std::strtoul(argv[3], nullptr, 10)));
  if (actor.Count() == 0) {
    actor.Fill();
    actor.Save(log);
  }
  for (;;) {
    for (int i = 0; i < 5; ++i)
      actor.Change();
    actor.Save(log);
  }
}
