#include "core/notifier_link.h"

#include <algorithm>
#include <thread>

#include "core/notifier_callbacks.h"
#include "core/shared_calendar.h"
#include "orncalendar/calendar.h"
#include "orncalendar/error.h"
#include "orncalendar/task.h"
#include "platform/system.h"
#include "tasks/task_file_format.h"

#ifndef ORNCAL_LIB_TO_BIN
#define ORNCAL_LIB_TO_BIN "../bin"
#endif
#ifndef ORNCAL_INSTALL_BINDIR
#define ORNCAL_INSTALL_BINDIR "/usr/local/bin"
#endif

namespace orncal::core {
namespace {

using protocol::Kind;
using std::chrono::milliseconds;

const std::string kProgramName = platform::ProgramFile("OrnCalNtf");
// How long a start of the notifier may take until it listens, and when a
// second start is tried within it.
constexpr milliseconds kStartWait{5000};
constexpr milliseconds kRestartAfter{2500};
// After a start that failed, messages fail at once for this long.
constexpr milliseconds kPauseAfterFailedStart{2000};
// A connection lost while idle is tried again this often.
constexpr milliseconds kReconnectEvery{500};
// Beyond the notifier's own wait for its peers: time for it to answer.
constexpr milliseconds kAnswerMargin{3000};
// Bytes sent and not yet taken by the notifier, at most.
constexpr size_t kMaxUnsent = size_t{64} << 20;

[[noreturn]] void Unavailable(const std::string& why) {
  throw Error(ErrorNumber::kNotifierUnavailable, "The notifier cannot be reached: " + why);
}

std::string OnlyIfExecutable(std::string path) {
  return platform::IsExecutableFile(path) ? path : std::string();
}

}  // namespace

std::string FindNotifierProgram() {
  if (std::optional<std::string> named = platform::GetEnv("ORNCAL_NOTIFIER");
      named && !named->empty()) {
    return OnlyIfExecutable(*named);
  }
  const std::string beside = platform::LibraryFolder();
  for (std::string candidate :
       {beside + kProgramName, beside + ORNCAL_LIB_TO_BIN + "/" + kProgramName,
        std::string(ORNCAL_INSTALL_BINDIR) + "/" + kProgramName}) {
    if (platform::IsExecutableFile(candidate)) return candidate;
  }
  return platform::FindProgramOnPath(kProgramName);
}

NotifierLink& NotifierLink::Process() {
  static NotifierLink link;
  return link;
}

NotifierLink::NotifierLink() = default;
NotifierLink::~NotifierLink() = default;

void NotifierLink::Reset() {
  channel_.reset();
  reader_ = {};
  out_.clear();
  queue_.clear();
  done_.clear();
  entries_.clear();
  pending_registrations_ = 0;
  catch_up_ = false;
  retry_after_ = {};
  reconnect_after_ = {};
  last_start_ = {};
  if (wake_) {
    wake_->Watch(-1);
    wake_->SetPending(false);
    wake_->WakeAfter(-1);
  }
}

intptr_t NotifierLink::Descriptor() {
  if (!wake_made_) {
    wake_made_ = true;
    wake_ = platform::NewWakeSource();
    if (wake_ && channel_) wake_->Watch(channel_->Descriptor());
    UpdateWake();
  }
  if (wake_) return wake_->Descriptor();
  return channel_ ? channel_->Descriptor() : -1;
}

void NotifierLink::UpdateWake() {
  if (!wake_) return;
  wake_->SetPending(!queue_.empty());
  // Without a connection, the loop comes back to connect again.
  if (!channel_ && !entries_.empty()) {
    const auto wait = std::chrono::duration_cast<milliseconds>(
        std::max(retry_after_, reconnect_after_) - Clock::now());
    wake_->WakeAfter(static_cast<int>(std::max<int64_t>(0, wait.count())));
  } else {
    wake_->WakeAfter(-1);
  }
}

NotifierLink::Clock::time_point NotifierLink::AnswerDeadline() const {
  return Clock::now() + milliseconds(peer_wait_ms_) + kAnswerMargin;
}

// ---------------------------------------------------------------- connecting

void NotifierLink::Register(const CalendarPtr& calendar, int32_t& instance,
                            const std::string& path) {
  entries_.push_back(Entry{calendar, path});
  if (!channel_) {
    try {
      Connect(true);  // registers every calendar, this one too
    } catch (const Error&) {
      // What this calendar reads now may be stale once it is connected.
      catch_up_ = true;
      throw;
    }
  } else {
    out_ += protocol::EncodeRegister(InstanceID(), path);
    ++pending_registrations_;
    if (!WaitFor([this] { return pending_registrations_ == 0; }, AnswerDeadline())) {
      Lost();
      Unavailable("it does not answer the registration");
    }
  }
  instance = InstanceID();
}

void NotifierLink::SendRegistrations() {
  // Calendars that are gone are forgotten.
  std::erase_if(entries_, [](const Entry& e) { return e.calendar.expired(); });
  for (const Entry& entry : entries_) {
    out_ += protocol::EncodeRegister(InstanceID(), entry.path);
    ++pending_registrations_;
  }
}

bool NotifierLink::TryConnectOnce(const platform::NotifierEndpoint& endpoint) {
  std::unique_ptr<platform::Channel> channel;
  if (!platform::ConnectChannel(endpoint.socket, &channel).ok()) return false;
  channel_ = std::move(channel);
  reader_ = {};
  out_.clear();
  done_.clear();
  pending_registrations_ = 0;
  if (wake_) wake_->Watch(channel_->Descriptor());
  SendRegistrations();
  return true;
}

void NotifierLink::Connect(bool start) {
  if (channel_) return;
  const Clock::time_point now = Clock::now();
  if (now < retry_after_) Unavailable("it could not be started a moment ago");
  platform::NotifierEndpoint endpoint;
  if (platform::Status found = platform::FindNotifierEndpoint(&endpoint); !found.ok()) {
    Unavailable(found.message());
  }
  if (!start) {
    // From the event loop: only a notifier that listens already, but one
    // is started for the next try.
    if (TryConnectOnce(endpoint)) return;
    reconnect_after_ = now + kReconnectEvery;
    const std::string program = FindNotifierProgram();
    if (!program.empty() && now - last_start_ > kRestartAfter) {
      last_start_ = now;
      (void)platform::SpawnDetached(program, {}, endpoint.log);
    }
    return;
  }

  const Clock::time_point give_up = now + kStartWait;
  bool started = false;
  std::string program;
  while (true) {
    if (TryConnectOnce(endpoint)) {
      if (WaitFor([this] { return pending_registrations_ == 0; }, AnswerDeadline())) return;
      // A notifier on its way out took the connection and closed it.
      Lost();
    }
    const Clock::time_point at = Clock::now();
    if (at >= give_up) break;
    if (!started || at - last_start_ >= kRestartAfter) {
      if (program.empty()) program = FindNotifierProgram();
      if (program.empty()) Unavailable(std::string(kProgramName) + " was not found");
      last_start_ = at;
      started = true;
      if (platform::Status spawned = platform::SpawnDetached(program, {}, endpoint.log);
          !spawned.ok()) {
        retry_after_ = Clock::now() + kPauseAfterFailedStart;
        Unavailable(spawned.message());
      }
    }
    std::this_thread::sleep_for(milliseconds(10));
  }
  retry_after_ = Clock::now() + kPauseAfterFailedStart;
  Unavailable(program.empty() ? "nothing listens at " + endpoint.socket
                              : program + " did not start listening at " + endpoint.socket);
}

void NotifierLink::Lost() {
  ++generation_;
  channel_.reset();
  reader_ = {};
  out_.clear();
  done_.clear();
  pending_registrations_ = 0;
  catch_up_ = true;
  retry_after_ = std::max(retry_after_, Clock::now());
  if (wake_) wake_->Watch(-1);
  UpdateWake();
}

// ------------------------------------------------------------------ sending

void NotifierLink::Send(const Encoder& encode, bool wait) {
  // A connection that turns out to be broken is replaced once.
  for (int attempt = 0;; ++attempt) {
    Connect(true);
    if (pending_registrations_ > 0 &&
        !WaitFor([this] { return pending_registrations_ == 0; }, AnswerDeadline())) {
      if (channel_) Lost();
      if (attempt == 0) continue;
      Unavailable("it does not answer");
    }
    const std::string message = encode(InstanceID());
    if (!wait) {
      out_ += protocol::EncodeNotify(0, message);
      if (out_.size() > kMaxUnsent) {
        Lost();
        Unavailable("it does not take what is sent");
      }
      if (FlushOut(true)) return;
    } else {
      if (++next_seq_ == 0) ++next_seq_;
      const uint32_t seq = next_seq_;
      out_ += protocol::EncodeNotify(seq, message);
      if (WaitFor([this, seq] { return done_.erase(seq) > 0; }, AnswerDeadline())) return;
      if (channel_) {
        Lost();
        Unavailable("it does not answer");
      }
    }
    if (attempt > 0) Unavailable("the connection broke");
  }
}

void NotifierLink::Flush() {
  Send([](int32_t instance) { return protocol::EncodeMessage(Kind::kFlush, instance, ""); }, true);
}

bool NotifierLink::FlushOut(bool blocking) {
  const Clock::time_point give_up = Clock::now() + milliseconds(peer_wait_ms_) + kAnswerMargin;
  while (channel_ && !out_.empty()) {
    size_t written = 0;
    const platform::Io io = channel_->Send(out_, &written);
    if (io == platform::Io::kDone) {
      out_.erase(0, written);
      continue;
    }
    if (io != platform::Io::kWouldBlock) {
      Lost();
      return false;
    }
    if (!blocking) return true;
    // The notifier reads all the time, so this is short; it never waits
    // for this process to read.
    const auto left = std::chrono::duration_cast<milliseconds>(give_up - Clock::now()).count();
    if (left <= 0 || channel_->Wait(true, static_cast<int>(std::min<int64_t>(left, 100))) ==
                         platform::Io::kFailed) {
      Lost();
      return false;
    }
  }
  return channel_ != nullptr;
}

bool NotifierLink::WaitFor(const std::function<bool()>& done, Clock::time_point deadline) {
  // What is waited for was sent on this connection; a callback handled
  // meanwhile may have replaced it.
  const uint64_t generation = generation_;
  bool ok = true;
  while (!done()) {
    if (!channel_ || generation_ != generation || !FlushOut(false) ||
        !ReadAvailable(Mode::kWaiting) || generation_ != generation) {
      ok = false;
      break;
    }
    if (done()) break;
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) {
      ok = false;
      break;
    }
    const platform::Io io =
        channel_->Wait(!out_.empty(), static_cast<int>(std::min<int64_t>(left, 200)));
    if (io == platform::Io::kFailed) {
      Lost();
      ok = false;
      break;
    }
    // kClosed is found out by the next read, which takes what came before.
  }
  UpdateWake();
  return ok;
}

