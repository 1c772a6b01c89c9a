// Watches for reminders: asks the calendar every few seconds which
// reminders have fallen due and prints them.
//
//   poll_reminders [--every SECONDS] [--polls N | --once] [--demo] [APP_DATA_FOLDER]
//
// --every    seconds between two polls (default 30)
// --polls    how many polls before the program ends (default 10); --once is
//            --polls 1
// --demo     first adds an appointment (not saved) whose reminder falls due
//            a second later, to see one arrive
// The calendar keeps its files in APP_DATA_FOLDER/Ornavel/Calendar/files;
// without the argument the user's own application-data folder is used.
#include <orncalendar/orncalendar.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

namespace {

// "Tue 17.11.2026 14:00:05" for an OLE date (days since 30 December 1899,
// the fraction being the time of day).
std::string Show(orncal::Date when) {
  static const char* const kDays[] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
  const orncal::DateParts p = orncal::SplitDate(when);
  char text[32];
  std::snprintf(text, sizeof text, "%s %02d.%02d.%04d %02d:%02d:%02d",
                kDays[orncal::WeekdayOf(when) - 1], p.Day, p.Month, p.Year, p.Hour, p.Minute,
                p.Second);
  return text;
}

int Usage() {
  std::cerr << "usage: poll_reminders [--every SECONDS] [--polls N | --once] [--demo] "
               "[APP_DATA_FOLDER]\n";
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args = orncal::CommandLineArguments(argc, argv);
  int every = 30, polls = 10;
  bool demo = false;
  std::string folder;
  for (size_t i = 1; i < args.size(); ++i) {
    const std::string& arg = args[i];
    try {
      if (arg == "--every" && i + 1 < args.size()) {
        every = std::stoi(args[++i]);
      } else if (arg == "--polls" && i + 1 < args.size()) {
        polls = std::stoi(args[++i]);
      } else if (arg == "--once") {
        polls = 1;
      } else if (arg == "--demo") {
        demo = true;
      } else if (folder.empty() && arg.rfind("--", 0) != 0) {
        folder = arg;
      } else {
        return Usage();
      }
    } catch (const std::exception&) {
      return Usage();  // a number that is none
    }
  }
  if (every < 0 || polls < 1) return Usage();
  if (!folder.empty()) orncal::UseApplicationDataFolder(folder);

  orncal::CalendarMain main;
  orncal::CalendarPtr calendar = main.Calendar();
  if (!calendar) {
    std::cerr << "poll_reminders: the calendar could not start\n";
    return 1;
  }

  // A reminder falls due at its appointment's start plus RemindAt seconds
  // (negative: before the start); each occurrence of a series reminds on
  // its own. The calendar hands out every reminder whose moment lies
  // between the previous poll (or its start, or the last change) and now,
  // each once. Reminders that fell due before the program started are not
  // handed out.
  if (demo) {
    const orncal::Date now = orncal::CurrentClock().Now();
    orncal::AppointmentPtr coffee = calendar->Appointment({.StartDateTime = now + 60.0 / 86400,
                                                           .EndDateTime = now + 960.0 / 86400,
                                                           .SaveNow = false});
    coffee->SetTitle("Coffee");
    coffee->SetRemind(true);
    coffee->SetRemindAt(-59);
    // Filed in memory; without Save it never reaches the disk.
    coffee->AfterDateTimeChange();
  }

  std::cout << "polling every " << every << " s, " << polls << " time(s)\n";
  for (int poll = 0; poll < polls; ++poll) {
    std::this_thread::sleep_for(std::chrono::seconds(every));
    // The collection is replaced only when something is due.
    orncal::CollectionPtr<orncal::AppointmentPtr> due;
    if (!calendar->GetRemindAppointments(due)) continue;
    for (const orncal::AppointmentPtr& a : *due) {
      std::cout << Show(orncal::CurrentClock().Now()) << " reminder: " << a->Title() << ", starts "
                << Show(a->DateTime()->StartDateTime()) << "\n";
    }
    std::cout.flush();
  }
  return 0;
}
