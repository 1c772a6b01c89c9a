#include "support/fault_file_system.h"

#include <algorithm>

namespace orncal::testing {
namespace {

const char* NameOf(FaultFileSystem::Op op) {
  switch (op) {
    case FaultFileSystem::Op::kRead:
      return "read";
    case FaultFileSystem::Op::kCreate:
      return "create";
    case FaultFileSystem::Op::kAppend:
      return "append";
    case FaultFileSystem::Op::kSync:
      return "sync";
    case FaultFileSystem::Op::kClose:
      return "close";
    case FaultFileSystem::Op::kRename:
      return "rename";
    case FaultFileSystem::Op::kRemove:
      return "remove";
    case FaultFileSystem::Op::kCreateFolder:
      return "mkdir";
    case FaultFileSystem::Op::kList:
      return "list";
  }
  return "?";
}

platform::Status Injected(FaultFileSystem::Op op, const std::string& path) {
  return platform::Status::Failure(std::string("injected ") + NameOf(op) + " fault: " + path);
}

class FaultWritableFile : public platform::WritableFile {
 public:
  FaultWritableFile(FaultFileSystem* fs, std::string path,
                    std::unique_ptr<platform::WritableFile> base)
      : fs_(fs), path_(std::move(path)), base_(std::move(base)) {}

  platform::Status Append(std::string_view data) override {
    if (fs_->ShouldFail(FaultFileSystem::Op::kAppend, path_)) {
      return Injected(FaultFileSystem::Op::kAppend, path_);
    }
    std::optional<int64_t>& budget = fs_->WriteBudget();
    if (budget && static_cast<int64_t>(data.size()) > *budget) {
      auto fits = static_cast<size_t>(std::max<int64_t>(*budget, 0));
      base_->Append(data.substr(0, fits));
      *budget = 0;
      return platform::Status::Failure("injected full disk: " + path_);
    }
    if (budget) *budget -= static_cast<int64_t>(data.size());
    return base_->Append(data);
  }

  platform::Status Sync() override {
    if (fs_->ShouldFail(FaultFileSystem::Op::kSync, path_)) {
      return Injected(FaultFileSystem::Op::kSync, path_);
    }
    return base_->Sync();
  }

  platform::Status Close() override {
    platform::Status closed = base_->Close();
    if (fs_->ShouldFail(FaultFileSystem::Op::kClose, path_)) {
      return Injected(FaultFileSystem::Op::kClose, path_);
    }
    return closed;
  }

 private:
  FaultFileSystem* fs_;
  std::string path_;
  std::unique_ptr<platform::WritableFile> base_;
};

}  // namespace

void FaultFileSystem::FailOn(Op op, std::string path_part) {
  faults_.push_back(Fault{op, std::move(path_part)});
}

void FaultFileSystem::Heal() {
  faults_.clear();
  write_budget_.reset();
}

bool FaultFileSystem::ShouldFail(Op op, const std::string& path) {
  log_.push_back(std::string(NameOf(op)) + " " + path);
  return std::any_of(faults_.begin(), faults_.end(), [&](const Fault& f) {
    return f.op == op && path.find(f.path_part) != std::string::npos;
  });
}

bool FaultFileSystem::Exists(const std::string& path) {
  return platform::OsFileSystem().Exists(path);
}

platform::Status FaultFileSystem::ReadFile(const std::string& path, std::string* contents) {
  if (ShouldFail(Op::kRead, path)) return Injected(Op::kRead, path);
  return platform::OsFileSystem().ReadFile(path, contents);
}

platform::Status FaultFileSystem::NewWritableFile(const std::string& path,
                                                  std::unique_ptr<platform::WritableFile>* file) {
  if (ShouldFail(Op::kCreate, path)) return Injected(Op::kCreate, path);
  std::unique_ptr<platform::WritableFile> base;
  platform::Status s = platform::OsFileSystem().NewWritableFile(path, &base);
  if (!s.ok()) return s;
  *file = std::make_unique<FaultWritableFile>(this, path, std::move(base));
  return s;
}

platform::Status FaultFileSystem::Rename(const std::string& from, const std::string& to) {
  if (ShouldFail(Op::kRename, from)) return Injected(Op::kRename, from);
  return platform::OsFileSystem().Rename(from, to);
}

platform::Status FaultFileSystem::Remove(const std::string& path) {
  if (ShouldFail(Op::kRemove, path)) return Injected(Op::kRemove, path);
  return platform::OsFileSystem().Remove(path);
}

platform::Status FaultFileSystem::CreateFolder(const std::string& path) {
  if (ShouldFail(Op::kCreateFolder, path)) return Injected(Op::kCreateFolder, path);
  return platform::OsFileSystem().CreateFolder(path);
}

platform::Status FaultFileSystem::List(const std::string& folder, std::string_view extension,
                                       std::vector<std::string>* names) {
  if (ShouldFail(Op::kList, folder)) return Injected(Op::kList, folder);
  return platform::OsFileSystem().List(folder, extension, names);
}

}  // namespace orncal::testing
