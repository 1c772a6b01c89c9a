// Keeps a view of today's appointments current while other processes
// change the calendar: an event loop waits with poll() on the calendar's
// NotificationDescriptor, lets ProcessNotifications handle what arrived
// (that raises the Notificator's events), and shows the day again after a
// Change.
//
//   event_loop [--seconds N] [APP_DATA_FOLDER]
//
// Without --seconds it runs until it is stopped. Start it twice, or next to
// another program on the same folder, and change something there.
#include <orncalendar/orncalendar.h>
#include <poll.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

namespace {

std::string Time(orncal::Date when) {
  const orncal::DateParts p = orncal::SplitDate(when);
  char text[8];
  std::snprintf(text, sizeof text, "%02d:%02d", p.Hour, p.Minute);
  return text;
}

void ShowToday(orncal::Calendar& calendar) {
  const orncal::Date today = orncal::DayPart(orncal::CurrentClock().Now());
  orncal::AppointmentsPtr day = calendar.AllAppointmentsInPeriod(
      *orncal::DateTimeNormal::New(today, today + 1), {.SeperateSerials = true});
  std::cout << "today: " << day->Count() << " appointment(s)\n";
  for (const orncal::AppointmentPtr& a : *day) {
    const orncal::DateTimePtr when = a->DateTime();
    std::cout << "  "
              << (a->AllDay() ? std::string("all day    ")
                              : Time(when->StartDateTime()) + "-" + Time(when->EndDateTime()))
              << "  " << a->Title() << "\n";
  }
  std::cout.flush();
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args = orncal::CommandLineArguments(argc, argv);
  double seconds = -1;
  if (args.size() > 2 && args[1] == "--seconds") {
    seconds = std::stod(args[2]);
    args.erase(args.begin() + 1, args.begin() + 3);
  }
  if (args.size() > 1) orncal::UseApplicationDataFolder(args[1]);

  orncal::CalendarPtr calendar = orncal::CalendarMain().Calendar();
  if (!calendar) {
    std::cerr << "event_loop: the calendar could not start\n";
    return 1;
  }
  // Events are raised on this thread, inside ProcessNotifications.
  bool changed = true;
  orncal::ScopedSubscription on_change(calendar->Notificator(), orncal::Notificator::Event::kChange,
                                       [&] { changed = true; });

  std::cout << "watching " << calendar->Path() << "\n";
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (true) {
    if (changed) {
      changed = false;
      ShowToday(*calendar);
    }
    int timeout = -1;
    if (seconds >= 0) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          end - std::chrono::steady_clock::now());
      if (left.count() <= 0) break;
      timeout = static_cast<int>(left.count());
    }
    // The descriptor stays the same for the life of the process; it is -1
    // only when the calendar works alone (ORNCAL_NOTIFIER=off), and then
    // there is nothing to wait for but the time.
    pollfd item{static_cast<int>(calendar->NotificationDescriptor()), POLLIN, 0};
    if (::poll(&item, item.fd < 0 ? 0 : 1, timeout) > 0) calendar->ProcessNotifications();
    if (seconds < 0 && item.fd < 0) break;
  }
  return 0;
}
