// The one seam through which every file operation of the stores goes. The
// default is the operating system's; tests install their own to inject
// faults (a write that fails, a full disk, a rename that is refused).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/status.h"

namespace orncal::platform {

// A file being written. It is closed by Close() or, if that was never
// called, when it is destroyed (errors then go unreported).
class WritableFile {
 public:
  virtual ~WritableFile() = default;
  virtual Status Append(std::string_view data) = 0;
  // Forces the data written so far to stable storage.
  virtual Status Sync() = 0;
  virtual Status Close() = 0;
};

// The largest file ReadFile reads: far above any month or task file (10,000
// appointments take about 1.5 MB).
inline constexpr uint64_t kMaxFileBytes = uint64_t{1} << 30;

class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // True for existing files and folders.
  virtual bool Exists(const std::string& path) = 0;
  // Reads a whole regular file of at most kMaxFileBytes. Anything else (a
  // folder, a pipe, a device, a larger file) fails without being read, so a
  // stray entry in the data folder neither blocks nor fills the memory.
  virtual Status ReadFile(const std::string& path, std::string* contents) = 0;
  // Creates a file, or truncates an existing one, for writing.
  virtual Status NewWritableFile(const std::string& path, std::unique_ptr<WritableFile>* file) = 0;
  // Moves a file to a name at which nothing exists.
  virtual Status Rename(const std::string& from, const std::string& to) = 0;
  virtual Status Remove(const std::string& path) = 0;
  // Forces the folder's entries (files made, renamed or deleted in it) to
  // stable storage, so that a renamed or new file keeps its name after a
  // power cut. Where the system makes names durable with the file's own
  // flush it does nothing.
  virtual Status SyncFolder(const std::string& folder) = 0;
  // Creates one folder; its parent must exist.
  virtual Status CreateFolder(const std::string& path) = 0;
  // The names (not paths) of the entries of a folder whose names end in
  // `extension` (".xmf"), in the order the file system returns them.
  virtual Status List(const std::string& folder, std::string_view extension,
                      std::vector<std::string>* names) = 0;
};

// The file system in use.
FileSystem& Fs();
// Installs a file system (nullptr restores the operating system's) and
// returns the one installed before. The caller keeps ownership.
FileSystem* SetFileSystem(FileSystem* fs);
// The operating system's file system.
FileSystem& OsFileSystem();

// While held, keeps the other processes from reading the files of a data
// folder (shared: reading) or from replacing one (exclusive: writing), so
// that no process reads a file in the moment another one replaces it, and
// no two write at once. The lock is on the folder that holds `path`; a
// process holds it once, however often it nests. Where the system has no
// such lock it does nothing.
class FolderLock {
 public:
  FolderLock(const std::string& path, bool exclusive);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
  std::string folder_;
};

// The folder that holds `path` ("." for a bare name).
std::string FolderOf(const std::string& path);

// Writes a whole file through a WritableFile: append, sync, close.
Status WriteWholeFile(FileSystem& fs, const std::string& path, std::string_view contents);

}  // namespace orncal::platform
