#include <poll.h>

#include <cmath>

#include "wait.h"

namespace orncal::cli {

bool WaitReadable(std::intptr_t descriptor, double seconds) {
  pollfd watched{static_cast<int>(descriptor), POLLIN, 0};
  const int ready = poll(&watched, 1, static_cast<int>(std::lround(seconds * 1000)));
  return ready > 0 && (watched.revents & (POLLIN | POLLHUP | POLLERR)) != 0;
}

}  // namespace orncal::cli
