// A calendar client in a process of its own that the tests drive step by
// step: it reads one command per line on standard input and answers on
// standard output with lines ending in a line ".". The first answer line
// is "ok ..." or "error ...".
//
//   peer_actor APPDATA [--clock YYYY-MM-DDTHH:MM:SS.mmm]
//
// Meanwhile it behaves as an application with an event loop: with
// "autopump on" (the default) it handles the other processes' messages as
// soon as they arrive, waiting on the calendar's NotificationDescriptor
// and on its standard input together.
//
// Appointments are named by FILE/ID ("200805/3"), times as
// YYYY-MM-DDTHH:MM, titles and other texts as one word each.
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>
#include <string>

#include "peer_actor.h"

int main(int argc, char** argv) {
  using namespace orncal;
  using peer::Actor;
  using peer::ParseWhen;
  if (argc != 2 && argc != 4) {
    std::fprintf(stderr, "usage: peer_actor APPDATA [--clock YYYY-MM-DDTHH:MM:SS.mmm]\n");
    return 2;
  }
  const std::string app_data = argv[1];
  platform::SetShellFolderHook([app_data](int32_t) { return app_data; });
  Date now = DateFromParts(2008, 5, 14) + 10 / 24.0;
  if (argc == 4) now = ParseWhen(argv[3]);
  SetClock(std::make_shared<ManualClock>(now));

  CalendarPtr calendar = CalendarMain().Calendar();
  Actor actor(calendar);
  std::string pending;
  char buffer[4096];
  while (true) {
    pollfd items[2] = {{0, POLLIN, 0}, {-1, POLLIN, 0}};
    if (actor.autopump) items[1].fd = static_cast<int>(calendar->NotificationDescriptor());
    if (::poll(items, 2, -1) < 0) continue;
    if (items[1].revents != 0) calendar->ProcessNotifications();
    if (items[0].revents == 0) continue;
    const ssize_t n = ::read(0, buffer, sizeof buffer);
    if (n <= 0) return 0;
    pending.append(buffer, static_cast<size_t>(n));
    if (!peer::RunLines(actor, pending)) return 0;
  }
}
