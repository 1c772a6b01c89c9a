// The input bytes script a calendar: appointments and series made, edited,
// moved and removed, tasks added, changed, completed and removed, and saves,
// each save perhaps with one operation of the file system failing (which
// one, and how much a failing write still writes, the bytes say). The data
// folder lives in memory.
//
// After every save:
//   - a file whose save failed (its German message names it) holds the
//     bytes it held before, byte for byte;
//   - every other data file holds exactly what the calendar has in memory;
//   - when nothing failed, a fresh calendar on the same folder reads every
//     month file and the task list back to the same bytes.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/shared_calendar.h"
#include "orncalendar/orncalendar.h"
#include "platform/file_system.h"
#include "platform/system.h"
#include "store/month_file_format.h"
#include "support/memory_file_system.h"
#include "tasks/task_file_format.h"

namespace orncal {
namespace {

// The application-data folder; the calendar's data folder lies below it.
constexpr const char* kAppData = "/fuzz";

// Reads the script; past the end every value is 0.
class Script {
 public:
  Script(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  bool Done() const { return at_ >= size_; }
  uint8_t Byte() { return at_ < size_ ? data_[at_++] : 0; }
  int32_t Pick(int32_t count) { return count <= 0 ? 0 : Byte() % count; }
  // A text of 0 to 15 characters, some outside Windows-1252 and ASCII.
  std::string Text() {
    static const char* const kPieces[] = {"a", "Termin", " ",  "\xC3\xA4",     "\xE2\x82\xAC",
                                          "=", "/",      "\n", "\xE2\x9C\x93", ""};
    std::string text;
    for (int32_t n = Pick(6); n > 0; --n)
      text += kPieces[Pick(10)];
    return text;
  }
  Date Day() { return DateFromParts(2008 + Pick(2), 1 + Pick(12), 1 + Pick(28)); }
  Date Time() { return Pick(96) / 96.0; }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t at_ = 0;
};

[[noreturn]] void Fail(const std::string& what) {
  std::fprintf(stderr, "%s\n", what.c_str());
  std::abort();
}

std::vector<std::string>& Messages() {
  static std::vector<std::string> messages;
  return messages;
}

// Every real appointment of the months in the cache but the reminders of
// tasks, which move with their task (moved or removed on their own, the
// task file would still name their old place).
std::vector<AppointmentPtr> RealAppointments(Calendar& calendar) {
  std::vector<AppointmentPtr> reminders;
  for (const TaskPtr& task : *calendar.IncompleteTasks())
    reminders.push_back(task->RemindAppointment());
  std::vector<AppointmentPtr> found;
  for (const FilePtr& file : *calendar.Files()) {
    for (const AppointmentPtr& a : *file->Appointments())
      if (a->AppointmentType() == 1 &&
          std::find(reminders.begin(), reminders.end(), a) == reminders.end()) {
        found.push_back(a);
      }
  }
  return found;
}

DateTimePtr Period(Script& s) {
  const Date start = s.Day() + s.Time();
  // Mostly short, now and then across a few months.
  const Date length = s.Pick(8) == 0 ? s.Pick(120) : s.Pick(12) / 24.0;
  if (s.Pick(4) != 0) return DateTimeNormal::New(start, start + length);
  DateTimeSerialPtr series = DateTimeSerial::New();
  series->SetRepetitionMode(static_cast<calRepetitionModes>(1 + s.Pick(8)));
  series->Setn(1 + s.Pick(3));
  series->Setm(1 + s.Pick(12));
  series->SetWeekdays(1 + s.Pick(127));
  series->SetInMonth(1 + s.Pick(5));
  series->SetSeriesStartDateTime(DayPart(start));
  series->SetSeriesEndDateTime(DayPart(start) + s.Pick(400));
  series->SetEternal(s.Pick(8) == 0);
  series->SetStartDateTime(s.Time());
  series->SetEndDateTime(s.Time() + s.Pick(3) / 24.0);
  return series;
}

void Edit(Appointment& a, Script& s) {
  switch (s.Pick(5)) {
    case 0:
      a.SetTitle(s.Text());
      break;
    case 1:
      a.SetNotes(s.Text());
      break;
    case 2:
      a.SetCategory(s.Text());
      break;
    case 3:
      a.SetFlags(s.Pick(32));
      a.SetRemind(s.Pick(2));
      a.SetRemindAt(s.Pick(120));
      break;
    default:
      a.AddTag(s.Text(), s.Text(), s.Text());
  }
  a.NotifyChange();
}

class Run {
 public:
  explicit Run(Script& s) : s_(s) {
    fs_.AddFolder(kAppData);
    previous_ = platform::SetFileSystem(&fs_);
    // The process-wide calendar, started anew on the folder in memory.
    core::ResetStartupForTesting();
    calendar_ = CalendarMain().Calendar();
  }
  ~Run() {
    calendar_.reset();
    core::ResetStartupForTesting();
    platform::SetFileSystem(previous_);
  }

