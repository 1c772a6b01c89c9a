// The notifier transport on Windows: a named pipe per user,
// \\.\pipe\orncalendar-<SID>, whose access list admits only that user, and
// whose ends check that the process on the other side runs as the same
// user. Connections use overlapped I/O; what event loops wait on are
// manual-reset event handles, so that looking at one does not consume it.
#include <windows.h>
// After windows.h, whose types they use.
#include <sddl.h>
#include <shlobj.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/channel.h"
#include "platform/encoding.h"
#include "platform/system.h"

namespace orncal::platform {
namespace {

constexpr DWORD kPipeBuffer = 64 * 1024;
constexpr size_t kChunk = 64 * 1024;
constexpr DWORD kLingerMs = 2000;

Status LastError(const std::string& what) {
  return Status::Failure(what + ": error " + std::to_string(GetLastError()));
}

std::string Ansi(const std::string& utf8) { return Utf8ToCp1252(utf8); }

HANDLE AsHandle(intptr_t descriptor) { return reinterpret_cast<HANDLE>(descriptor); }

// The user a token belongs to.
bool TokenUser(HANDLE token, std::vector<BYTE>* sid) {
  DWORD size = 0;
  GetTokenInformation(token, ::TokenUser, nullptr, 0, &size);
  if (size == 0 || size > 4096) return false;
  std::vector<BYTE> info(size);
  if (!GetTokenInformation(token, ::TokenUser, info.data(), size, &size)) return false;
  const PSID user = reinterpret_cast<TOKEN_USER*>(info.data())->User.Sid;
  if (!IsValidSid(user)) return false;
  sid->assign(static_cast<BYTE*>(user), static_cast<BYTE*>(user) + GetLengthSid(user));
  return true;
}

bool ProcessUser(HANDLE process, std::vector<BYTE>* sid) {
  HANDLE token = nullptr;
  if (!OpenProcessToken(process, TOKEN_QUERY, &token)) return false;
  const bool found = TokenUser(token, sid);
  CloseHandle(token);
  return found;
}

const std::vector<BYTE>& OwnUser() {
  static const std::vector<BYTE> sid = [] {
    std::vector<BYTE> own;
    ProcessUser(GetCurrentProcess(), &own);
    return own;
  }();
  return sid;
}

// Whether process `pid` runs as this process's user.
bool SameUser(ULONG pid) {
  if (pid == GetCurrentProcessId()) return true;
  HANDLE process = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, pid);
  if (!process) return false;
  std::vector<BYTE> sid;
  const bool found = ProcessUser(process, &sid);
  CloseHandle(process);
  return found && !OwnUser().empty() && sid == OwnUser();
}

std::string SidText(const std::vector<BYTE>& sid) {
  if (sid.empty()) return {};
  char* text = nullptr;
  if (!ConvertSidToStringSidA(const_cast<BYTE*>(sid.data()), &text)) return {};
  std::string result(text);
  LocalFree(text);
  return result;
}

// The write event of each channel, found by its read event (the channel's
// descriptor), for PollItems' want_write.
// Never destroyed: channels held by static objects leave after them.
std::mutex& WritersLock() {
  static auto* lock = new std::mutex;
  return *lock;
}
std::map<HANDLE, HANDLE>& Writers() {
  static auto* writers = new std::map<HANDLE, HANDLE>;
  return *writers;
}

Io Broken(DWORD error) {
  switch (error) {
    case ERROR_BROKEN_PIPE:
    case ERROR_PIPE_NOT_CONNECTED:
    case ERROR_NO_DATA:
    case ERROR_HANDLE_EOF:
      return Io::kClosed;
    default:
      return Io::kFailed;
  }
}

class PipeChannel final : public Channel {
 public:
  // Takes `pipe`, opened for overlapped I/O, and two manual-reset events.
  PipeChannel(HANDLE pipe, HANDLE read_event, HANDLE write_event, int64_t pid, bool linger)
      : pipe_(pipe), pid_(pid), linger_(linger), in_(kChunk) {
    read_.hEvent = read_event;
    write_.hEvent = write_event;
    SetEvent(write_event);  // nothing is being written: writable
    {
      std::lock_guard<std::mutex> hold(WritersLock());
      Writers()[read_event] = write_event;
    }
    StartRead();
  }

