// A file system for tests: the operating system's, with faults on demand.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/file_system.h"

namespace orncal::testing {

class FaultFileSystem : public platform::FileSystem {
 public:
  enum class Op { kRead, kCreate, kAppend, kSync, kClose, kRename, kRemove, kCreateFolder, kList };

  // Fails every operation `op` whose path contains `path_part` ("" = any).
  void FailOn(Op op, std::string path_part = "");
  // Lets writes reach only `bytes` more bytes in total; the write that would
  // go past the limit writes what fits and fails (a full disk).
  void LimitWrites(int64_t bytes) { write_budget_ = bytes; }
  void Heal();

  // The operations seen, as "op path".
  const std::vector<std::string>& Log() const { return log_; }

  bool Exists(const std::string& path) override;
  platform::Status ReadFile(const std::string& path, std::string* contents) override;
  platform::Status NewWritableFile(const std::string& path,
                                   std::unique_ptr<platform::WritableFile>* file) override;
  platform::Status Rename(const std::string& from, const std::string& to) override;
  platform::Status Remove(const std::string& path) override;
  platform::Status CreateFolder(const std::string& path) override;
  platform::Status List(const std::string& folder, std::string_view extension,
                        std::vector<std::string>* names) override;

  // Used by the files this file system hands out.
  bool ShouldFail(Op op, const std::string& path);
  std::optional<int64_t>& WriteBudget() { return write_budget_; }

 private:
  struct Fault {
    Op op;
    std::string path_part;
  };
  std::vector<Fault> faults_;
  std::optional<int64_t> write_budget_;
  std::vector<std::string> log_;
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