  void Step() {
    Calendar& c = *calendar_;
    std::vector<AppointmentPtr> reals;
    auto pick = [&]() -> AppointmentPtr {
      reals = RealAppointments(c);
      return reals.empty() ? nullptr : reals[static_cast<size_t>(s_.Pick(std::ssize(reals)))];
    };
    CollectionPtr<TaskPtr> tasks = c.IncompleteTasks();
    TaskPtr task = tasks->Count() ? tasks->Item(1 + s_.Pick(tasks->Count())) : nullptr;
    switch (s_.Pick(12)) {
      case 0:
      case 1: {
        AppointmentPtr a = c.Appointment({.SaveNow = false});
        a->SetDateTime(Period(s_));
        a->SetAllDay(s_.Pick(4) == 0);
        a->SetTitle(s_.Text());
        a->AfterDateTimeChange();
        break;
      }
      case 2:
        if (AppointmentPtr a = pick()) Edit(*a, s_);
        break;
      case 3:
        if (AppointmentPtr a = pick()) {
          a->BeforeDateTimeChange();
          a->SetDateTime(Period(s_));
          a->AfterDateTimeChange();
        }
        break;
      case 4:
        if (AppointmentPtr a = pick()) a->Remove();
        break;
      case 5: {
        TaskPtr added = c.Task();
        added->SetTitle(s_.Text());
        const Date start = s_.Day();
        added->SetDateTime(DateTimeNormal::New(start, start + s_.Pick(20)));
        added->NotifyChange();
        if (s_.Pick(3) == 0) added->SetRemindAt(start + s_.Time());
        break;
      }
      case 6:
        if (task) {
          task->SetNotes(s_.Text());
          task->SetProject(s_.Text());
          task->NotifyChange();
        }
        break;
      case 7:
        if (task) s_.Pick(2) ? task->Complete() : task->Remove();
        break;
      case 8: {
        const Date from = s_.Day();
        c.AllAppointmentsInPeriod(*DateTimeNormal::New(from, from + s_.Pick(90)),
                                  {.SeperateSerials = s_.Pick(2) == 1});
        break;
      }
      default:
        Save();
    }
  }

  void Save() {
    const uint8_t fault = s_.Byte();
    if (fault % 2) fs_.FailAt(fault / 2 % 24, s_.Pick(64));
    const std::map<std::string, std::string> before = fs_.Files();
    Messages().clear();
    calendar_->Save();
    fs_.Disarm();

    auto failed = [](const std::string& path) {
      for (const std::string& m : Messages())
        if (m.find("\"" + path + "\" konnte nicht gespeichert werden.") != std::string::npos)
          return true;
      return false;
    };
    // What a file holds now and held before the save ("" for none).
    auto now = [&](const std::string& path) -> const std::string* {
      auto it = fs_.Files().find(path);
      return it == fs_.Files().end() ? nullptr : &it->second;
    };
    auto check = [&](const std::string& path, const std::string& model, bool pending) {
      const std::string* bytes = now(path);
      if (failed(path)) {
        auto old = before.find(path);
        const bool same = old == before.end() ? bytes == nullptr : bytes && *bytes == old->second;
        if (!same) Fail("a failed save changed " + path);
      } else if (bytes && !pending && *bytes != model) {
        Fail(path + " differs from the calendar's memory");
      }
    };
    for (const FilePtr& file : *calendar_->Files()) {
      bool pending = file->Changed();
      for (const AppointmentPtr& a : *file->Appointments())
        pending = pending || (a->AppointmentType() == 1 && a->Changed());
      check(file->FilePath(), store::EncodeMonthFile(*file->Appointments()), pending);
    }
    if (calendar_->TasksLoaded()) {
      check(calendar_->TasksFilePath(), tasks::EncodeTaskFile(*calendar_->IncompleteTasks()),
            calendar_->TasksChanged());
    }
    if (Messages().empty()) ReadBack();
  }

  // A fresh calendar reads what the files hold.
  void ReadBack() {
    CalendarPtr fresh = Calendar::New();
    fresh->InitCalendar(calendar_->Path());
    for (const FilePtr& file : *calendar_->Files()) {
      const std::string* bytes = nullptr;
      auto it = fs_.Files().find(file->FilePath());
      if (it == fs_.Files().end()) continue;
      bytes = &it->second;
      FilePtr again = fresh->GetMonthFile(MonthRef{.Month = file->Month(), .Year = file->Year()});
      if (store::EncodeMonthFile(*again->Appointments()) != *bytes) {
        Fail("a fresh calendar reads " + file->FilePath() + " otherwise");
      }
    }
    if (calendar_->TasksLoaded() && tasks::EncodeTaskFile(*fresh->IncompleteTasks()) !=
                                        tasks::EncodeTaskFile(*calendar_->IncompleteTasks())) {
      Fail("a fresh calendar reads other tasks");
    }
    if (!Messages().empty()) Fail("reading back: " + Messages().front());
  }

 private:
  Script& s_;
  testing::MemoryFileSystem fs_;
  platform::FileSystem* previous_ = nullptr;
  CalendarPtr calendar_;
};

}  // namespace
}  // namespace orncal

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  orncal::UseNotifier(false);
  orncal::platform::SetShellFolderHook([](int32_t folder) -> std::optional<std::string> {
    if (folder == orncal::platform::kCsidlAppData) return orncal::kAppData;
    return std::nullopt;
  });
  orncal::SetClock(std::make_shared<orncal::ManualClock>(orncal::DateFromParts(2008, 5, 14) +
                                                         orncal::TimeFromParts(10, 0, 0)));
  orncal::SetMessageHandler([](const orncal::Message& m) { orncal::Messages().push_back(m.Text); });
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  orncal::Script script(data, size);
  orncal::Run run(script);
  // A few hundred steps at most, so that no input runs long.
  for (int steps = 0; steps < 300 && !script.Done(); ++steps)
    run.Step();
  run.Save();
  return 0;
}