// ---------------------------------------------------------------- receiving

bool NotifierLink::ReadAvailable(Mode mode) {
  char buffer[65536];
  while (channel_) {
    size_t received = 0;
    const platform::Io io = channel_->Receive(buffer, sizeof buffer, &received);
    if (io == platform::Io::kWouldBlock) break;
    if (io != platform::Io::kDone) {
      Lost();
      return false;
    }
    reader_.Append(std::string_view(buffer, received));
    protocol::Frame frame;
    while (channel_ && reader_.Next(&frame))
      HandleFrame(frame, mode);
    if (reader_.Broken()) {
      Lost();
      return false;
    }
    if (received < sizeof buffer) break;
  }
  return channel_ != nullptr;
}

void NotifierLink::HandleFrame(const protocol::Frame& frame, Mode mode) {
  protocol::Decoded decoded;
  std::string problem;
  if (!protocol::DecodeFrame(frame, protocol::Sender::kNotifier, &decoded, &problem)) {
    // Not the notifier this library speaks with.
    Lost();
    return;
  }
  switch (decoded.type) {
    case protocol::FrameType::kRegistered:
      SetInstanceID(decoded.instance);
      peer_wait_ms_ = decoded.number;
      if (pending_registrations_ > 0) --pending_registrations_;
      if (pending_registrations_ == 0 && catch_up_) {
        // The others have written what a newcomer reads: messages missed
        // while away are made up for at the next Pump.
        queue_.push_back(Incoming{.message = {}, .token = 0, .catch_up = true});
        catch_up_ = false;
      }
      return;
    case protocol::FrameType::kDone:
      done_.insert(decoded.number);
      return;
    case protocol::FrameType::kCallback: {
      Incoming item{.message = std::move(decoded.message), .token = decoded.number};
      if (mode == Mode::kWaiting && item.token != 0) {
        // Another process waits on this one: answered at once.
        Deliver(item);
        Acknowledge(item.token);
      } else {
        queue_.push_back(std::move(item));
      }
      return;
    }
    default:
      return;
  }
}

