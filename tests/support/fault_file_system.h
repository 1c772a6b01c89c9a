// A file system for tests: the operating system's, with faults on demand.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/file_system.h"

namespace orncal::testing {

class FaultFileSystem : public platform::FileSystem {
 public:
  enum class Op { kCreate, kAppend, kSync, kClose, kRename, kRemove, kCreateFolder, kSyncFolder };

  // Fails every operation `op` whose path contains `path_part` ("" = any).
  void FailOn(Op op, std::string path_part = "") { faults_.push_back({op, std::move(path_part)}); }
  // Lets writes reach only `bytes` more bytes in total; the write that would
  // go past the limit writes what fits and fails (a full disk).
  void LimitWrites(int64_t bytes) { write_budget_ = bytes; }
  // The folders it was asked to create, in order.
  const std::vector<std::string>& CreatedFolders() const { return created_; }
  // Every change asked of it, in order, as "create PATH", "sync PATH",
  // "close PATH", "rename FROM TO", "remove PATH", "sync-folder FOLDER"
  // (writes themselves are left out).
  std::vector<std::string> journal;

  bool Exists(const std::string& path) override { return Os().Exists(path); }
  platform::Status ReadFile(const std::string& path, std::string* contents) override {
    return Os().ReadFile(path, contents);
  }
  platform::Status NewWritableFile(const std::string& path,
                                   std::unique_ptr<platform::WritableFile>* file) override;
  platform::Status Rename(const std::string& from, const std::string& to) override {
    journal.push_back("rename " + from + " " + to);
    return Fails(Op::kRename, from) ? Injected(from) : Os().Rename(from, to);
  }
  platform::Status Remove(const std::string& path) override {
    journal.push_back("remove " + path);
    return Fails(Op::kRemove, path) ? Injected(path) : Os().Remove(path);
  }
  platform::Status SyncFolder(const std::string& folder) override {
    journal.push_back("sync-folder " + folder);
    return Fails(Op::kSyncFolder, folder) ? Injected(folder) : Os().SyncFolder(folder);
  }
  platform::Status CreateFolder(const std::string& path) override {
    created_.push_back(path);
    return Fails(Op::kCreateFolder, path) ? Injected(path) : Os().CreateFolder(path);
  }
  platform::Status List(const std::string& folder, std::string_view extension,
                        std::vector<std::string>* names) override {
    return Os().List(folder, extension, names);
  }

  // -- Used by the files it hands out.
  bool Fails(Op op, const std::string& path) const;
  static platform::Status Injected(const std::string& path) {
    return platform::Status::Failure("injected fault: " + path);
  }
  std::optional<int64_t> write_budget_;

 private:
  static platform::FileSystem& Os() { return platform::OsFileSystem(); }
  std::vector<std::pair<Op, std::string>> faults_;
  std::vector<std::string> created_;
};

// Installs a file system for the life of the object.
class ScopedFileSystem {
 public:
  explicit ScopedFileSystem(platform::FileSystem* fs) : before_(platform::SetFileSystem(fs)) {}
  ~ScopedFileSystem() { platform::SetFileSystem(before_); }

 private:
  platform::FileSystem* before_;
};

}  // namespace orncal::testing
