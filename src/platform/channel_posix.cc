// The notifier transport on POSIX: Unix-domain stream sockets in a folder
// private to the user, peer credentials checked on both ends.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef __linux__
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#endif

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "platform/channel.h"

namespace orncal::platform {
namespace {

Status Errno(const std::string& what) {
  return Status::Failure(what + ": " + std::strerror(errno));
}

void SetNonBlocking(int fd) {
  const int flags = ::fcntl(fd, F_GETFL, 0);
  if (flags >= 0) ::fcntl(fd, F_SETFL, flags | O_NONBLOCK);
}

void SetCloseOnExec(int fd) {
  const int flags = ::fcntl(fd, F_GETFD, 0);
  if (flags >= 0) ::fcntl(fd, F_SETFD, flags | FD_CLOEXEC);
}

// The user and process at the other end of a connected socket.
bool PeerCredentials(int fd, uid_t* uid, int64_t* pid) {
#ifdef SO_PEERCRED
  struct ucred cred {};
  socklen_t size = sizeof cred;
  if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &size) != 0) return false;
  *uid = cred.uid;
  *pid = cred.pid;
  return true;
#else
  gid_t gid;
  *pid = 0;
  return ::getpeereid(fd, uid, &gid) == 0;
#endif
}

bool SocketAddress(const std::string& path, sockaddr_un* address) {
  std::memset(address, 0, sizeof *address);
  address->sun_family = AF_UNIX;
  if (path.size() >= sizeof address->sun_path) return false;
  std::memcpy(address->sun_path, path.data(), path.size());
  return true;
}

class SocketChannel final : public Channel {
 public:
  SocketChannel(int fd, int64_t pid) : fd_(fd), pid_(pid) {}
  ~SocketChannel() override { ::close(fd_); }

  Io Send(std::string_view data, size_t* written) override {
    *written = 0;
    while (true) {
      const ssize_t n = ::send(fd_, data.data(), data.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
      if (n >= 0) {
        *written = static_cast<size_t>(n);
        return Io::kDone;
      }
      if (errno == EINTR) continue;
      if (errno == EAGAIN || errno == EWOULDBLOCK) return Io::kWouldBlock;
      return errno == EPIPE || errno == ECONNRESET ? Io::kClosed : Io::kFailed;
    }
  }

  Io Receive(char* buffer, size_t capacity, size_t* received) override {
    *received = 0;
    while (true) {
      const ssize_t n = ::recv(fd_, buffer, capacity, MSG_DONTWAIT);
      if (n > 0) {
        *received = static_cast<size_t>(n);
        return Io::kDone;
      }
      if (n == 0) return Io::kClosed;
      if (errno == EINTR) continue;
      if (errno == EAGAIN || errno == EWOULDBLOCK) return Io::kWouldBlock;
      return errno == ECONNRESET ? Io::kClosed : Io::kFailed;
    }
  }

  Io Wait(bool writable, int timeout_ms) override {
    struct pollfd item {
      fd_, static_cast<short>(POLLIN | (writable ? POLLOUT : 0)), 0
    };
    while (true) {
      const int n = ::poll(&item, 1, timeout_ms);
      if (n > 0) {
        if ((item.revents & (POLLIN | POLLOUT)) != 0) return Io::kDone;
        return (item.revents & POLLHUP) != 0 ? Io::kClosed : Io::kFailed;
      }
      if (n == 0) return Io::kWouldBlock;
      if (errno != EINTR) return Io::kFailed;
      // A signal: wait again (the caller's deadline bounds the whole).
    }
  }

  intptr_t Descriptor() const override { return fd_; }
  int64_t PeerProcess() const override { return pid_; }

 private:
  int fd_;
  int64_t pid_;
};

class SocketListener final : public Listener {
 public:
  SocketListener(int fd, int lock_fd, std::string socket)
      : fd_(fd), lock_fd_(lock_fd), socket_(std::move(socket)) {}
  ~SocketListener() override {
    // The socket goes while the lock is still held, so that no one
    // removes a successor's socket.
    ::unlink(socket_.c_str());
    ::close(fd_);
    ::close(lock_fd_);
  }

