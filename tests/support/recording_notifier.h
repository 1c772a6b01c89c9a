// A notifier link that records the messages a calendar sends and can be
// told to fail one kind of message.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/notifier.h"
#include "orncalendar/appointment.h"
#include "orncalendar/error.h"
#include "orncalendar/task.h"
#include "support/test_env.h"

namespace orncal::testing {

class RecordingNotifier : public core::SilentNotifierServer {
 public:
  // Messages as "BeforeLoadFile 200805", "Saved 200805", "DoChange 200805/3",
  // "DoAddTask 17", "TasksSaved".
  std::vector<std::string> sent;
  std::vector<int32_t> registered;  // the instance numbers of RegisterCalendar
  // The message kind ("Saved", ...) that fails with error 91.
  std::string failing;
  int32_t last_instance = 0;
  std::string last_path;

  using P = const std::string&;  // the calendar's Path
  using A = const Appointment&;
  using T = const Task&;
  void RegisterCalendar(int32_t& id, P p) override {
    registered.push_back(id);
    last_path = p;
  }
  void NotifyBeforeLoadFile(int32_t id, int32_t f, P p) override {
    Record(id, "BeforeLoadFile", f, p);
  }
  void NotifySaved(int32_t id, int32_t f, P p) override { Record(id, "Saved", f, p); }
  void NotifyDoChange(int32_t id, A a, P p) override { Record(id, "DoChange", a, p); }
  void NotifyDoDelete(int32_t id, A a, P p) override { Record(id, "DoDelete", a, p); }
  void NotifyDoWrite(int32_t id, A a, P p) override { Record(id, "DoWrite", a, p); }
  void NotifyAnythingChanged(int32_t id, P p) override { Record(id, "AnythingChanged", p); }
  void NotifyBeforeLoadTasks(int32_t id, P p) override { Record(id, "BeforeLoadTasks", p); }
  void NotifyTasksSaved(int32_t id, P p) override { Record(id, "TasksSaved", p); }
  void NotifyDoAddTask(int32_t id, T t, P p) override { Record(id, "DoAddTask", t.ID(), p); }
  void NotifyDoChangeTask(int32_t id, T t, P p) override { Record(id, "DoChangeTask", t.ID(), p); }
  void NotifyDoDeleteTask(int32_t id, T t, P p) override { Record(id, "DoDeleteTask", t.ID(), p); }
  void NotifyCategoriesChanged(int32_t id, P p) override { Record(id, "CategoriesChanged", p); }
  void NotifySRTChanged(int32_t id, P p) override { Record(id, "SRTChanged", p); }

 private:
  void Record(int32_t id, const std::string& kind, int32_t fileLong, P p) {
    Record(id, kind + " " + std::to_string(fileLong), p);
  }
  void Record(int32_t id, const std::string& kind, A a, P p) {
    Record(id, kind + " " + std::to_string(a.File()) + "/" + std::to_string(a.ID()), p);
  }
  void Record(int32_t id, const std::string& message, P path) {
    last_instance = id;
    last_path = path;
    if (!failing.empty() && message.rfind(failing, 0) == 0) throw Error(ErrorNumber::kObjectNotSet);
    sent.push_back(message);
  }
};

// A CalendarTest whose calendar records the notifier messages it sends.
class RecordingCalendarTest : public CalendarTest {
 protected:
  RecordingCalendarTest() {
    core::SetNotifierFactory([n = notifier_] { return n; });
  }
  ~RecordingCalendarTest() override { core::SetNotifierFactory(nullptr); }

  std::shared_ptr<RecordingNotifier> notifier_ = std::make_shared<RecordingNotifier>();
};

}  // namespace orncal::testing