  ~PipeChannel() override {
    {
      std::lock_guard<std::mutex> hold(WritersLock());
      Writers().erase(read_.hEvent);
    }
    DWORD n = 0;
    // What a calendar sent last (its Saved, say) still reaches the
    // notifier when the pipe was full; the notifier does not wait on
    // connections it drops.
    if (writing_ && linger_) WaitForSingleObject(write_.hEvent, kLingerMs);
    if (reading_ || writing_) {
      CancelIoEx(pipe_, nullptr);
      // The buffers live until the system let go of them.
      if (reading_) GetOverlappedResult(pipe_, &read_, &n, TRUE);
      if (writing_) GetOverlappedResult(pipe_, &write_, &n, TRUE);
    }
    CloseHandle(pipe_);
    CloseHandle(read_.hEvent);
    CloseHandle(write_.hEvent);
  }

  Io Send(std::string_view data, size_t* written) override {
    *written = 0;
    if (writing_) {
      DWORD n = 0;
      if (!GetOverlappedResult(pipe_, &write_, &n, FALSE)) {
        const DWORD error = GetLastError();
        if (error == ERROR_IO_INCOMPLETE) return Io::kWouldBlock;
        writing_ = false;
        SetEvent(write_.hEvent);
        return Broken(error);
      }
      writing_ = false;
    }
    if (data.empty()) return Io::kDone;
    const size_t n = std::min(data.size(), kChunk);
    out_.assign(data.data(), n);
    if (!WriteFile(pipe_, out_.data(), static_cast<DWORD>(n), nullptr, &write_)) {
      const DWORD error = GetLastError();
      if (error != ERROR_IO_PENDING) {
        SetEvent(write_.hEvent);
        return Broken(error);
      }
    }
    // Taken: the pipe holds it or the write completes later.
    writing_ = true;
    *written = n;
    return Io::kDone;
  }

  Io Receive(char* buffer, size_t capacity, size_t* received) override {
    *received = 0;
    Complete();
    if (begin_ < end_) {
      const size_t n = std::min(capacity, end_ - begin_);
      std::copy(in_.data() + begin_, in_.data() + begin_ + n, buffer);
      begin_ += n;
      *received = n;
      if (begin_ == end_) StartRead();
      return Io::kDone;
    }
    if (ended_ != Io::kDone) return ended_;
    return Io::kWouldBlock;
  }

  Io Wait(bool writable, int timeout_ms) override {
    HANDLE handles[2] = {read_.hEvent, write_.hEvent};
    const DWORD result = WaitForMultipleObjects(writable ? 2 : 1, handles, FALSE,
                                                timeout_ms < 0 ? INFINITE : timeout_ms);
    if (result == WAIT_TIMEOUT) return Io::kWouldBlock;
    if (result == WAIT_FAILED) return Io::kFailed;
    if (result == WAIT_OBJECT_0 + 1) return Io::kDone;
    Complete();
    if (begin_ < end_) return Io::kDone;
    return ended_ == Io::kDone ? Io::kDone : ended_;
  }

  intptr_t Descriptor() const override { return reinterpret_cast<intptr_t>(read_.hEvent); }
  int64_t PeerProcess() const override { return pid_; }

 private:
  // Starts reading into the empty buffer. The read event is set once
  // something arrived or the pipe ended, and stays set until all of it
  // was received.
  void StartRead() {
    begin_ = end_ = 0;
    if (ended_ != Io::kDone) return;
    if (!ReadFile(pipe_, in_.data(), static_cast<DWORD>(in_.size()), nullptr, &read_)) {
      const DWORD error = GetLastError();
      if (error != ERROR_IO_PENDING) {
        ended_ = Broken(error);
        SetEvent(read_.hEvent);
        return;
      }
    }
    reading_ = true;
  }

