// Change propagation between Windows processes through OrnCalNtf.exe and
// its named pipe: peer_actor processes on one data folder, driven command
// by command. The user's one notifier serves every test here in turn.
#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "platform/channel.h"
#include "platform/system.h"
#include "support/test_env.h"

namespace orncal::testing {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

struct Answer {
  std::string head;
  std::string text;  // the lines after the first
};

bool Has(const Answer& a, const std::string& part) {
  return a.text.find(part) != std::string::npos;
}

// A folder of application data for peers and what they share.
class Sandbox {
 public:
  Sandbox(int wait_ms = 2000) {
    platform::SetEnv("ORNCAL_NOTIFIER", platform::LibraryFolder() + ORNCAL_NOTIFIER_RELATIVE);
    platform::SetEnv("ORNCAL_NOTIFIER_WAIT_MS", std::to_string(wait_ms));
    platform::SetEnv("ORNCAL_NOTIFIER_LINGER_MS", "300");
  }
  std::string AppData() const { return temp_.path(); }
  // The running notifier's process number, from its lock, or 0.
  static DWORD NotifierProcess() {
    platform::NotifierEndpoint endpoint;
    if (!platform::FindNotifierEndpoint(&endpoint).ok()) return 0;
    std::ifstream lock(endpoint.lock);
    DWORD pid = 0;
    if (!(lock >> pid)) return 0;
    HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, pid);
    if (!process) return 0;
    const bool running = WaitForSingleObject(process, 0) == WAIT_TIMEOUT;
    CloseHandle(process);
    return running ? pid : 0;
  }

 private:
  TempDir temp_;
};

