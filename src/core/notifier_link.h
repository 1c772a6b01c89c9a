// The real link to the notifier OrnCalNtf: one connection per process,
// shared by every calendar of the process, and the NotifierServer each
// calendar sends through.
//
// Sending. A message is written to the connection and the call returns;
// the messages that others must act on before this process reads a file
// (BeforeLoadFile, BeforeLoadTasks) and the registration wait until the
// notifier reports that every other live calendar handled them, or that
// its wait for a peer ran out. A message that cannot be delivered throws
// orncal::Error (462); the next message tries to connect again (starting
// the notifier when nothing listens), except within a short pause after a
// start that failed.
//
// Receiving. Callbacks run on the caller's thread: all of them, in the
// order they arrived, inside Pump (Calendar::ProcessNotifications); while
// a message waits for its answer, only the callbacks others wait on are
// handled at once (so two processes waiting on each other go on), and the
// rest wait for the next Pump.
//
// Losing the notifier (it ended, or dropped this process for not reading)
// means messages were missed: once connected again, the next Pump lets
// every calendar catch up (core::CatchUp).
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "core/notifier.h"
#include "core/notifier_protocol.h"
#include "platform/channel.h"

namespace orncal::core {

class NotifierLink {
 public:
  // The link of this process.
  static NotifierLink& Process();

  NotifierLink();
  ~NotifierLink();

  // Registers a calendar on the data folder `path` under `instance` (the
  // InstanceID, which the notifier may replace by a free one: `instance`
  // and core::InstanceID() then hold the new number). Returns once the
  // other calendars have written what they hold for a newcomer. Throws
  // orncal::Error (462) when the notifier cannot be reached; the calendar
  // stays registered with the link, which registers it when it connects.
  void Register(const CalendarPtr& calendar, int32_t& instance, const std::string& path);

  // Makes a message with the present InstanceID and sends it; with
  // `wait`, returns once every other calendar handled it.
  using Encoder = std::function<std::string(int32_t instance)>;
  void Send(const Encoder& encode, bool wait);

  // A message with no effect, answered when every other calendar has
  // handled what this process sent before it.
  void Flush();

  // Handles what has arrived; never blocks. Returns the number of messages
  // handled.
  int Pump();

  // What an event loop waits on (-1 where there is none).
  intptr_t Descriptor();

  // Closes the connection and forgets the calendars (for tests).
  void Reset();

 private:
  using Clock = std::chrono::steady_clock;

  struct Entry {
    std::weak_ptr<Calendar> calendar;
    std::string path;
  };
  struct Incoming {
    protocol::Message message;
    uint32_t token = 0;
    bool catch_up = false;  // not a message: the calendars catch up
  };
  enum class Mode { kPumping, kWaiting };

  // Connects and registers every calendar. With `start`, starts the
  // notifier when nothing listens and waits for the registration; without
  // it, only connects to a running notifier (starting one for later) and
  // registers without waiting.
  void Connect(bool start);
  bool TryConnectOnce(const platform::NotifierEndpoint& endpoint);
  void SendRegistrations();
  // The connection broke: what was sent and not answered is gone.
  void Lost();
  // Waits until `done` holds, handling what arrives; false when the
  // connection broke or the time ran out.
  bool WaitFor(const std::function<bool()>& done, Clock::time_point deadline);
  // Writes what is pending; with `blocking`, waits (a bounded time) until
  // the connection took it all. False when the connection broke.
  bool FlushOut(bool blocking);
  // Reads what has arrived and handles its frames. False when the
  // connection broke.
  bool ReadAvailable(Mode mode);
  void HandleFrame(const protocol::Frame& frame, Mode mode);
  void Deliver(const Incoming& item);
  void Acknowledge(uint32_t token);
  void UpdateWake();
  Clock::time_point AnswerDeadline() const;

  std::vector<Entry> entries_;
  std::unique_ptr<platform::Channel> channel_;
  protocol::FrameReader reader_;
  std::string out_;
  std::deque<Incoming> queue_;
  std::set<uint32_t> done_;
  uint32_t next_seq_ = 0;
  uint64_t generation_ = 0;  // counts the connections lost
  int pending_registrations_ = 0;
  uint32_t peer_wait_ms_ = 2000;
  bool catch_up_ = false;
  // After a start of the notifier failed, messages fail at once until then.
  Clock::time_point retry_after_{};
  // Pump tries to connect again from then on.
  Clock::time_point reconnect_after_{};
  Clock::time_point last_start_{};
  std::unique_ptr<platform::WakeSource> wake_;
  bool wake_made_ = false;
};

// The NotifierServer of one calendar, sending through the process's link.
class SocketNotifierServer final : public NotifierServer {
 public:
  void Bind(const CalendarPtr& calendar) override;
  void RegisterCalendar(int32_t& instanceId, const std::string& path) override;
  void NotifyBeforeLoadFile(int32_t instanceId, int32_t fileLong, const std::string& path) override;
  void NotifySaved(int32_t instanceId, int32_t fileLong, const std::string& path) override;
  void NotifyDoChange(int32_t instanceId, const Appointment& appointment,
                      const std::string& path) override;
  void NotifyDoDelete(int32_t instanceId, const Appointment& appointment,
                      const std::string& path) override;
  void NotifyDoWrite(int32_t instanceId, const Appointment& appointment,
                     const std::string& path) override;
  void NotifyBeforeLoadTasks(int32_t instanceId, const std::string& path) override;
  void NotifyTasksSaved(int32_t instanceId, const std::string& path) override;
  void NotifyDoAddTask(int32_t instanceId, const Task& task, const std::string& path) override;
  void NotifyDoChangeTask(int32_t instanceId, const Task& task, const std::string& path) override;
  void NotifyDoDeleteTask(int32_t instanceId, const Task& task, const std::string& path) override;
  void NotifyAnythingChanged(int32_t instanceId, const std::string& path) override;
  void NotifyCategoriesChanged(int32_t instanceId, const std::string& path) override;
  void NotifySRTChanged(int32_t instanceId, const std::string& path) override;
  int ProcessNotifications() override;
  intptr_t Descriptor() override;

 private:
  void Simple(protocol::Kind kind, const std::string& path, bool wait = false);
  void About(protocol::Kind kind, const Appointment& appointment, const std::string& path);
  void About(protocol::Kind kind, const Task& task, const std::string& path);

  std::weak_ptr<Calendar> calendar_;
};

// The notifier program: ORNCAL_NOTIFIER when it names one, else OrnCalNtf
// beside the library, in the installed program folder, or on PATH; "" when
// none is found.
std::string FindNotifierProgram();

}  // namespace orncal::core