  // Takes in a read that finished.
  void Complete() {
    if (!reading_) return;
    DWORD n = 0;
    if (GetOverlappedResult(pipe_, &read_, &n, FALSE)) {
      reading_ = false;
      end_ = n;
      if (n == 0) StartRead();
      return;
    }
    const DWORD error = GetLastError();
    if (error == ERROR_IO_INCOMPLETE) return;
    reading_ = false;
    ended_ = Broken(error);
    SetEvent(read_.hEvent);
  }

  HANDLE pipe_;
  int64_t pid_;
  bool linger_;
  OVERLAPPED read_{};
  OVERLAPPED write_{};
  std::vector<char> in_;
  size_t begin_ = 0, end_ = 0;
  std::string out_;
  bool reading_ = false;
  bool writing_ = false;
  Io ended_ = Io::kDone;  // kClosed or kFailed once reading ended
};

Status NewChannel(HANDLE pipe, int64_t pid, bool linger, std::unique_ptr<Channel>* channel) {
  HANDLE read_event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  HANDLE write_event = CreateEventA(nullptr, TRUE, TRUE, nullptr);
  if (!read_event || !write_event) {
    Status failed = LastError("cannot make an event");
    if (read_event) CloseHandle(read_event);
    if (write_event) CloseHandle(write_event);
    CloseHandle(pipe);
    return failed;
  }
  *channel = std::make_unique<PipeChannel>(pipe, read_event, write_event, pid, linger);
  return Status::Ok();
}

class PipeListener final : public Listener {
 public:
  PipeListener(std::string name, HANDLE lock, HANDLE event, PSECURITY_DESCRIPTOR security)
      : name_(std::move(name)), lock_(lock), security_(security) {
    connect_.hEvent = event;
  }
  ~PipeListener() override {
    DropInstance();
    CloseHandle(connect_.hEvent);
    LocalFree(security_);
    CloseHandle(lock_);
  }

  // Makes a pipe instance and waits for a client on it (overlapped).
  Status NewInstance(bool first) {
    SECURITY_ATTRIBUTES attributes{sizeof attributes, security_, FALSE};
    const DWORD open_mode =
        PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | (first ? FILE_FLAG_FIRST_PIPE_INSTANCE : 0);
    const DWORD mode = PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT;
    instance_ =
        CreateNamedPipeA(name_.c_str(), open_mode, mode | PIPE_REJECT_REMOTE_CLIENTS,
                         PIPE_UNLIMITED_INSTANCES, kPipeBuffer, kPipeBuffer, 0, &attributes);
    if (instance_ == INVALID_HANDLE_VALUE && GetLastError() == ERROR_INVALID_PARAMETER) {
      // Systems that do not know the flag serve local clients only anyway.
      instance_ = CreateNamedPipeA(name_.c_str(), open_mode, mode, PIPE_UNLIMITED_INSTANCES,
                                   kPipeBuffer, kPipeBuffer, 0, &attributes);
    }
    if (instance_ == INVALID_HANDLE_VALUE) return LastError("cannot make the pipe " + name_);
    ResetEvent(connect_.hEvent);
    connected_ = false;
    if (!ConnectNamedPipe(instance_, &connect_)) {
      const DWORD error = GetLastError();
      if (error == ERROR_PIPE_CONNECTED) {
        connected_ = true;
        SetEvent(connect_.hEvent);
      } else if (error != ERROR_IO_PENDING) {
        Status failed = LastError("cannot wait on the pipe " + name_);
        CloseHandle(instance_);
        instance_ = INVALID_HANDLE_VALUE;
        return failed;
      }
    } else {
      connected_ = true;
    }
    return Status::Ok();
  }

  intptr_t Descriptor() const override { return reinterpret_cast<intptr_t>(connect_.hEvent); }