class Peer {
 public:
  Peer(const Sandbox& sandbox) {
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE child_in = nullptr, child_out = nullptr;
    if (!CreatePipe(&child_in, &to_, &inherit, 0) || !CreatePipe(&from_, &child_out, &inherit, 0)) {
      ADD_FAILURE() << "no pipes";
      return;
    }
    SetHandleInformation(to_, HANDLE_FLAG_INHERIT, 0);
    SetHandleInformation(from_, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = child_in;
    startup.hStdOutput = child_out;
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    const std::string program = platform::LibraryFolder() + ORNCAL_PEER_ACTOR;
    std::string command = "\"" + program + "\" \"" + sandbox.AppData() + "\"";
    if (!CreateProcessA(program.c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                        nullptr, &startup, &process_)) {
      ADD_FAILURE() << "cannot start " << program;
    }
    CloseHandle(child_in);
    CloseHandle(child_out);
    CloseHandle(process_.hThread);
  }
  ~Peer() {
    Send("quit");
    CloseHandle(to_);
    if (process_.hProcess) {
      if (WaitForSingleObject(process_.hProcess, 20000) != WAIT_OBJECT_0) {
        TerminateProcess(process_.hProcess, 1);
        ADD_FAILURE() << "a peer did not end";
      }
      CloseHandle(process_.hProcess);
    }
    CloseHandle(from_);
  }

  void Send(const std::string& command) {
    const std::string line = command + "\n";
    DWORD n = 0;
    WriteFile(to_, line.data(), static_cast<DWORD>(line.size()), &n, nullptr);
  }

  // Sends a command and reads its answer (up to its line "."); the test
  // fails on "error".
  Answer Ask(const std::string& command) {
    Send(command);
    const auto deadline = steady_clock::now() + std::chrono::seconds(60);
    size_t end;
    while ((end = buffered_.find("\n.\n")) == std::string::npos) {
      DWORD available = 0, n = 0;
      char buffer[4096];
      if (!PeekNamedPipe(from_, nullptr, 0, nullptr, &available, nullptr) ||
          steady_clock::now() > deadline) {
        ADD_FAILURE() << "no answer to " << command;
        return {};
      }
      if (available > 0 &&
          ReadFile(from_, buffer, std::min<DWORD>(available, sizeof buffer), &n, nullptr)) {
        buffered_.append(buffer, n);
      } else {
        Sleep(2);
      }
    }
    const std::string reply = buffered_.substr(0, end + 1);  // "ok[ HEAD]\nLINES"
    buffered_.erase(0, end + 3);
    EXPECT_EQ(reply.rfind("ok", 0), 0u) << command << ": " << reply;
    const size_t first = reply.find('\n');
    return {first > 3 ? reply.substr(3, first - 3) : "", reply.substr(first + 1)};
  }

  void Kill() { TerminateProcess(process_.hProcess, 9); }

 private:
  HANDLE to_ = nullptr, from_ = nullptr;
  PROCESS_INFORMATION process_{};
  std::string buffered_;
};

// Waits until `seen` holds; false when it never does.
template <class Seen>
bool Eventually(Seen&& seen) {
  const auto deadline = steady_clock::now() + std::chrono::seconds(10);
  while (!seen()) {
    if (steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(milliseconds(20));
  }
  return true;
}

TEST(Propagation, AppointmentsAndTasksFollowWithTheirEvents) {
  Sandbox sandbox;
  Peer a(sandbox), b(sandbox);
  a.Ask("add breakfast 2008-05-20T08:00 2008-05-20T09:00");
  a.Ask("save");
  EXPECT_TRUE(Has(b.Ask("month 200805"), "#1 breakfast"));
  // Not saved: B reads May after A wrote what it holds.
  const std::string lunch = a.Ask("add lunch 2008-05-20T12:00 2008-05-20T13:00").head;
  EXPECT_EQ(lunch, "200805/2");
  b.Ask("events");
  a.Ask("title " + lunch + " dinner");
  a.Ask("flush");
  // B handles it as it arrives, through its event loop.
  EXPECT_TRUE(Has(b.Ask("cached 200805"), "#2 dinner"));
  EXPECT_NE(b.Ask("events").head.rfind("change=0", 0), 0u);

  b.Ask("tasks");
  const std::string id = a.Ask("task-add letters").head;
  a.Ask("flush");
  EXPECT_TRUE(Has(b.Ask("tasks"), id + " letters"));
  EXPECT_EQ(b.Ask("events").head.find("tasks=0"), std::string::npos) << "TasksChange";
  EXPECT_EQ(b.Ask("messages").head, "0");
}

TEST(Faults, AKilledPeerOrNotifierStopsNoOne) {
  Sandbox sandbox(20000);
  Peer a(sandbox), b(sandbox);
  a.Ask("add may 2008-05-20T12:00 2008-05-20T13:00");
  a.Ask("save");
  {
    Peer doomed(sandbox);
    doomed.Ask("autopump off");
    doomed.Ask("add june 2008-06-20T12:00 2008-06-20T13:00");
    doomed.Send("sleep 60000");  // busy when it dies
    doomed.Kill();
  }
  // Its connection is gone: nobody waits for it.
  const auto start = steady_clock::now();
  b.Ask("month 200805");
  EXPECT_LT(steady_clock::now() - start, std::chrono::seconds(10));

  const DWORD first = Sandbox::NotifierProcess();
  ASSERT_NE(first, 0u);
  b.Ask("events");
  HANDLE notifier = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, first);
  ASSERT_TRUE(notifier);
  TerminateProcess(notifier, 9);
  WaitForSingleObject(notifier, 10000);
  CloseHandle(notifier);
  // The next message of A starts a new notifier; B connects again on its
  // own, makes up for what it missed (its clean months are read again)
  // and hears A again.
  a.Ask("title 200805/1 after");
  a.Ask("save");
  const DWORD second = Sandbox::NotifierProcess();
  EXPECT_NE(second, 0u);
  EXPECT_NE(second, first);
  EXPECT_TRUE(Eventually([&] { return b.Ask("events").head.rfind("change=0", 0) != 0; }));
  EXPECT_TRUE(Has(b.Ask("month 200805"), "after"));
  a.Ask("title 200805/1 again");
  a.Ask("flush");
  EXPECT_TRUE(Has(b.Ask("cached 200805"), "again"));
}

TEST(BadInput, ANonsenseConnectionIsClosedAndTheOthersGoOn) {
  Sandbox sandbox;
  Peer a(sandbox), b(sandbox);
  a.Ask("instance");  // the notifier runs
  b.Ask("month 200805");
  platform::NotifierEndpoint endpoint;
  ASSERT_TRUE(platform::FindNotifierEndpoint(&endpoint).ok());
  std::unique_ptr<platform::Channel> raw;
  ASSERT_TRUE(platform::ConnectChannel(endpoint.socket, &raw).ok());
  size_t n = 0;
  ASSERT_EQ(raw->Send("GET / HTTP/1.0\r\n\r\n", &n), platform::Io::kDone);
  platform::Io io = platform::Io::kWouldBlock;
  char buffer[256];
  const auto deadline = steady_clock::now() + std::chrono::seconds(5);
  while (io == platform::Io::kWouldBlock && steady_clock::now() < deadline) {
    raw->Wait(false, 100);
    io = raw->Receive(buffer, sizeof buffer, &n);
  }
  EXPECT_EQ(io, platform::Io::kClosed);
  a.Ask("add may 2008-05-20T12:00 2008-05-20T13:00");
  a.Ask("flush");
  EXPECT_TRUE(Has(b.Ask("cached 200805"), "may"));
}

}  // namespace
}  // namespace orncal::testing
