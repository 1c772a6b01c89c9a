// The link to the companion notifier that relays changes between the
// processes sharing a data folder. Every message carries the sender's
// InstanceID and the calendar's Path. A call that cannot be delivered throws
// orncal::Error; the sending operation then fails as its own failure.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "orncalendar/fwd.h"

namespace orncal::core {

class NotifierServer {
 public:
  virtual ~NotifierServer() = default;

  // The calendar that the other processes' callbacks reach (before it
  // registers).
  virtual void Bind(const CalendarPtr& /*calendar*/) {}
  // Registers the calendar; the notifier may hand back another instance
  // number in `instanceId`, which the process then uses.
  virtual void RegisterCalendar(int32_t& instanceId, const std::string& path) = 0;
  virtual void NotifyBeforeLoadFile(int32_t instanceId, int32_t fileLong,
                                    const std::string& path) = 0;
  virtual void NotifySaved(int32_t instanceId, int32_t fileLong, const std::string& path) = 0;
  virtual void NotifyDoChange(int32_t instanceId, const Appointment& appointment,
                              const std::string& path) = 0;
  virtual void NotifyDoDelete(int32_t instanceId, const Appointment& appointment,
                              const std::string& path) = 0;
  virtual void NotifyDoWrite(int32_t instanceId, const Appointment& appointment,
                             const std::string& path) = 0;
  virtual void NotifyBeforeLoadTasks(int32_t instanceId, const std::string& path) = 0;
  virtual void NotifyTasksSaved(int32_t instanceId, const std::string& path) = 0;
  virtual void NotifyDoAddTask(int32_t instanceId, const Task& task, const std::string& path) = 0;
  virtual void NotifyDoChangeTask(int32_t instanceId, const Task& task,
                                  const std::string& path) = 0;
  virtual void NotifyDoDeleteTask(int32_t instanceId, const Task& task,
                                  const std::string& path) = 0;
  virtual void NotifyAnythingChanged(int32_t instanceId, const std::string& path) = 0;
  virtual void NotifyCategoriesChanged(int32_t instanceId, const std::string& path) = 0;
  virtual void NotifySRTChanged(int32_t instanceId, const std::string& path) = 0;

  // Handles the callbacks that have arrived; never blocks. Returns how many
  // messages it handled.
  virtual int ProcessNotifications() { return 0; }
  // What an event loop waits on for callbacks (-1: nothing will come).
  virtual intptr_t Descriptor() { return -1; }
};

// A notifier that delivers nothing: the calendar then works on its own.
class SilentNotifierServer : public NotifierServer {
 public:
  void RegisterCalendar(int32_t&, const std::string&) override {}
  void NotifyBeforeLoadFile(int32_t, int32_t, const std::string&) override {}
  void NotifySaved(int32_t, int32_t, const std::string&) override {}
  void NotifyDoChange(int32_t, const Appointment&, const std::string&) override {}
  void NotifyDoDelete(int32_t, const Appointment&, const std::string&) override {}
  void NotifyDoWrite(int32_t, const Appointment&, const std::string&) override {}
  void NotifyBeforeLoadTasks(int32_t, const std::string&) override {}
  void NotifyTasksSaved(int32_t, const std::string&) override {}
  void NotifyDoAddTask(int32_t, const Task&, const std::string&) override {}
  void NotifyDoChangeTask(int32_t, const Task&, const std::string&) override {}
  void NotifyDoDeleteTask(int32_t, const Task&, const std::string&) override {}
  void NotifyAnythingChanged(int32_t, const std::string&) override {}
  void NotifyCategoriesChanged(int32_t, const std::string&) override {}
  void NotifySRTChanged(int32_t, const std::string&) override {}
};

// Makes the notifier link of a calendar being initialised. Replaceable, so
// that tests can watch the messages a calendar sends. Without a factory:
// the link through the notifier OrnCalNtf where the system has the
// transport and the notifier is wanted (see UseNotifier), else the silent
// one.
using NotifierFactory = std::function<std::shared_ptr<NotifierServer>()>;
NotifierFactory SetNotifierFactory(NotifierFactory factory);
std::shared_ptr<NotifierServer> MakeNotifierServer();

// Whether UseNotifier(false) was called or ORNCAL_NOTIFIER is "off".
bool NotifierWanted();

}  // namespace orncal::core
