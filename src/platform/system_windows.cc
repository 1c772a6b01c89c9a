// Host questions answered by Windows: the registry, the shell's special
// folders, the logon name and the module's own file. The system is called
// through its ANSI entry points, so texts cross the boundary in Windows-1252
// and are UTF-8 on this side of it.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// windows.h first: the shell header needs its types.
#include <shlobj.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "platform/encoding.h"
#include "platform/system.h"

namespace orncal::platform {
namespace {

constexpr char kShellFoldersKey[] =
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";

ShellFolderHook& Hook() {
  static ShellFolderHook hook;
  return hook;
}

// The shell's answer for a special folder, nullopt when the call fails. The
// folder is created when it does not exist yet.
std::optional<std::string> ShellFolder(intptr_t owner, int32_t folder) {
  if (const ShellFolderHook& hook = Hook()) return hook(folder);
  char buffer[MAX_PATH + 1] = {};
  if (!SHGetSpecialFolderPathA(reinterpret_cast<HWND>(owner), buffer, folder, TRUE)) {
    return std::nullopt;
  }
  buffer[MAX_PATH] = '\0';
  return Cp1252ToUtf8(buffer);  // up to the first NUL
}

// Where the "Shell Folders" key keeps a folder the shell could not name.
struct ShellFolderValue {
  int32_t folder;
  const char* name;
  RegistryRoot root;
  const char* user_name;  // read from the current user when the first is empty
};

constexpr ShellFolderValue kShellFolderValues[] = {
    {2, "Programs", RegistryRoot::kCurrentUser, nullptr},
    {5, "Personal", RegistryRoot::kCurrentUser, nullptr},
    {7, "Startup", RegistryRoot::kCurrentUser, nullptr},
    {11, "Start Menu", RegistryRoot::kCurrentUser, nullptr},
    {16, "Desktop", RegistryRoot::kCurrentUser, nullptr},
    {20, "Fonts", RegistryRoot::kCurrentUser, nullptr},
    {22, "Common Start Menu", RegistryRoot::kLocalMachine, "Start Menu"},
    {23, "Common Programs", RegistryRoot::kLocalMachine, "Programs"},
    {24, "Common Startup", RegistryRoot::kLocalMachine, "Startup"},
    {25, "Common Desktop", RegistryRoot::kLocalMachine, "Desktop"},
    {26, "AppData", RegistryRoot::kCurrentUser, nullptr},
};

// The "Shell Folders" registry value for a folder; "" for folders the table
// does not know.
std::string RegistryShellFolder(int32_t folder) {
  for (const ShellFolderValue& entry : kShellFolderValues) {
    if (entry.folder != folder) continue;
    std::string path = GetRegString(kShellFoldersKey, entry.name, "", entry.root);
    if (path.empty() && entry.user_name) {
      path = GetRegString(kShellFoldersKey, entry.user_name, "", RegistryRoot::kCurrentUser);
    }
    return path;
  }
  return {};
}

std::string StripQuotes(std::string path) {
  if (!path.empty() && path.front() == '"') path.erase(0, 1);
  if (!path.empty() && path.back() == '"') path.pop_back();
  return path;
}

}  // namespace

std::string GetRegString(std::string key, std::string_view valueName, std::string_view fallback,
                         RegistryRoot root) {
  if (!key.empty() && key.back() == '\\') key.pop_back();
  const std::string ansi_key = Utf8ToCp1252(key);
  const std::string ansi_name = Utf8ToCp1252(valueName);
  HKEY handle = nullptr;
  // HKEY_CURRENT_USER and HKEY_LOCAL_MACHINE are these numbers sign-extended.
  HKEY root_key = reinterpret_cast<HKEY>(static_cast<intptr_t>(static_cast<int32_t>(root)));
  if (RegOpenKeyExA(root_key, ansi_key.c_str(), 0, KEY_QUERY_VALUE, &handle) != ERROR_SUCCESS) {
    return std::string(fallback);
  }
  DWORD size = 0;
  if (RegQueryValueExA(handle, ansi_name.c_str(), nullptr, nullptr, nullptr, &size) !=
      ERROR_SUCCESS) {
    RegCloseKey(handle);
    return std::string(fallback);
  }
  std::string value;
  if (size > 0) {
    // The size counts the terminating NUL, which is not kept; the value's
    // type is not looked at.
    std::vector<char> buffer(size, '\0');
    DWORD read = size;
    RegQueryValueExA(handle, ansi_name.c_str(), nullptr, nullptr,
                     reinterpret_cast<BYTE*>(buffer.data()), &read);
    value = Cp1252ToUtf8(std::string_view(buffer.data(), size - 1));
  }
  RegCloseKey(handle);
  return value;
}

ShellFolderHook SetShellFolderHook(ShellFolderHook hook) {
  ShellFolderHook before = std::move(Hook());
  Hook() = std::move(hook);
  return before;
}

std::string GetSpecialFolder(intptr_t owner, int32_t folder, std::string_view fallback) {
  std::optional<std::string> path = ShellFolder(owner, folder);
  if (!path) {
    path = RegistryShellFolder(folder);
    if (path->empty()) path = std::string(fallback);
  }
  return StripQuotes(std::move(*path));
}

void SetEnv(const std::string& name, const std::optional<std::string>& value) {
  // Both the C runtime's copy (getenv) and the process environment.
  _putenv_s(name.c_str(), value ? value->c_str() : "");
  SetEnvironmentVariableA(name.c_str(), value ? value->c_str() : nullptr);
}

std::vector<std::string> Utf8Arguments(int argc, const char* const* argv) {
  int count = 0;
  LPWSTR* wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> args;
  if (wide && count == argc) {
    for (int i = 0; i < count; ++i) {
      const int size = WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, nullptr, 0, nullptr, nullptr);
      std::string arg(size > 0 ? static_cast<size_t>(size) : 1, '\0');
      WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, arg.data(), size, nullptr, nullptr);
      arg.resize(arg.size() - 1);  // the terminating NUL
      args.push_back(std::move(arg));
    }
  } else {
    // Not the command line of this program: take argv as Windows-1252.
    for (int i = 0; i < argc; ++i)
      args.push_back(Cp1252ToUtf8(argv[i]));
  }
  if (wide) LocalFree(wide);
  return args;
}

