// The process environment, for hosts that prepare it before the calendar
// starts.
#include <string>

#include "orncalendar/platform.h"
#include "platform/system.h"

namespace orncal {

void SetProcessEnv(std::string_view name, std::string_view value) {
  platform::SetEnv(std::string(name), std::string(value));
}

}  // namespace orncal
