// A file system held in memory, for the fuzzers: no disk work per input,
// and a fault at any chosen operation. Paths are plain strings; a folder
// must exist before anything is made in it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/file_system.h"

namespace orncal::testing {

class MemoryFileSystem : public platform::FileSystem {
 public:
  // Makes the folder and every missing level above it.
  void AddFolder(const std::string& path);
  void Put(const std::string& path, std::string bytes) { files_[path] = std::move(bytes); }
  const std::map<std::string, std::string>& Files() const { return files_; }

  // The `n`th change from now (0 = the next one; creating, appending,
  // syncing, closing, renaming, removing, syncing a folder or making one)
  // fails. A failing append first writes `torn` of its bytes, as a full
  // disk does. Only one fault is armed at a time.
  void FailAt(uint32_t n, size_t torn = 0) { fault_ = Fault{n, torn}; }
  void Disarm() { fault_.reset(); }

  bool Exists(const std::string& path) override;
  platform::Status ReadFile(const std::string& path, std::string* contents) override;
  platform::Status NewWritableFile(const std::string& path,
                                   std::unique_ptr<platform::WritableFile>* file) override;
  platform::Status Rename(const std::string& from, const std::string& to) override;
  platform::Status Remove(const std::string& path) override;
  platform::Status SyncFolder(const std::string& folder) override;
  platform::Status CreateFolder(const std::string& path) override;
  platform::Status List(const std::string& folder, std::string_view extension,
                        std::vector<std::string>* names) override;

  // -- Used by the files it hands out.
  // Counts one change; true when it is the one that fails. `torn` is set to
  // how many bytes a failing append still writes.
  bool Fails(size_t* torn = nullptr);
  std::string* Contents(const std::string& path);

 private:
  struct Fault {
    uint32_t countdown;
    size_t torn;
  };
  bool HasFolder(const std::string& path) const;

  std::map<std::string, std::string> files_;
  std::set<std::string> folders_;
  std::optional<Fault> fault_;
};

}  // namespace orncal::testing
