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
  // The message kind ("Saved", ...) that fails with error 91.
  std::string failing;
  std::string last_path;

  void NotifyBeforeLoadFile(int32_t, int32_t fileLong, const std::string& path) override {
    Record("BeforeLoadFile " + std::to_string(fileLong), path);
  }
  void NotifySaved(int32_t, int32_t fileLong, const std::string& path) override {
    Record("Saved " + std::to_string(fileLong), path);
  }
  void NotifyDoChange(int32_t, const Appointment& a, const std::string& path) override {
    Record("DoChange " + Name(a), path);
  }
  void NotifyDoDelete(int32_t, const Appointment& a, const std::string& path) override {
    Record("DoDelete " + Name(a), path);
  }
  void NotifyDoWrite(int32_t, const Appointment& a, const std::string& path) override {
    Record("DoWrite " + Name(a), path);
  }
  void NotifyAnythingChanged(int32_t, const std::string& path) override {
    Record("AnythingChanged", path);
  }

  // Makes every calendar initialised from now on use `notifier`, until the
  // object goes.
  class Installed {
   public:
    explicit Installed(std::shared_ptr<RecordingNotifier> notifier) {
      core::SetNotifierFactory([notifier] { return notifier; });
    }
    ~Installed() { core::SetNotifierFactory(nullptr); }
  };

 private:
  static std::string Name(const Appointment& a) {
    return std::to_string(a.File()) + "/" + std::to_string(a.ID());
  }
  void Record(const std::string& message, const std::string& path) {
    last_path = path;
    if (!failing.empty() && message.rfind(failing, 0) == 0) {
      throw Error(ErrorNumber::kObjectNotSet);
    }
    sent.push_back(message);
  }
};

// A CalendarTest whose calendar records the notifier messages it sends.
class RecordingCalendarTest : public CalendarTest {
 protected:
  RecordingCalendarTest() : installed_(notifier_) {}

  std::shared_ptr<RecordingNotifier> notifier_ = std::make_shared<RecordingNotifier>();

 private:
  RecordingNotifier::Installed installed_;
};

}  // namespace orncal::testing
