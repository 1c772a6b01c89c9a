// The operating system's file system on POSIX.
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>

#include "platform/file_system.h"

namespace orncal::platform {
namespace {

Status Errno(const std::string& what, const std::string& path) {
  return Status::Failure(what + " " + path + ": " + std::strerror(errno));
}

class PosixWritableFile final : public WritableFile {
 public:
  PosixWritableFile(std::string path, int fd) : path_(std::move(path)), fd_(fd) {}
  ~PosixWritableFile() override {
    if (fd_ >= 0) ::close(fd_);
  }

  Status Append(std::string_view data) override {
    while (!data.empty()) {
      ssize_t n = ::write(fd_, data.data(), data.size());
      if (n < 0) {
        if (errno == EINTR) continue;
        return Errno("cannot write", path_);
      }
      data.remove_prefix(static_cast<size_t>(n));
    }
    return Status::Ok();
  }

  Status Sync() override {
    if (::fsync(fd_) != 0) return Errno("cannot sync", path_);
    return Status::Ok();
  }

  Status Close() override {
    if (fd_ < 0) return Status::Ok();
    int fd = fd_;
    fd_ = -1;
    if (::close(fd) != 0) return Errno("cannot close", path_);
    return Status::Ok();
  }

 private:
  std::string path_;
  int fd_;
};

class PosixFileSystem final : public FileSystem {
 public:
  bool Exists(const std::string& path) override {
    struct stat st;
    return !path.empty() && ::stat(path.c_str(), &st) == 0;
  }

  Status ReadFile(const std::string& path, std::string* contents) override {
    contents->clear();
    // Opened without blocking: opening a pipe would otherwise wait for a
    // writer.
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return Errno("cannot open", path);
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
      ::close(fd);
      return Status::Failure("cannot read " + path + ": not a regular file");
    }
    if (static_cast<uint64_t>(st.st_size) > kMaxFileBytes) {
      ::close(fd);
      return Status::Failure("cannot read " + path + ": too large");
    }
    contents->reserve(static_cast<size_t>(st.st_size));
    char buffer[64 * 1024];
    for (;;) {
      ssize_t n = ::read(fd, buffer, sizeof buffer);
      if (n < 0) {
        if (errno == EINTR) continue;
        Status s = Errno("cannot read", path);
        ::close(fd);
        return s;
      }
      if (n == 0) break;
      if (contents->size() + static_cast<size_t>(n) > kMaxFileBytes) {
        ::close(fd);
        return Status::Failure("cannot read " + path + ": too large");
      }
      contents->append(buffer, static_cast<size_t>(n));
    }
    ::close(fd);
    return Status::Ok();
  }

  Status NewWritableFile(const std::string& path, std::unique_ptr<WritableFile>* file) override {
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return Errno("cannot create", path);
    *file = std::make_unique<PosixWritableFile>(path, fd);
    return Status::Ok();
  }

  Status Rename(const std::string& from, const std::string& to) override {
    if (Exists(to)) return Status::Failure("cannot rename " + from + ": " + to + " exists");
    if (::rename(from.c_str(), to.c_str()) != 0) return Errno("cannot rename", from);
    return Status::Ok();
  }

  Status Remove(const std::string& path) override {
    if (::unlink(path.c_str()) != 0) return Errno("cannot delete", path);
    return Status::Ok();
  }

  Status SyncFolder(const std::string& folder) override {
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return Errno("cannot open folder", folder);
    // File systems that cannot sync a folder (some network ones) say EINVAL:
    // their names are as durable as they get.
    const bool synced = ::fsync(fd) == 0 || errno == EINVAL;
    Status s = synced ? Status::Ok() : Errno("cannot sync folder", folder);
    ::close(fd);
    return s;
  }

  Status CreateFolder(const std::string& path) override {
    if (::mkdir(path.c_str(), 0755) != 0) return Errno("cannot create folder", path);
    return Status::Ok();
  }

  Status List(const std::string& folder, std::string_view extension,
              std::vector<std::string>* names) override {
    names->clear();
    DIR* dir = ::opendir(folder.c_str());
    if (!dir) return Errno("cannot list", folder);
    while (struct dirent* entry = ::readdir(dir)) {
      std::string_view name(entry->d_name);
      if (name.size() >= extension.size() &&
          name.substr(name.size() - extension.size()) == extension) {
        names->emplace_back(name);
      }
    }
    ::closedir(dir);
    return Status::Ok();
  }
};

}  // namespace

FileSystem& OsFileSystem() {
  static PosixFileSystem fs;
  return fs;
}

namespace {

struct HeldFolder {
  int fd = -1;
  int depth = 0;
};

std::map<std::string, HeldFolder>& HeldFolders() {
  static std::map<std::string, HeldFolder> held;
  return held;
}

}  // namespace

FolderLock::FolderLock(const std::string& path, bool exclusive) : folder_(FolderOf(path)) {
  HeldFolder& held = HeldFolders()[folder_];
  if (held.depth++ > 0) return;
  held.fd = ::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (held.fd < 0) return;  // without the folder there is nothing to guard
  // A process that holds the lock for longer than any file takes (it was
  // stopped in the middle) is not waited for without end.
  const int mode = (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB;
  for (int waited_ms = 0; ::flock(held.fd, mode) != 0 && waited_ms < 10000; ++waited_ms) {
    if (errno != EWOULDBLOCK && errno != EINTR) break;
    ::usleep(1000);
  }
}

FolderLock::~FolderLock() {
  auto it = HeldFolders().find(folder_);
  if (it == HeldFolders().end() || --it->second.depth > 0) return;
  if (it->second.fd >= 0) ::close(it->second.fd);  // gives up the lock
  HeldFolders().erase(it);
}

}  // namespace orncal::platform
