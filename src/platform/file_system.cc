#include "platform/file_system.h"

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
