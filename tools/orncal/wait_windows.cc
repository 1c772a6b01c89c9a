#include <windows.h>

#include <cmath>

#include "wait.h"

namespace orncal::cli {

// The descriptor carries a handle that is signalled when something came.
bool WaitReadable(std::intptr_t descriptor, double seconds) {
  const auto milliseconds = static_cast<DWORD>(std::lround(seconds * 1000));
  if (descriptor < 0) {
    Sleep(milliseconds);
    return false;
  }
  return WaitForSingleObject(reinterpret_cast<HANDLE>(descriptor), milliseconds) == WAIT_OBJECT_0;
}

}  // namespace orncal::cli
