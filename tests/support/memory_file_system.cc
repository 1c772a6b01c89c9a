#include "support/memory_file_system.h"

#include <algorithm>

#include "platform/system.h"

namespace orncal::testing {
namespace {

using platform::Status;

Status Refused(const std::string& what, const std::string& path) {
  return Status::Failure(what + " " + path);
}

class MemoryWritableFile : public platform::WritableFile {
 public:
  MemoryWritableFile(MemoryFileSystem* fs, std::string path) : fs_(fs), path_(std::move(path)) {}

  Status Append(std::string_view data) override {
    size_t torn = 0;
    std::string* contents = fs_->Contents(path_);
    if (closed_ || !contents) return Refused("cannot write", path_);
    if (fs_->Fails(&torn)) {
      contents->append(data.substr(0, std::min(torn, data.size())));
      return Refused("injected fault writing", path_);
    }
    contents->append(data);
    return Status::Ok();
  }
  Status Sync() override {
    return fs_->Fails() || closed_ ? Refused("cannot sync", path_) : Status::Ok();
  }
  Status Close() override {
    if (closed_) return Status::Ok();
    closed_ = true;
    return fs_->Fails() ? Refused("cannot close", path_) : Status::Ok();
  }

 private:
  MemoryFileSystem* fs_;
  std::string path_;
  bool closed_ = false;
};

}  // namespace

void MemoryFileSystem::AddFolder(const std::string& path) {
  for (size_t at = path.find(platform::kPathSeparator, 1); at != std::string::npos;
       at = path.find(platform::kPathSeparator, at + 1)) {
    folders_.insert(path.substr(0, at));
  }
  folders_.insert(path);
}

bool MemoryFileSystem::HasFolder(const std::string& path) const { return folders_.count(path) > 0; }

bool MemoryFileSystem::Fails(size_t* torn) {
  if (!fault_) return false;
  if (fault_->countdown > 0) {
    --fault_->countdown;
    return false;
  }
  if (torn) *torn = fault_->torn;
  fault_.reset();
  return true;
}

std::string* MemoryFileSystem::Contents(const std::string& path) {
  auto it = files_.find(path);
  return it == files_.end() ? nullptr : &it->second;
}

bool MemoryFileSystem::Exists(const std::string& path) {
  return files_.count(path) > 0 || HasFolder(path);
}

Status MemoryFileSystem::ReadFile(const std::string& path, std::string* contents) {
  contents->clear();
  const std::string* found = Contents(path);
  if (!found) return Refused("cannot open", path);
  *contents = *found;
  return Status::Ok();
}

Status MemoryFileSystem::NewWritableFile(const std::string& path,
                                         std::unique_ptr<platform::WritableFile>* file) {
  if (Fails()) return Refused("injected fault creating", path);
  if (!HasFolder(platform::FolderOf(path)) || HasFolder(path))
    return Refused("cannot create", path);
  files_[path].clear();
  *file = std::make_unique<MemoryWritableFile>(this, path);
  return Status::Ok();
}

Status MemoryFileSystem::Rename(const std::string& from, const std::string& to) {
  if (Fails()) return Refused("injected fault renaming", from);
  auto it = files_.find(from);
  if (it == files_.end() || Exists(to) || !HasFolder(platform::FolderOf(to))) {
    return Refused("cannot rename", from);
  }
  std::string bytes = std::move(it->second);
  files_.erase(it);
  files_[to] = std::move(bytes);
  return Status::Ok();
}

Status MemoryFileSystem::Remove(const std::string& path) {
  if (Fails()) return Refused("injected fault deleting", path);
  return files_.erase(path) ? Status::Ok() : Refused("cannot delete", path);
}

Status MemoryFileSystem::SyncFolder(const std::string& folder) {
  if (Fails()) return Refused("injected fault syncing", folder);
  return HasFolder(folder) ? Status::Ok() : Refused("cannot sync", folder);
}

Status MemoryFileSystem::CreateFolder(const std::string& path) {
  if (Fails()) return Refused("injected fault creating folder", path);
  if (Exists(path) || !HasFolder(platform::FolderOf(path))) {
    return Refused("cannot create folder", path);
  }
  folders_.insert(path);
  return Status::Ok();
}

Status MemoryFileSystem::List(const std::string& folder, std::string_view extension,
                              std::vector<std::string>* names) {
  names->clear();
  if (!HasFolder(folder)) return Refused("cannot list", folder);
  const std::string prefix = folder + platform::kPathSeparator;
  for (auto it = files_.lower_bound(prefix); it != files_.end(); ++it) {
    const std::string& path = it->first;
    if (path.compare(0, prefix.size(), prefix) != 0) break;
    const std::string_view name = std::string_view(path).substr(prefix.size());
    if (name.find(platform::kPathSeparator) == std::string_view::npos &&
        name.ends_with(extension)) {
      names->emplace_back(name);
    }
  }
  return Status::Ok();
}

}  // namespace orncal::testing
