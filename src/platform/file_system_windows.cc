// The operating system's file system on Windows, through the ANSI entry
// points: paths are UTF-8 here and Windows-1252 for the system.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <algorithm>
#include <string>

#include "platform/encoding.h"
#include "platform/file_system.h"

namespace orncal::platform {
namespace {

// The system's text for its last error, without the trailing line break.
std::string LastErrorText() {
  DWORD code = GetLastError();
  char buffer[512] = {};
  DWORD n = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                           code, 0, buffer, sizeof buffer, nullptr);
  std::string text(buffer, std::min<DWORD>(n, sizeof buffer));
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) {
    text.pop_back();
  }
  if (text.empty()) text = "error " + std::to_string(code);
  return Cp1252ToUtf8(text);
}

Status Failed(const std::string& what, const std::string& path) {
  return Status::Failure(what + " " + path + ": " + LastErrorText());
}

class WindowsWritableFile final : public WritableFile {
 public:
  WindowsWritableFile(std::string path, HANDLE handle) : path_(std::move(path)), handle_(handle) {}
  ~WindowsWritableFile() override {
    if (handle_ != INVALID_HANDLE_VALUE) CloseHandle(handle_);
  }

  Status Append(std::string_view data) override {
    while (!data.empty()) {
      // WriteFile takes at most a DWORD's worth at a time.
      DWORD chunk = static_cast<DWORD>(std::min<size_t>(data.size(), 1u << 30));
      DWORD written = 0;
      if (!WriteFile(handle_, data.data(), chunk, &written, nullptr)) {
        return Failed("cannot write", path_);
      }
      if (written == 0) return Status::Failure("cannot write " + path_ + ": nothing written");
      data.remove_prefix(written);
    }
    return Status::Ok();
  }

  Status Sync() override {
    if (!FlushFileBuffers(handle_)) return Failed("cannot sync", path_);
    return Status::Ok();
  }

  Status Close() override {
    if (handle_ == INVALID_HANDLE_VALUE) return Status::Ok();
    HANDLE handle = handle_;
    handle_ = INVALID_HANDLE_VALUE;
    if (!CloseHandle(handle)) return Failed("cannot close", path_);
    return Status::Ok();
  }

 private:
  std::string path_;
  HANDLE handle_;
};

class WindowsFileSystem final : public FileSystem {
 public:
  bool Exists(const std::string& path) override {
    return !path.empty() &&
           GetFileAttributesA(Utf8ToCp1252(path).c_str()) != INVALID_FILE_ATTRIBUTES;
  }

  Status ReadFile(const std::string& path, std::string* contents) override {
    contents->clear();
    // A folder cannot be opened this way, so reading one fails here.
    HANDLE handle =
        CreateFileA(Utf8ToCp1252(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return Failed("cannot open", path);
    LARGE_INTEGER size{};
    if (GetFileType(handle) != FILE_TYPE_DISK || !GetFileSizeEx(handle, &size) ||
        static_cast<uint64_t>(size.QuadPart) > kMaxFileBytes) {
      CloseHandle(handle);
      return Status::Failure("cannot read " + path + ": not a regular file of a readable size");
    }
    contents->reserve(static_cast<size_t>(size.QuadPart));
    char buffer[64 * 1024];
    for (;;) {
      DWORD n = 0;
      if (!::ReadFile(handle, buffer, sizeof buffer, &n, nullptr)) {
        Status s = Failed("cannot read", path);
        CloseHandle(handle);
        return s;
      }
      if (n == 0) break;
      if (contents->size() + n > kMaxFileBytes) {
        CloseHandle(handle);
        return Status::Failure("cannot read " + path + ": too large");
      }
      contents->append(buffer, n);
    }
    CloseHandle(handle);
    return Status::Ok();
  }

  Status NewWritableFile(const std::string& path, std::unique_ptr<WritableFile>* file) override {
    HANDLE handle = CreateFileA(Utf8ToCp1252(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return Failed("cannot create", path);
    *file = std::make_unique<WindowsWritableFile>(path, handle);
    return Status::Ok();
  }

  // MoveFileA refuses to replace an existing file.
  Status Rename(const std::string& from, const std::string& to) override {
    if (!MoveFileA(Utf8ToCp1252(from).c_str(), Utf8ToCp1252(to).c_str())) {
      return Failed("cannot rename", from);
    }
    return Status::Ok();
  }

  Status Remove(const std::string& path) override {
    if (!DeleteFileA(Utf8ToCp1252(path).c_str())) return Failed("cannot delete", path);
    return Status::Ok();
  }

  Status CreateFolder(const std::string& path) override {
    if (!CreateDirectoryA(Utf8ToCp1252(path).c_str(), nullptr)) {
      return Failed("cannot create folder", path);
    }
    return Status::Ok();
  }

  // A file's FlushFileBuffers makes its name durable as well.
  Status SyncFolder(const std::string&) override { return Status::Ok(); }

  // The system's wildcard match decides: it ignores case, and a long name
  // whose short 8.3 name matches is listed too.
  Status List(const std::string& folder, std::string_view extension,
              std::vector<std::string>* names) override {
    names->clear();
    std::string pattern = Utf8ToCp1252(folder);
    if (!pattern.empty() && pattern.back() != '\\') pattern += '\\';
    pattern += '*';
    pattern += Utf8ToCp1252(extension);
    WIN32_FIND_DATAA entry;
    HANDLE find = FindFirstFileA(pattern.c_str(), &entry);
    if (find == INVALID_HANDLE_VALUE) {
      // An existing folder without a matching entry is an empty listing.
      if (GetLastError() == ERROR_FILE_NOT_FOUND) return Status::Ok();
      return Failed("cannot list", folder);
    }
    do {
      names->push_back(Cp1252ToUtf8(entry.cFileName));
    } while (FindNextFileA(find, &entry));
    DWORD last = GetLastError();
    FindClose(find);
    if (last != ERROR_NO_MORE_FILES) {
      SetLastError(last);
      return Failed("cannot list", folder);
    }
    return Status::Ok();
  }
};

}  // namespace

FileSystem& OsFileSystem() {
  static WindowsFileSystem fs;
  return fs;
}

// The calendars of several processes keep in step only through the
// notifier, which Windows does not have yet: nothing to guard against.
FolderLock::FolderLock(const std::string&, bool) {}
FolderLock::~FolderLock() = default;

}  // namespace orncal::platform