  Io Accept(std::unique_ptr<Channel>* channel, std::string* refused) override {
    channel->reset();
    if (instance_ == INVALID_HANDLE_VALUE && !NewInstance(false).ok()) {
      // The event stays set so that this is tried again; not at full speed.
      Sleep(10);
      return Io::kFailed;
    }
    if (!connected_) {
      DWORD n = 0;
      if (!GetOverlappedResult(instance_, &connect_, &n, FALSE)) {
        const DWORD error = GetLastError();
        if (error == ERROR_IO_INCOMPLETE) return Io::kWouldBlock;
        // A client that came and went at once: wait on a fresh instance.
        DropInstance();
        return NewInstance(false).ok() ? Io::kWouldBlock : Io::kFailed;
      }
    }
    HANDLE pipe = instance_;
    instance_ = INVALID_HANDLE_VALUE;
    // The next client finds an instance at once; should making it fail,
    // the next Accept tries again.
    (void)NewInstance(false);

    ULONG pid = 0;
    if (!GetNamedPipeClientProcessId(pipe, &pid) || !SameUser(pid)) {
      *refused = "process " + std::to_string(pid) + " of another user";
      DisconnectNamedPipe(pipe);
      CloseHandle(pipe);
      return Io::kDone;
    }
    if (!NewChannel(pipe, pid, false, channel).ok()) return Io::kFailed;
    return Io::kDone;
  }

 private:
  void DropInstance() {
    if (instance_ == INVALID_HANDLE_VALUE) return;
    if (!connected_) {
      DWORD n = 0;
      CancelIoEx(instance_, &connect_);
      GetOverlappedResult(instance_, &connect_, &n, TRUE);
    }
    CloseHandle(instance_);
    instance_ = INVALID_HANDLE_VALUE;
  }

  std::string name_;
  HANDLE lock_;
  PSECURITY_DESCRIPTOR security_;
  HANDLE instance_ = INVALID_HANDLE_VALUE;
  OVERLAPPED connect_{};
  bool connected_ = false;
};

}  // namespace

bool NotifierTransportAvailable() { return true; }

Status FindNotifierEndpoint(NotifierEndpoint* endpoint) {
  const std::string sid = SidText(OwnUser());
  if (sid.empty()) return LastError("cannot learn this process's user");
  // The system's folder itself, not one a program chose for its data: all
  // processes of the user must find the same lock.
  char path[MAX_PATH];
  if (FAILED(
          SHGetFolderPathA(nullptr, CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE, nullptr, 0, path))) {
    return Status::Failure("there is no local application-data folder");
  }
  std::string base = Cp1252ToUtf8(path);
  if (base.back() != '\\') base += '\\';
  const std::string folder = base + "orncalendar";
  if (!CreateDirectoryA(Ansi(folder).c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS) {
    return LastError("cannot make " + folder);
  }
  const DWORD attributes = GetFileAttributesA(Ansi(folder).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_DIRECTORY) ||
      (attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
    return Status::Failure(folder + " is no folder");
  }
  endpoint->folder = folder;
  endpoint->socket = "\\\\.\\pipe\\orncalendar-" + sid;
  endpoint->lock = folder + "\\notifier.lock";
  endpoint->log = folder + "\\notifier.log";
  return Status::Ok();
}

Status ConnectChannel(const std::string& socket, std::unique_ptr<Channel>* channel) {
  const std::string name = Ansi(socket);
  HANDLE pipe = INVALID_HANDLE_VALUE;
  // Every instance busy: the notifier makes the next one in a moment.
  for (int attempt = 0; attempt < 20; ++attempt) {
    pipe = CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                       FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION,
                       nullptr);
    if (pipe != INVALID_HANDLE_VALUE || GetLastError() != ERROR_PIPE_BUSY) break;
    WaitNamedPipeA(name.c_str(), 100);
  }
  if (pipe == INVALID_HANDLE_VALUE) return LastError("cannot connect to " + socket);
  ULONG pid = 0;
  if (!GetNamedPipeServerProcessId(pipe, &pid)) {
    Status failed = LastError("cannot learn who listens at " + socket);
    CloseHandle(pipe);
    return failed;
  }
  if (!SameUser(pid)) {
    CloseHandle(pipe);
    return Status::Failure("the notifier at " + socket + " runs as another user");
  }
  return NewChannel(pipe, pid, true, channel);
}