  intptr_t Descriptor() const override { return fd_; }

  Io Accept(std::unique_ptr<Channel>* channel, std::string* refused) override {
    channel->reset();
    int fd;
    while ((fd = ::accept(fd_, nullptr, nullptr)) < 0) {
      if (errno == EINTR) continue;
      if (errno == EAGAIN || errno == EWOULDBLOCK || errno == ECONNABORTED) return Io::kWouldBlock;
      return Io::kFailed;
    }
    SetNonBlocking(fd);
    SetCloseOnExec(fd);
    uid_t uid = 0;
    int64_t pid = 0;
    if (!PeerCredentials(fd, &uid, &pid) || uid != ::geteuid()) {
      *refused =
          "a process of user " + std::to_string(uid) + " (process " + std::to_string(pid) + ")";
      ::close(fd);
      return Io::kDone;
    }
    *channel = std::make_unique<SocketChannel>(fd, pid);
    return Io::kDone;
  }

 private:
  int fd_;
  int lock_fd_;
  std::string socket_;
};

// A folder that is ours alone: made when missing, and refused when it is
// a link, no folder, or someone else's. Access for others is taken away.
Status PrivateFolder(const std::string& path) {
  if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return Errno("cannot make " + path);
  struct stat st;
  if (::lstat(path.c_str(), &st) != 0) return Errno("cannot examine " + path);
  if (S_ISLNK(st.st_mode)) return Status::Failure(path + " is a symbolic link");
  if (!S_ISDIR(st.st_mode)) return Status::Failure(path + " is no folder");
  if (st.st_uid != ::geteuid()) return Status::Failure(path + " belongs to another user");
  if ((st.st_mode & 077) != 0 && ::chmod(path.c_str(), 0700) != 0) {
    return Errno("cannot make " + path + " private");
  }
  return Status::Ok();
}

}  // namespace

bool NotifierTransportAvailable() { return true; }

Status FindNotifierEndpoint(NotifierEndpoint* endpoint) {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  std::string folder;
  if (runtime && runtime[0] == '/') {
    folder = std::string(runtime) + "/orncalendar";
  } else {
    folder = "/tmp/orncalendar-" + std::to_string(::geteuid());
  }
  if (Status made = PrivateFolder(folder); !made.ok()) return made;
  endpoint->folder = folder;
  endpoint->socket = folder + "/notifier.sock";
  endpoint->lock = folder + "/notifier.lock";
  endpoint->log = folder + "/notifier.log";
  sockaddr_un address;
  if (!SocketAddress(endpoint->socket, &address)) {
    return Status::Failure("the socket path " + endpoint->socket + " is too long");
  }
  return Status::Ok();
}

Status ConnectChannel(const std::string& socket, std::unique_ptr<Channel>* channel) {
  sockaddr_un address;
  if (!SocketAddress(socket, &address)) return Status::Failure("the socket path is too long");
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return Errno("cannot make a socket");
  while (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    if (errno == EINTR) continue;
    Status failed = Errno("cannot connect to " + socket);
    ::close(fd);
    return failed;
  }
  uid_t uid = 0;
  int64_t pid = 0;
  if (!PeerCredentials(fd, &uid, &pid)) {
    Status failed = Errno("cannot learn who listens at " + socket);
    ::close(fd);
    return failed;
  }
  if (uid != ::geteuid()) {
    ::close(fd);
    return Status::Failure("the notifier at " + socket + " runs as user " + std::to_string(uid));
  }
  SetNonBlocking(fd);
  *channel = std::make_unique<SocketChannel>(fd, pid);
  return Status::Ok();
}

