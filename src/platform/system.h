// The host questions the rest of the library asks: registry values, special
// folders, the logon name, the library's own folder and the path rules. On
// Windows they are answered by the system; on POSIX by the XDG folders and
// the defaults the registry would have answered with.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orncalendar/platform.h"

namespace orncal::platform {

#ifdef _WIN32
inline constexpr char kPathSeparator = '\\';
#else
inline constexpr char kPathSeparator = '/';
#endif

// Root keys of the registry.
enum class RegistryRoot : uint32_t {
  kCurrentUser = 0x80000001u,
  kLocalMachine = 0x80000002u,
};

// Shell folder identifiers (CSIDL) the library knows by name.
inline constexpr int32_t kCsidlAppData = 26;

// One string value of the registry, or `fallback` when the key or the value
// cannot be read. A value of size 0 reads as the empty string.
std::string GetRegString(std::string key, std::string_view valueName, std::string_view fallback,
                         RegistryRoot root);

// A special folder by its CSIDL, with the "Shell Folders" registry values as
// fall-back; `fallback` when neither knows it. Surrounding double quotes are
// dropped.
std::string GetSpecialFolder(intptr_t owner, int32_t folder, std::string_view fallback);

// Replaces the shell's answer for special folders: the hook returns the
// folder, or nullopt for a failing shell call (the registry fall-back then
// applies). An empty hook restores the shell. Returns the hook before.
using ShellFolderHook = std::function<std::optional<std::string>(int32_t folder)>;
ShellFolderHook SetShellFolderHook(ShellFolderHook hook);

// Sets or (with nullopt) removes an environment variable of this process.
void SetEnv(const std::string& name, const std::optional<std::string>& value);

// The program's arguments as UTF-8.
std::vector<std::string> Utf8Arguments(int argc, const char* const* argv);

// The signed-in user's logon name ("" when it cannot be found).
std::string GetLoginName();

// The folder of the library's own file, ending in the path separator.
std::string LibraryFolder();

// The data folder as the calendar keeps it: trimmed of spaces and, where
// file names ignore case, lower-cased.
std::string NormalizeDataPath(std::string_view path);

// The default message sink of the platform.
void ShowDefaultMessage(const Message& message);

}  // namespace orncal::platform
