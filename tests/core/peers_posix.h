// Calendar processes for the tests of change propagation: each test gets a
// sandbox of its own (a private runtime folder, so that no two tests share
// a notifier) and starts peer_actor processes in it, which it drives one
// command at a time.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "support/test_env.h"

namespace orncal::core::protocol {
class FrameReader;
}

namespace orncal::testing {

struct NotifierSettings {
  int wait_ms = 2000;
  int linger_ms = 300;
  long queue_bytes = 0;  // 0: the notifier's default
};

class Sandbox {
 public:
  explicit Sandbox(NotifierSettings settings = {});
  ~Sandbox();

  const std::string& root() const { return temp_.path(); }
  // An application-data folder of the sandbox (its data folder is
  // <it>/Ornavel/Calendar/files).
  std::string AppData(const std::string& name = "appdata") const;
  std::string DataFolder(const std::string& name = "appdata") const;
  // The environment of the peers: the runtime folder, the notifier
  // program and its settings.
  const std::vector<std::string>& Environment() const { return env_; }
  const std::string& RuntimeFolder() const { return runtime_; }
  std::string EndpointFolder() const { return runtime_ + "/orncalendar"; }
  // The running notifier's process number (from its lock file), or 0.
  pid_t NotifierProcess() const;
  // What the notifiers started on demand wrote to standard error.
  std::string NotifierLog() const;
  // Waits until no notifier runs here any more.
  bool WaitForNoNotifier(std::chrono::milliseconds limit) const;

 private:
  TempDir temp_;
  std::string runtime_;
  std::vector<std::string> env_;
};

struct Answer {
  bool ok = false;
  std::string head;                // what follows "ok" or "error"
  std::vector<std::string> lines;  // the lines after the first
  std::string Text() const;        // all lines joined with "\n"
};

class Peer {
 public:
  // A peer on the sandbox's application-data folder `appData` (by default
  // its first); `args` follow on its command line.
  explicit Peer(const Sandbox& sandbox) : Peer(sandbox, sandbox.AppData()) {}
  Peer(const Sandbox& sandbox, const std::string& appData, std::vector<std::string> args = {});
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  // Sends a command and reads its answer; the test fails on "error" or
  // when no answer comes within `limit`.
  Answer Ask(const std::string& command,
             std::chrono::milliseconds limit = std::chrono::seconds(60));
  // Asks each in turn; the last answer.
  Answer AskAll(std::initializer_list<std::string> commands);
  // The same without failing on "error".
  Answer Try(const std::string& command,
             std::chrono::milliseconds limit = std::chrono::seconds(60));
  // Sends a command without waiting for the answer; Read takes it.
  void Send(const std::string& command);
  Answer Read(std::chrono::milliseconds limit = std::chrono::seconds(60));
  void Kill(int signal);
  // Ends the process (as the destructor does).
  void Quit();
  pid_t pid() const { return pid_; }

 private:
  bool ReadLine(std::string* line, std::chrono::steady_clock::time_point deadline);

  pid_t pid_ = -1;
  int to_ = -1;
  int from_ = -1;
  std::string buffered_;
};

// A connection to the sandbox's notifier made by the test itself, which
// speaks the protocol directly (or does not).
class RawClient {
 public:
  // Connects to the notifier running in the sandbox.
  explicit RawClient(const Sandbox& sandbox);
  ~RawClient();
  bool connected() const { return fd_ >= 0; }
  void Write(std::string_view bytes);
  // Registers; the InstanceID handed back, or -1.
  int32_t Register(int32_t instance, const std::string& path);
  // Whether the notifier closes the connection within `limit` (what it
  // sends meanwhile is read and dropped).
  bool ClosedWithin(std::chrono::milliseconds limit);
  // Returns once every other calendar has handled what this client sent.
  bool Flush();

 private:
  int fd_ = -1;
  std::unique_ptr<core::protocol::FrameReader> reader_;
};

}  // namespace orncal::testing
