// peer_actor for POSIX (the commands are in peer_actor.h). It behaves as an
// application with an event loop: with "autopump on" (the default) it
// handles the other processes' messages as soon as they arrive, waiting on
// the calendar's NotificationDescriptor and on its standard input together.
#include <poll.h>
#include <unistd.h>

#include <string>

#include "peer_actor.h"

int main(int argc, char** argv) {
  std::unique_ptr<orncal::peer::Actor> actor = orncal::peer::Start(argc, argv);
  if (!actor) return 2;
  std::string pending;
  char buffer[4096];
  while (true) {
    pollfd items[2] = {{0, POLLIN, 0}, {-1, POLLIN, 0}};
    if (actor->autopump) items[1].fd = static_cast<int>(actor->calendar().NotificationDescriptor());
    if (::poll(items, 2, -1) < 0) continue;
    if (items[1].revents != 0) actor->calendar().ProcessNotifications();
    if (items[0].revents == 0) continue;
    const ssize_t n = ::read(0, buffer, sizeof buffer);
    if (n <= 0) return 0;
    pending.append(buffer, static_cast<size_t>(n));
    if (!orncal::peer::RunLines(*actor, pending)) return 0;
  }
}
