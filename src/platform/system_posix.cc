// Host questions answered on POSIX: there is no registry (every read answers
// its default) and the special folders are the XDG folders.
#include <dlfcn.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/file_system.h"
#include "platform/system.h"

namespace orncal::platform {
namespace {

std::string AbsoluteEnv(const char* name) {
  const char* value = std::getenv(name);
  if (!value || value[0] != '/') return {};  // relative values are ignored
  return value;
}

std::string DataHome() {
  std::string home = AbsoluteEnv("XDG_DATA_HOME");
  if (!home.empty()) return home;
  home = AbsoluteEnv("HOME");
  return home.empty() ? std::string() : home + "/.local/share";
}

// A folder of $XDG_CONFIG_HOME/user-dirs.dirs, such as XDG_DESKTOP_DIR.
std::string XdgUserDir(const std::string& name) {
  std::string config = AbsoluteEnv("XDG_CONFIG_HOME");
  std::string home = AbsoluteEnv("HOME");
  if (config.empty() && !home.empty()) config = home + "/.config";
  if (config.empty()) return {};
  std::string text;
  if (!Fs().ReadFile(config + "/user-dirs.dirs", &text).ok()) return {};
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find('\n', pos);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(pos, end - pos);
    pos = end + 1;
    if (line.rfind(name + "=", 0) != 0) continue;
    std::string value = line.substr(name.size() + 1);
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
      value = value.substr(1, value.size() - 2);
    }
    if (value.rfind("$HOME", 0) == 0) {
      if (home.empty()) return {};
      value = home + value.substr(5);
    }
    return value.empty() || value[0] != '/' ? std::string() : value;
  }
  return {};
}

ShellFolderHook& Hook() {
  static ShellFolderHook hook;
  return hook;
}

// What the "shell" answers on POSIX: the XDG folders.
std::optional<std::string> ShellFolder(int32_t folder) {
  if (const ShellFolderHook& hook = Hook()) return hook(folder);
  std::string path;
  switch (folder) {
    case 0:   // desktop
    case 16:  // desktop directory
    case 25:  // common desktop
      path = XdgUserDir("XDG_DESKTOP_DIR");
      break;
    case 5:  // personal documents
      path = XdgUserDir("XDG_DOCUMENTS_DIR");
      break;
    case 26:  // application data
    case 28:  // local application data
      path = DataHome();
      break;
    default:
      break;
  }
  if (path.empty()) return std::nullopt;
  return path;
}

std::string StripQuotes(std::string path) {
  if (!path.empty() && path.front() == '"') path.erase(0, 1);
  if (!path.empty() && path.back() == '"') path.pop_back();
  return path;
}

}  // namespace

std::string GetRegString(std::string /*key*/, std::string_view /*valueName*/,
                         std::string_view fallback, RegistryRoot /*root*/) {
  return std::string(fallback);
}

ShellFolderHook SetShellFolderHook(ShellFolderHook hook) {
  ShellFolderHook before = std::move(Hook());
  Hook() = std::move(hook);
  return before;
}

// Without a registry the "Shell Folders" fall-back answers nothing, so a
// failing shell call ends in `fallback`.
std::string GetSpecialFolder(intptr_t /*owner*/, int32_t folder, std::string_view fallback) {
  std::optional<std::string> path = ShellFolder(folder);
  return StripQuotes(path && !path->empty() ? *path : std::string(fallback));
}

void SetEnv(const std::string& name, const std::optional<std::string>& value) {
  if (value) {
    ::setenv(name.c_str(), value->c_str(), 1);
  } else {
    ::unsetenv(name.c_str());
  }
}

std::vector<std::string> Utf8Arguments(int argc, const char* const* argv) {
  return std::vector<std::string>(argv, argv + argc);
}

std::string GetLoginName() {
  std::vector<char> buffer(16384);
  struct passwd entry;
  struct passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found &&
      found->pw_name) {
    return found->pw_name;
  }
  for (const char* name : {"USER", "LOGNAME"}) {
    if (const char* value = std::getenv(name)) return value;
  }
  return {};
}

std::string LibraryFolder() {
  Dl_info info{};
  std::string path;
  if (dladdr(reinterpret_cast<void*>(&LibraryFolder), &info) != 0 && info.dli_fname) {
    path = info.dli_fname;
  }
  // dladdr names an executable as it was started; make the path absolute.
  if (!path.empty() && path[0] != '/') {
    if (char* resolved = realpath(path.c_str(), nullptr)) {
      path = resolved;
      std::free(resolved);
    } else {
      char exe[4096];
      ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
      path = n > 0 ? std::string(exe, static_cast<size_t>(n)) : std::string();
    }
  }
  size_t slash = path.rfind('/');
  path = slash == std::string::npos ? std::string() : path.substr(0, slash);
  if (path.empty() || path.back() != '/') path += '/';
  return path;
}

std::string NormalizeDataPath(std::string_view path) {
  size_t first = path.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  size_t last = path.find_last_not_of(' ');
  return std::string(path.substr(first, last - first + 1));
}

void ShowDefaultMessage(const Message& message) {
  std::string line(kMessageCaption);
  line += ": ";
  for (size_t i = 0; i < message.Text.size(); ++i) {
    char c = message.Text[i];
    if (c == '\r' && i + 1 < message.Text.size() && message.Text[i + 1] == '\n') continue;
    line += (c == '\n' || c == '\r') ? ' ' : c;
  }
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);
}

}  // namespace orncal::platform