void NotifierLink::Deliver(const Incoming& item) {
  // A calendar may go while another's callback runs: each is held for its
  // own.
  std::vector<CalendarPtr> calendars;
  for (const Entry& entry : entries_) {
    if (CalendarPtr calendar = entry.calendar.lock()) calendars.push_back(std::move(calendar));
  }
  for (const CalendarPtr& calendar : calendars) {
    try {
      if (item.catch_up) {
        CatchUp(*calendar);
      } else {
        Receive(*calendar, item.message);
      }
    } catch (const std::exception&) {
      // A message that cannot be applied changes nothing more.
    }
  }
}

void NotifierLink::Acknowledge(uint32_t token) {
  if (!channel_) return;
  out_ += protocol::EncodeAck(token);
  FlushOut(true);
}

int NotifierLink::Pump() {
  const Clock::time_point now = Clock::now();
  if (!channel_ && !entries_.empty() && now >= retry_after_ && now >= reconnect_after_) {
    try {
      Connect(false);
    } catch (const Error&) {
      reconnect_after_ = Clock::now() + kReconnectEvery;
    }
  }
  if (channel_) {
    FlushOut(true);
    ReadAvailable(Mode::kPumping);
  }
  int handled = 0;
  while (!queue_.empty()) {
    Incoming item = std::move(queue_.front());
    queue_.pop_front();
    Deliver(item);
    if (item.token != 0) Acknowledge(item.token);
    if (!item.catch_up) ++handled;
  }
  UpdateWake();
  return handled;
}

