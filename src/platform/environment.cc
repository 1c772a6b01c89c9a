// The application-data folder a host chooses before the calendar starts.
#include <optional>
#include <string>

#include "orncalendar/platform.h"
#include "platform/system.h"

namespace orncal {

void UseApplicationDataFolder(std::string_view folder) {
  std::string chosen(folder);
  platform::SetEnv("XDG_DATA_HOME", chosen);
  platform::SetShellFolderHook([chosen](int32_t csidl) -> std::optional<std::string> {
    if (csidl == platform::kCsidlAppData) return chosen;
    return std::nullopt;
  });
}

std::vector<std::string> CommandLineArguments(int argc, const char* const* argv) {
  return platform::Utf8Arguments(argc, argv);
}

}  // namespace orncal
