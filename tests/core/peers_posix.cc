#include "peers_posix.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "core/notifier_protocol.h"

namespace orncal::testing {

Sandbox::Sandbox(NotifierSettings settings) : runtime_(Join(temp_.path(), "run")) {
  std::filesystem::create_directories(runtime_);
  env_ = {"XDG_RUNTIME_DIR=" + runtime_, "ORNCAL_NOTIFIER=" + std::string(ORNCAL_NOTIFIER_PROGRAM),
          "ORNCAL_NOTIFIER_WAIT_MS=" + std::to_string(settings.wait_ms),
          "ORNCAL_NOTIFIER_LINGER_MS=" + std::to_string(settings.linger_ms)};
  if (settings.queue_bytes > 0) {
    env_.push_back("ORNCAL_NOTIFIER_QUEUE_BYTES=" + std::to_string(settings.queue_bytes));
  }
}

Sandbox::~Sandbox() {
  // No notifier outlives its test.
  if (!WaitForNoNotifier(std::chrono::seconds(10))) {
    if (pid_t notifier = NotifierProcess()) ::kill(notifier, SIGKILL);
    ADD_FAILURE() << "the notifier did not end after its last calendar left";
  }
}

std::string Sandbox::AppData(const std::string& name) const { return Join(temp_.path(), name); }

std::string Sandbox::DataFolder(const std::string& name) const {
  return Join(Join(Join(AppData(name), "Ornavel"), "Calendar"), "files");
}

pid_t Sandbox::NotifierProcess() const {
  std::ifstream lock(EndpointFolder() + "/notifier.lock");
  long pid = 0;
  if (!(lock >> pid) || pid <= 0) return 0;
  // The number of a notifier that ended stays in the file.
  if (::kill(static_cast<pid_t>(pid), 0) != 0) return 0;
  return static_cast<pid_t>(pid);
}

std::string Sandbox::NotifierLog() const { return ReadBytes(EndpointFolder() + "/notifier.log"); }

bool Sandbox::WaitForNoNotifier(std::chrono::milliseconds limit) const {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (true) {
    // The lock is held for as long as a notifier runs.
    const int fd = ::open((EndpointFolder() + "/notifier.lock").c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return true;
    const bool free = ::flock(fd, LOCK_EX | LOCK_NB) == 0;
    ::close(fd);
    if (free) return true;
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

std::string Answer::Text() const {
  std::string text;
  for (const std::string& line : lines)
    text += line + "\n";
  return text;
}

Peer::Peer(const Sandbox& sandbox, const std::string& appData, std::vector<std::string> args) {
  // A peer that died must not take the test with it.
  ::signal(SIGPIPE, SIG_IGN);
  int to[2], from[2];
  if (::pipe2(to, O_CLOEXEC) != 0 || ::pipe2(from, O_CLOEXEC) != 0) {
    ADD_FAILURE() << "no pipes";
    return;
  }
  std::vector<std::string> argv_text{ORNCAL_PEER_ACTOR, appData};
  argv_text.insert(argv_text.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& a : argv_text)
    argv.push_back(a.data());
  argv.push_back(nullptr);
  std::vector<std::string> env_text;
  for (char** e = environ; *e; ++e) {
    const std::string entry = *e;
    if (entry.rfind("ORNCAL_", 0) == 0 || entry.rfind("XDG_RUNTIME_DIR=", 0) == 0) continue;
    env_text.push_back(entry);
  }
  env_text.insert(env_text.end(), sandbox.Environment().begin(), sandbox.Environment().end());
  std::vector<char*> envp;
  for (std::string& e : env_text)
    envp.push_back(e.data());
  envp.push_back(nullptr);

  pid_ = ::fork();
  if (pid_ == 0) {
    ::dup2(to[0], 0);
    ::dup2(from[1], 1);
    ::execve(argv[0], argv.data(), envp.data());
    ::_exit(127);
  }
  ::close(to[0]);
  ::close(from[1]);
  to_ = to[1];
  from_ = from[0];
}

Peer::~Peer() { Quit(); }

void Peer::Quit() {
  if (pid_ <= 0) return;
  const std::string quit = "quit\n";
  if (::write(to_, quit.data(), quit.size()) < 0) {
    // It is gone already.
  }
  ::close(to_);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  int status = 0;
  while (::waitpid(pid_, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, &status, 0);
      ADD_FAILURE() << "a peer did not end";
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  ::close(from_);
  pid_ = -1;
}

void Peer::Send(const std::string& command) {
  const std::string line = command + "\n";
  if (::write(to_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    ADD_FAILURE() << "cannot send " << command;
  }
}

bool Peer::ReadLine(std::string* line, std::chrono::steady_clock::time_point deadline) {
  while (true) {
    const size_t end = buffered_.find('\n');
    if (end != std::string::npos) {
      *line = buffered_.substr(0, end);
      buffered_.erase(0, end + 1);
      return true;
    }
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    pollfd item{from_, POLLIN, 0};
    if (::poll(&item, 1, static_cast<int>(left.count())) <= 0) continue;
    char buffer[4096];
    const ssize_t n = ::read(from_, buffer, sizeof buffer);
    if (n <= 0) return false;
    buffered_.append(buffer, static_cast<size_t>(n));
  }
}

Answer Peer::Read(std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  Answer answer;
  std::string line;
  if (!ReadLine(&line, deadline)) {
    answer.head = "no answer";
    return answer;
  }
  answer.ok = line.rfind("ok", 0) == 0;
  const size_t space = line.find(' ');
  answer.head = space == std::string::npos ? "" : line.substr(space + 1);
  while (ReadLine(&line, deadline) && line != ".")
    answer.lines.push_back(line);
  return answer;
}

Answer Peer::Try(const std::string& command, std::chrono::milliseconds limit) {
  Send(command);
  return Read(limit);
}

Answer Peer::Ask(const std::string& command, std::chrono::milliseconds limit) {
  Answer answer = Try(command, limit);
  EXPECT_TRUE(answer.ok) << command << ": " << answer.head;
  return answer;
}

Answer Peer::AskAll(std::initializer_list<std::string> commands) {
  Answer last;
  for (const std::string& command : commands)
    last = Ask(command);
  return last;
}

void Peer::Kill(int signal) {
  if (pid_ > 0) ::kill(pid_, signal);
}

RawClient::RawClient(const Sandbox& sandbox)
    : reader_(std::make_unique<core::protocol::FrameReader>()) {
  const std::string path = sandbox.EndpointFolder() + "/notifier.sock";
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return;
  std::memcpy(address.sun_path, path.data(), path.size());
  fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd_ >= 0 && ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    ::close(fd_);
    fd_ = -1;
  }
}

RawClient::~RawClient() {
  if (fd_ >= 0) ::close(fd_);
}

void RawClient::Write(std::string_view bytes) {
  while (fd_ >= 0 && !bytes.empty()) {
    const ssize_t n = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (n <= 0) return;
    bytes.remove_prefix(static_cast<size_t>(n));
  }
}

namespace {

// Reads frames until one of `type` comes (answering callbacks that wait);
// false when the connection ends or nothing comes in time.
bool AwaitFrame(int fd, core::protocol::FrameReader& reader, core::protocol::FrameType type,
                core::protocol::Decoded* found) {
  namespace protocol = core::protocol;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (std::chrono::steady_clock::now() < deadline) {
    pollfd item{fd, POLLIN, 0};
    if (::poll(&item, 1, 100) <= 0) continue;
    char buffer[4096];
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n <= 0) return false;
    reader.Append(std::string_view(buffer, static_cast<size_t>(n)));
    protocol::Frame frame;
    while (reader.Next(&frame)) {
      protocol::Decoded decoded;
      if (!protocol::DecodeFrame(frame, protocol::Sender::kNotifier, &decoded, nullptr)) {
        return false;
      }
      if (decoded.type == type) {
        *found = std::move(decoded);
        return true;
      }
      if (decoded.type == protocol::FrameType::kCallback && decoded.number != 0) {
        const std::string ack = protocol::EncodeAck(decoded.number);
        if (::send(fd, ack.data(), ack.size(), MSG_NOSIGNAL) < 0) return false;
      }
    }
  }
  return false;
}

}  // namespace

int32_t RawClient::Register(int32_t instance, const std::string& path) {
  namespace protocol = core::protocol;
  Write(protocol::EncodeRegister(instance, path));
  protocol::Decoded registered;
  if (!AwaitFrame(fd_, *reader_, protocol::FrameType::kRegistered, &registered)) return -1;
  return registered.instance;
}

bool RawClient::Flush() {
  namespace protocol = core::protocol;
  Write(protocol::EncodeNotify(77, protocol::EncodeMessage(protocol::Kind::kFlush, 0, "")));
  protocol::Decoded done;
  return AwaitFrame(fd_, *reader_, protocol::FrameType::kDone, &done) && done.number == 77;
}

bool RawClient::ClosedWithin(std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (fd_ >= 0 && std::chrono::steady_clock::now() < deadline) {
    pollfd item{fd_, POLLIN, 0};
    if (::poll(&item, 1, 50) <= 0) continue;
    char buffer[4096];
    if (::read(fd_, buffer, sizeof buffer) <= 0) return true;
  }
  return false;
}

}  // namespace orncal::testing