// ------------------------------------------------------------ the server

void SocketNotifierServer::Bind(const CalendarPtr& calendar) { calendar_ = calendar; }

void SocketNotifierServer::RegisterCalendar(int32_t& instanceId, const std::string& path) {
  CalendarPtr calendar = calendar_.lock();
  if (!calendar) throw Error(ErrorNumber::kObjectNotSet);
  SetInstanceID(instanceId);
  NotifierLink::Process().Register(calendar, instanceId, path);
}

void SocketNotifierServer::Simple(Kind kind, const std::string& path, bool wait) {
  NotifierLink::Process().Send(
      [&](int32_t instance) { return protocol::EncodeMessage(kind, instance, path); }, wait);
}

void SocketNotifierServer::About(Kind kind, const Appointment& appointment,
                                 const std::string& path) {
  NotifierLink::Process().Send(
      [&](int32_t instance) {
        return protocol::EncodeAppointmentMessage(kind, instance, appointment, path);
      },
      false);
}

void SocketNotifierServer::About(Kind kind, const Task& task, const std::string& path) {
  const TaskFileRecord record = tasks::RecordOf(const_cast<Task&>(task));
  NotifierLink::Process().Send(
      [&](int32_t instance) { return protocol::EncodeTaskMessage(kind, instance, record, path); },
      false);
}

void SocketNotifierServer::NotifyBeforeLoadFile(int32_t, int32_t fileLong,
                                                const std::string& path) {
  NotifierLink::Process().Send(
      [&](int32_t instance) {
        return protocol::EncodeFileMessage(Kind::kBeforeLoadFile, instance, fileLong, path);
      },
      true);
}

void SocketNotifierServer::NotifySaved(int32_t, int32_t fileLong, const std::string& path) {
  NotifierLink::Process().Send(
      [&](int32_t instance) {
        return protocol::EncodeFileMessage(Kind::kSaved, instance, fileLong, path);
      },
      false);
}

void SocketNotifierServer::NotifyDoChange(int32_t, const Appointment& a, const std::string& p) {
  About(Kind::kDoChange, a, p);
}
void SocketNotifierServer::NotifyDoDelete(int32_t, const Appointment& a, const std::string& p) {
  About(Kind::kDoDelete, a, p);
}
void SocketNotifierServer::NotifyDoWrite(int32_t, const Appointment& a, const std::string& p) {
  About(Kind::kDoWrite, a, p);
}
void SocketNotifierServer::NotifyBeforeLoadTasks(int32_t, const std::string& p) {
  Simple(Kind::kBeforeLoadTasks, p, true);
}
void SocketNotifierServer::NotifyTasksSaved(int32_t, const std::string& p) {
  Simple(Kind::kTasksSaved, p);
}
void SocketNotifierServer::NotifyDoAddTask(int32_t, const Task& t, const std::string& p) {
  About(Kind::kDoAddTask, t, p);
}
void SocketNotifierServer::NotifyDoChangeTask(int32_t, const Task& t, const std::string& p) {
  About(Kind::kDoChangeTask, t, p);
}
void SocketNotifierServer::NotifyDoDeleteTask(int32_t, const Task& t, const std::string& p) {
  About(Kind::kDoDeleteTask, t, p);
}
void SocketNotifierServer::NotifyAnythingChanged(int32_t, const std::string& p) {
  Simple(Kind::kAnythingChanged, p);
}
void SocketNotifierServer::NotifyCategoriesChanged(int32_t, const std::string& p) {
  Simple(Kind::kCategoriesChanged, p);
}
void SocketNotifierServer::NotifySRTChanged(int32_t, const std::string& p) {
  Simple(Kind::kSRTChanged, p);
}

int SocketNotifierServer::ProcessNotifications() { return NotifierLink::Process().Pump(); }

intptr_t SocketNotifierServer::Descriptor() { return NotifierLink::Process().Descriptor(); }

}  // namespace orncal::core