Status Listen(const NotifierEndpoint& endpoint, int lockWaitMs, std::unique_ptr<Listener>* listener,
              bool* otherRunning) {
  *otherRunning = false;
  // The lock is the file opened for writing with no one else allowed to
  // write: the system lets go of it when the holder ends in any way.
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::milliseconds(lockWaitMs);
  HANDLE lock;
  while ((lock = CreateFileA(Ansi(endpoint.lock).c_str(), GENERIC_READ | GENERIC_WRITE,
                             FILE_SHARE_READ, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                             nullptr)) == INVALID_HANDLE_VALUE) {
    if (GetLastError() != ERROR_SHARING_VIOLATION) return LastError("cannot open " + endpoint.lock);
    if (std::chrono::steady_clock::now() >= give_up) {
      *otherRunning = true;
      return Status::Failure("another notifier holds " + endpoint.lock);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  const std::string pid = std::to_string(GetCurrentProcessId()) + "\n";
  DWORD n = 0;
  if (!SetEndOfFile(lock) ||
      !WriteFile(lock, pid.data(), static_cast<DWORD>(pid.size()), &n, nullptr)) {
    // The number is for people and tests; the lock works without it.
  }

  // Only this user may open the pipe, and no one may make instances of it
  // beside the first one's owner.
  PSECURITY_DESCRIPTOR security = nullptr;
  const std::string sddl = "D:P(A;;GA;;;" + SidText(OwnUser()) + ")";
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorA(sddl.c_str(), SDDL_REVISION_1,
                                                            &security, nullptr)) {
    Status failed = LastError("cannot make the pipe's access list");
    CloseHandle(lock);
    return failed;
  }
  HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  if (!event) {
    Status failed = LastError("cannot make an event");
    LocalFree(security);
    CloseHandle(lock);
    return failed;
  }
  auto made = std::make_unique<PipeListener>(Ansi(endpoint.socket), lock, event, security);
  while (true) {
    Status first = made->NewInstance(true);
    if (first.ok()) break;
    // The pipes of a notifier that just ended may outlive its lock for a
    // moment; a name held longer is someone else's (a process of another
    // user squatting on it).
    if (GetLastError() != ERROR_ACCESS_DENIED || std::chrono::steady_clock::now() >= give_up) {
      return first;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  *listener = std::move(made);
  return Status::Ok();
}

bool PollItems(std::vector<PollItem>& items, int timeout_ms) {
  std::vector<HANDLE> handles;
  auto add = [&handles](HANDLE h) {
    if (h && std::find(handles.begin(), handles.end(), h) == handles.end()) handles.push_back(h);
  };
  std::vector<HANDLE> writers(items.size(), nullptr);
  {
    std::lock_guard<std::mutex> hold(WritersLock());
    for (size_t i = 0; i < items.size(); ++i) {
      items[i].readable = items[i].writable = false;
      add(AsHandle(items[i].descriptor));
      if (!items[i].want_write) continue;
      auto found = Writers().find(AsHandle(items[i].descriptor));
      if (found != Writers().end()) writers[i] = found->second;
      add(writers[i]);
    }
  }
  auto ready = [](HANDLE h) { return h && WaitForSingleObject(h, 0) == WAIT_OBJECT_0; };
  const DWORD timeout = timeout_ms < 0 ? INFINITE : static_cast<DWORD>(timeout_ms);
  if (handles.size() <= MAXIMUM_WAIT_OBJECTS) {
    if (WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE,
                               timeout) == WAIT_FAILED) {
      return false;
    }
  } else {
    // More than one wait takes: look at them all in turn, briefly.
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    while (std::none_of(handles.begin(), handles.end(), ready) &&
           (timeout_ms < 0 || std::chrono::steady_clock::now() < until)) {
      Sleep(2);
    }
  }
  for (size_t i = 0; i < items.size(); ++i) {
    items[i].readable = ready(AsHandle(items[i].descriptor));
    items[i].writable = ready(writers[i]);
  }
  return true;
}

namespace {

// One argument quoted the way programs split their command line.
std::string Quoted(const std::string& arg) {
  if (!arg.empty() && arg.find_first_of(" \t\"") == std::string::npos) return arg;
  std::string out = "\"";
  size_t backslashes = 0;
  for (char c : arg) {
    if (c == '\\') {
      ++backslashes;
      continue;
    }
    out.append(c == '"' ? backslashes * 2 + 1 : backslashes, '\\');
    backslashes = 0;
    out += c;
  }
  out.append(backslashes * 2, '\\');
  return out + "\"";
}

}  // namespace

Status SpawnDetached(const std::string& program, const std::vector<std::string>& arguments,
                     const std::string& errorLog) {
  std::string command = Quoted(program);
  for (const std::string& arg : arguments)
    command += " " + Quoted(arg);
  command = Ansi(command);

  SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
  HANDLE null = CreateFileA("NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                            &inherit, OPEN_EXISTING, 0, nullptr);
  HANDLE log = CreateFileA(Ansi(errorLog).c_str(), GENERIC_WRITE,
                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inherit,
                           OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (log != INVALID_HANDLE_VALUE) SetFilePointer(log, 0, nullptr, FILE_END);
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = null != INVALID_HANDLE_VALUE ? null : nullptr;
  startup.hStdOutput = startup.hStdInput;
  startup.hStdError = log != INVALID_HANDLE_VALUE ? log : startup.hStdInput;
  // The notifier inherits these two handles and no other: a handle of the
  // starting program it held (a pipe its parent reads to the end, say)
  // would stay open for as long as the notifier runs.
  STARTUPINFOEXA extended{};
  extended.StartupInfo = startup;
  extended.StartupInfo.cb = sizeof extended;
  HANDLE inherited[2];
  DWORD count = 0;
  for (HANDLE h : {startup.hStdInput, startup.hStdError}) {
    if (h && (count == 0 || inherited[0] != h)) inherited[count++] = h;
  }
  SIZE_T size = 0;
  InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
  std::vector<char> list(size);
  auto* attributes = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(list.data());
  const bool restricted =
      count > 0 && size > 0 && InitializeProcThreadAttributeList(attributes, 1, 0, &size) &&
      UpdateProcThreadAttribute(attributes, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, inherited,
                                count * sizeof(HANDLE), nullptr, nullptr);
  if (restricted) extended.lpAttributeList = attributes;
  PROCESS_INFORMATION process{};
  // Its own process group and no console: the starting program's console
  // closing or Ctrl+C does not end it.
  const BOOL started = CreateProcessA(
      Ansi(program).c_str(), command.data(), nullptr, nullptr, count > 0,
      DETACHED_PROCESS | CREATE_NEW_PROCESS_GROUP | (restricted ? EXTENDED_STARTUPINFO_PRESENT : 0),
      nullptr, nullptr, &extended.StartupInfo, &process);
  if (restricted) DeleteProcThreadAttributeList(attributes);
  const DWORD error = GetLastError();
  if (null != INVALID_HANDLE_VALUE) CloseHandle(null);
  if (log != INVALID_HANDLE_VALUE) CloseHandle(log);
  if (!started) {
    SetLastError(error);
    return LastError("cannot start " + program);
  }
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return Status::Ok();
}

bool IsExecutableFile(const std::string& path) {
  if (path.size() < 5) return false;
  std::string extension = path.substr(path.size() - 4);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  const DWORD attributes = GetFileAttributesA(Ansi(path).c_str());
  return extension == ".exe" && attributes != INVALID_FILE_ATTRIBUTES &&
         !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

std::string ProgramFile(std::string_view name) { return std::string(name) + ".exe"; }

std::string FindProgramOnPath(std::string_view name) {
  const std::optional<std::string> path = GetEnv("PATH");
  if (!path) return {};
  std::string_view rest(*path);
  while (true) {
    const size_t semicolon = rest.find(';');
    std::string folder(rest.substr(0, semicolon));
    if (!folder.empty()) {
      if (folder.back() != '\\' && folder.back() != '/') folder += '\\';
      for (const std::string& candidate :
           {folder + std::string(name), folder + std::string(name) + ".exe"}) {
        if (IsExecutableFile(candidate)) return candidate;
      }
    }
    if (semicolon == std::string_view::npos) return {};
    rest.remove_prefix(semicolon + 1);
  }
}

std::optional<std::string> GetEnv(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  if (!value) return std::nullopt;
  return std::string(value);
}

namespace {

volatile bool* stop_flag = nullptr;

BOOL WINAPI StopHandler(DWORD) {
  if (stop_flag) *stop_flag = true;
  return TRUE;
}

}  // namespace

void HandleStopRequests(volatile bool* stop) {
  stop_flag = stop;
  SetConsoleCtrlHandler(StopHandler, TRUE);
}

void TrimErrorLog(int64_t bytes) {
  HANDLE log = GetStdHandle(STD_ERROR_HANDLE);
  LARGE_INTEGER size{};
  if (log == INVALID_HANDLE_VALUE || !log || GetFileType(log) != FILE_TYPE_DISK ||
      !GetFileSizeEx(log, &size) || size.QuadPart <= bytes) {
    return;
  }
  LARGE_INTEGER start{};
  if (SetFilePointerEx(log, start, nullptr, FILE_BEGIN)) SetEndOfFile(log);
  // A log that cannot be cut grows on.
}

namespace {

// One manual-reset event, set while the watched connection's event is set,
// while messages wait, or once the set time came. A wait of the system's
// thread pool sets it when the watched event or the time comes; every
// change looks at the state anew.
class EventWakeSource final : public WakeSource {
 public:
  EventWakeSource(HANDLE event, HANDLE never) : event_(event), never_(never) {}
  ~EventWakeSource() override {
    Disarm();
    CloseHandle(never_);
    CloseHandle(event_);
  }

  intptr_t Descriptor() const override { return reinterpret_cast<intptr_t>(event_); }

  void Watch(intptr_t descriptor) override {
    watched_ = descriptor == -1 ? nullptr : AsHandle(descriptor);
    Rearm();
  }
  void SetPending(bool pending) override {
    pending_ = pending;
    Rearm();
  }
  void WakeAfter(int ms) override {
    due_ = ms < 0 ? std::chrono::steady_clock::time_point::max()
                  : std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    Rearm();
  }

 private:
  static void CALLBACK Fired(void* event, BOOLEAN) { SetEvent(static_cast<HANDLE>(event)); }

  void Disarm() {
    if (wait_) UnregisterWaitEx(wait_, INVALID_HANDLE_VALUE);
    wait_ = nullptr;
  }

  void Rearm() {
    Disarm();
    const auto now = std::chrono::steady_clock::now();
    if (pending_ || now >= due_ ||
        (watched_ && WaitForSingleObject(watched_, 0) == WAIT_OBJECT_0)) {
      SetEvent(event_);
      return;
    }
    ResetEvent(event_);
    DWORD timeout = INFINITE;
    if (due_ != std::chrono::steady_clock::time_point::max()) {
      timeout =
          static_cast<DWORD>(std::chrono::ceil<std::chrono::milliseconds>(due_ - now).count());
    }
    if (!watched_ && timeout == INFINITE) return;
    if (!RegisterWaitForSingleObject(&wait_, watched_ ? watched_ : never_, Fired, event_, timeout,
                                     WT_EXECUTEONLYONCE | WT_EXECUTEINWAITTHREAD)) {
      wait_ = nullptr;
      SetEvent(event_);  // the loop comes back and looks
    }
  }

  HANDLE event_;
  HANDLE never_;
  HANDLE watched_ = nullptr;
  HANDLE wait_ = nullptr;
  bool pending_ = false;
  std::chrono::steady_clock::time_point due_ = std::chrono::steady_clock::time_point::max();
};

}  // namespace

std::unique_ptr<WakeSource> NewWakeSource() {
  HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  HANDLE never = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  if (!event || !never) {
    if (event) CloseHandle(event);
    if (never) CloseHandle(never);
    return nullptr;
  }
  return std::make_unique<EventWakeSource>(event, never);
}

}  // namespace orncal::platform