Status Listen(const NotifierEndpoint& endpoint, int lockWaitMs, std::unique_ptr<Listener>* listener,
              bool* otherRunning) {
  *otherRunning = false;
  const int lock_fd =
      ::open(endpoint.lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (lock_fd < 0) return Errno("cannot open " + endpoint.lock);
  // A notifier on its way out still holds the lock for a moment.
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::milliseconds(lockWaitMs);
  while (::flock(lock_fd, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) {
      Status failed = Errno("cannot lock " + endpoint.lock);
      ::close(lock_fd);
      return failed;
    }
    if (std::chrono::steady_clock::now() >= give_up) {
      ::close(lock_fd);
      *otherRunning = true;
      return Status::Failure("another notifier holds " + endpoint.lock);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  const std::string pid = std::to_string(::getpid()) + "\n";
  if (::ftruncate(lock_fd, 0) != 0 || ::write(lock_fd, pid.data(), pid.size()) < 0) {
    // The number is for people and tests; the lock works without it.
  }

  sockaddr_un address;
  if (!SocketAddress(endpoint.socket, &address)) {
    ::close(lock_fd);
    return Status::Failure("the socket path is too long");
  }
  // Whoever holds the lock owns the socket path: what lies there was left
  // by a notifier that died.
  ::unlink(endpoint.socket.c_str());
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    Status failed = Errno("cannot make a socket");
    ::close(lock_fd);
    return failed;
  }
  const mode_t mask = ::umask(077);
  const bool bound = ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  ::umask(mask);
  if (!bound || ::listen(fd, 64) != 0) {
    Status failed = Errno("cannot listen at " + endpoint.socket);
    ::close(fd);
    ::close(lock_fd);
    return failed;
  }
  SetNonBlocking(fd);
  *listener = std::make_unique<SocketListener>(fd, lock_fd, endpoint.socket);
  return Status::Ok();
}

bool PollItems(std::vector<PollItem>& items, int timeout_ms) {
  std::vector<pollfd> fds(items.size());
  for (size_t i = 0; i < items.size(); ++i) {
    fds[i].fd = static_cast<int>(items[i].descriptor);
    fds[i].events = static_cast<short>(POLLIN | (items[i].want_write ? POLLOUT : 0));
    items[i].readable = items[i].writable = false;
  }
  if (::poll(fds.data(), fds.size(), timeout_ms) < 0) {
    // A signal: the caller looks at its clock and comes back.
    return errno == EINTR;
  }
  for (size_t i = 0; i < items.size(); ++i) {
    items[i].readable = (fds[i].revents & (POLLIN | POLLHUP | POLLERR | POLLNVAL)) != 0;
    items[i].writable = (fds[i].revents & POLLOUT) != 0;
  }
  return true;
}

Status SpawnDetached(const std::string& program, const std::vector<std::string>& arguments,
                     const std::string& errorLog) {
  std::vector<std::string> args{program};
  args.insert(args.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& arg : args)
    argv.push_back(arg.data());
  argv.push_back(nullptr);

  const pid_t child = ::fork();
  if (child < 0) return Errno("cannot start " + program);
  if (child == 0) {
    // The child starts a grandchild in a session of its own and leaves at
    // once, so the notifier belongs to no one's process group and is not
    // left for this process to reap.
    ::setsid();
    const pid_t grandchild = ::fork();
    if (grandchild != 0) ::_exit(grandchild < 0 ? 1 : 0);
    ::signal(SIGPIPE, SIG_DFL);
    const int null = ::open("/dev/null", O_RDWR);
    const int log = ::open(errorLog.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW, 0600);
    if (null >= 0) {
      ::dup2(null, 0);
      ::dup2(null, 1);
    }
    if (log >= 0) ::dup2(log, 2);
    // Nothing of the starting process stays open in the notifier.
    for (int fd = 3; fd < 1024; ++fd)
      ::close(fd);
    ::execv(program.c_str(), argv.data());
    ::_exit(127);
  }
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    return Status::Failure("cannot start " + program);
  }
  return Status::Ok();
}

bool IsExecutableFile(const std::string& path) {
  struct stat st;
  return !path.empty() && ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
         ::access(path.c_str(), X_OK) == 0;
}

std::string ProgramFile(std::string_view name) { return std::string(name); }

std::string FindProgramOnPath(std::string_view name) {
  const char* path = std::getenv("PATH");
  if (!path) return {};
  std::string_view rest(path);
  while (true) {
    const size_t colon = rest.find(':');
    std::string folder(rest.substr(0, colon));
    if (!folder.empty() && folder[0] == '/') {
      std::string candidate = folder + "/" + std::string(name);
      if (IsExecutableFile(candidate)) return candidate;
    }
    if (colon == std::string_view::npos) return {};
    rest.remove_prefix(colon + 1);
  }
}

std::optional<std::string> GetEnv(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  if (!value) return std::nullopt;
  return std::string(value);
}

namespace {

volatile bool* stop_flag = nullptr;

void StopHandler(int) {
  if (stop_flag) *stop_flag = true;
}

}  // namespace

void HandleStopRequests(volatile bool* stop) {
  stop_flag = stop;
  ::signal(SIGPIPE, SIG_IGN);
  struct sigaction action {};
  action.sa_handler = StopHandler;
  ::sigaction(SIGTERM, &action, nullptr);
  ::sigaction(SIGINT, &action, nullptr);
}

void TrimErrorLog(int64_t bytes) {
  struct stat st;
  if (::fstat(2, &st) == 0 && S_ISREG(st.st_mode) && st.st_size > bytes) {
    if (::ftruncate(2, 0) != 0) {
      // A log that cannot be cut grows on.
    }
  }
}

#ifdef __linux__
namespace {

// An epoll descriptor over the watched connection, an event counter for
// messages that wait and a timer.
class EpollWakeSource final : public WakeSource {
 public:
  EpollWakeSource(int epoll, int event, int timer) : epoll_(epoll), event_(event), timer_(timer) {}
  ~EpollWakeSource() override {
    ::close(timer_);
    ::close(event_);
    ::close(epoll_);
  }

  intptr_t Descriptor() const override { return epoll_; }

  void Watch(intptr_t descriptor) override {
    if (watched_ >= 0) ::epoll_ctl(epoll_, EPOLL_CTL_DEL, watched_, nullptr);
    watched_ = static_cast<int>(descriptor);
    if (watched_ < 0) return;
    epoll_event item{};
    item.events = EPOLLIN;
    if (::epoll_ctl(epoll_, EPOLL_CTL_ADD, watched_, &item) != 0) watched_ = -1;
  }

  void SetPending(bool pending) override {
    if (pending == pending_) return;
    pending_ = pending;
    uint64_t value = 1;
    if (pending) {
      if (::write(event_, &value, sizeof value) < 0) pending_ = false;
    } else if (::read(event_, &value, sizeof value) < 0) {
      // Nothing was counted: not readable anyway.
    }
  }

  void WakeAfter(int ms) override {
    itimerspec when{};
    if (ms >= 0) {
      // 0 would disarm the timer: the earliest is one nanosecond.
      when.it_value.tv_sec = ms / 1000;
      when.it_value.tv_nsec = (ms % 1000) * 1000000L + (ms == 0 ? 1 : 0);
    }
    ::timerfd_settime(timer_, 0, &when, nullptr);  // also clears an expiry not read
  }

 private:
  int epoll_, event_, timer_;
  int watched_ = -1;
  bool pending_ = false;
};

}  // namespace

std::unique_ptr<WakeSource> NewWakeSource() {
  const int epoll = ::epoll_create1(EPOLL_CLOEXEC);
  const int event = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  const int timer = ::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
  epoll_event item{};
  item.events = EPOLLIN;
  if (epoll < 0 || event < 0 || timer < 0 || ::epoll_ctl(epoll, EPOLL_CTL_ADD, event, &item) != 0 ||
      ::epoll_ctl(epoll, EPOLL_CTL_ADD, timer, &item) != 0) {
    for (int fd : {epoll, event, timer})
      if (fd >= 0) ::close(fd);
    return nullptr;
  }
  return std::make_unique<EpollWakeSource>(epoll, event, timer);
}
#else
std::unique_ptr<WakeSource> NewWakeSource() { return nullptr; }
#endif

}  // namespace orncal::platform