std::string GetLoginName() {
  char buffer[257] = {};
  DWORD size = sizeof buffer;
  // On success the size counts the terminating NUL.
  if (!GetUserNameA(buffer, &size) || size == 0 || size > sizeof buffer) return {};
  return Cp1252ToUtf8(std::string_view(buffer, size - 1));
}

std::string LibraryFolder() {
  HMODULE module = nullptr;
  if (!GetModuleHandleExA(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          reinterpret_cast<LPCSTR>(&LibraryFolder), &module)) {
    return std::string(1, kPathSeparator);
  }
  // A path longer than the buffer comes back cut off: grow and ask again,
  // up to the longest path the system has.
  std::string path;
  for (DWORD size = MAX_PATH; size <= 32768; size *= 2) {
    std::vector<char> buffer(size);
    DWORD n = GetModuleFileNameA(module, buffer.data(), size);
    if (n == 0) break;
    if (n < size) {
      path.assign(buffer.data(), n);
      break;
    }
  }
  size_t slash = path.find_last_of("\\/");
  path = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
  if (path.empty()) path = std::string(1, kPathSeparator);
  return Cp1252ToUtf8(path);
}

std::string NormalizeDataPath(std::string_view path) {
  size_t first = path.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  size_t last = path.find_last_not_of(' ');
  return LowerCp1252Letters(path.substr(first, last - first + 1));
}

void ShowDefaultMessage(const Message& message) {
  const std::string text = Utf8ToCp1252(message.Text);
  const std::string caption = Utf8ToCp1252(kMessageCaption);
  UINT style = MB_OK;
  if (message.Style == MessageStyle::kCritical) style |= MB_ICONSTOP;
  MessageBoxA(nullptr, text.c_str(), caption.c_str(), style);
}

}  // namespace orncal::platform
