#include "platform/file_system.h"

#include "platform/system.h"

namespace orncal::platform {
namespace {
FileSystem* g_installed = nullptr;
}  // namespace

FileSystem& Fs() { return g_installed ? *g_installed : OsFileSystem(); }

FileSystem* SetFileSystem(FileSystem* fs) {
  FileSystem* before = g_installed;
  g_installed = fs;
  return before;
}

std::string FolderOf(const std::string& path) {
  const size_t slash = path.rfind(kPathSeparator);
  if (slash == std::string::npos) return ".";
  return slash == 0 ? path.substr(0, 1) : path.substr(0, slash);
}

Status WriteWholeFile(FileSystem& fs, const std::string& path, std::string_view contents) {
  std::unique_ptr<WritableFile> file;
  Status s = fs.NewWritableFile(path, &file);
  if (!s.ok()) return s;
  s = file->Append(contents);
  if (s.ok()) s = file->Sync();
  Status closed = file->Close();
  return s.ok() ? closed : s;
}

}  // namespace orncal::platform
