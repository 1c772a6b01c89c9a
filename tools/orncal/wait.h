// Waiting for a calendar's notification descriptor, the one call of orncal
// that differs between the systems (the build picks wait_posix.cc or
// wait_windows.cc).
#pragma once

#include <cstdint>

namespace orncal::cli {

// Waits until `descriptor` is readable or `seconds` have passed (or a
// signal came); returns whether it is readable.
bool WaitReadable(std::intptr_t descriptor, double seconds);

}  // namespace orncal::cli
