// A notifier link that records the messages a calendar sends and can be
// told to fail one kind of message.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/notifier.h"
#include "orncalendar/appointment.h"
#include "orncalendar/error.h"
#include "support/test_env.h"

namespace orncal::testing {

class RecordingNotifier : public core::SilentNotifierServer {
 public:
  // Messages as "BeforeLoadFile 200805", "Saved 200805", "DoChange 200805/3".
  std::vector<std::string> sent;
  std::vector<int32_t> registered;  // the instance numbers of RegisterCalendar
  // The message kind ("Saved", ...) that fails with error 91.
  std::string failing;
  int32_t last_instance = 0;
  std::string last_path;

  using Path = const std::string&;
  void RegisterCalendar(int32_t id, Path p) override {
    registered.push_back(id);
    last_path = p;
  }
  void NotifyBeforeLoadFile(int32_t id, int32_t f, Path p) override {
    Record(id, "BeforeLoadFile " + std::to_string(f), p);
  }
  void NotifySaved(int32_t id, int32_t f, Path p) override {
    Record(id, "Saved " + std::to_string(f), p);
  }
  void NotifyDoChange(int32_t id, const Appointment& a, Path p) override {
    Record(id, "DoChange " + Of(a), p);
  }
  void NotifyDoDelete(int32_t id, const Appointment& a, Path p) override {
    Record(id, "DoDelete " + Of(a), p);
  }
  void NotifyDoWrite(int32_t id, const Appointment& a, Path p) override {
    Record(id, "DoWrite " + Of(a), p);
  }
  void NotifyAnythingChanged(int32_t id, Path p) override { Record(id, "AnythingChanged", p); }

 private:
  static std::string Of(const Appointment& a) {
    return std::to_string(a.File()) + "/" + std::to_string(a.ID());
  }
  void Record(int32_t id, const std::string& message, Path path) {
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
