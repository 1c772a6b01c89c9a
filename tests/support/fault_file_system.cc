#include "support/fault_file_system.h"

#include <algorithm>

namespace orncal::testing {
namespace {

using Op = FaultFileSystem::Op;

class FaultWritableFile : public platform::WritableFile {
 public:
  FaultWritableFile(FaultFileSystem* fs, std::string path,
                    std::unique_ptr<platform::WritableFile> base)
      : fs_(fs), path_(std::move(path)), base_(std::move(base)) {}

  platform::Status Append(std::string_view data) override {
    if (fs_->Fails(Op::kAppend, path_)) return FaultFileSystem::Injected(path_);
    std::optional<int64_t>& budget = fs_->write_budget_;
    if (budget && static_cast<int64_t>(data.size()) > *budget) {
      base_->Append(data.substr(0, static_cast<size_t>(std::max<int64_t>(*budget, 0))));
      *budget = 0;
      return FaultFileSystem::Injected(path_);
    }
    if (budget) *budget -= static_cast<int64_t>(data.size());
    return base_->Append(data);
  }
  platform::Status Sync() override {
    fs_->journal.push_back("sync " + path_);
    return fs_->Fails(Op::kSync, path_) ? FaultFileSystem::Injected(path_) : base_->Sync();
  }
  platform::Status Close() override {
    fs_->journal.push_back("close " + path_);
    platform::Status closed = base_->Close();
    return fs_->Fails(Op::kClose, path_) ? FaultFileSystem::Injected(path_) : closed;
  }

 private:
  FaultFileSystem* fs_;
  std::string path_;
  std::unique_ptr<platform::WritableFile> base_;
};

}  // namespace

bool FaultFileSystem::Fails(Op op, const std::string& path) const {
  return std::any_of(faults_.begin(), faults_.end(), [&](const auto& fault) {
    return fault.first == op && path.find(fault.second) != std::string::npos;
  });
}

platform::Status FaultFileSystem::NewWritableFile(const std::string& path,
                                                  std::unique_ptr<platform::WritableFile>* file) {
  journal.push_back("create " + path);
  if (Fails(Op::kCreate, path)) return Injected(path);
  std::unique_ptr<platform::WritableFile> base;
  platform::Status s = Os().NewWritableFile(path, &base);
  if (s.ok()) *file = std::make_unique<FaultWritableFile>(this, path, std::move(base));
  return s;
}

}  // namespace orncal::testing
