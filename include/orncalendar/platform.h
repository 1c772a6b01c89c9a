// What the library needs from its host: where its messages go and what time
// it is. Both can be replaced by the client (and are, in the tests). Hosts
// may also set the environment the calendar starts from.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "orncalendar/fwd.h"

namespace orncal {

// ---------------------------------------------------------------- messages

enum class MessageStyle {
  kPlain,
  kCritical,
};

struct Message {
  std::string Text;  // UTF-8; line breaks are CR LF as the library writes them
  MessageStyle Style = MessageStyle::kPlain;
};

using MessageHandler = std::function<void(const Message&)>;

// Every message box of the library goes through the installed handler. The
// default writes one line to stderr ("Ornavel Calendar: " and the text, line
// breaks as spaces) on POSIX and shows a message box on Windows.
// Returns the handler that was installed before; an empty handler restores
// the default.
MessageHandler SetMessageHandler(MessageHandler handler);

// The caption of every message box.
inline constexpr std::string_view kMessageCaption = "Ornavel Calendar";

void ShowMessage(std::string_view text, MessageStyle style = MessageStyle::kPlain);

// ------------------------------------------------------------------- clock

// The one source of "now" and of the time of day.
class Clock {
 public:
  virtual ~Clock() = default;
  // The present local date and time as an OLE date.
  virtual Date Now() const = 0;
  // Seconds since local midnight, with a fraction.
  virtual double Timer() const = 0;
};

// A clock that stands still until it is set or advanced.
class ManualClock : public Clock {
 public:
  explicit ManualClock(Date now = 0) : now_(now) {}
  Date Now() const override { return now_; }
  double Timer() const override;
  void Set(Date now) { now_ = now; }
  void Advance(double seconds) { now_ += seconds / 86400.0; }

 private:
  Date now_;
};

// Installs a clock; nullptr restores the system clock. Returns the clock
// that was installed before.
std::shared_ptr<Clock> SetClock(std::shared_ptr<Clock> clock);
const Clock& CurrentClock();

// ------------------------------------------------------------- environment

// Sets an environment variable of this process (the bytes as given). A
// host that wants the calendar on another application-data folder sets
// XDG_DATA_HOME before the first CalendarMain; on Windows the shell decides
// the folder and that variable has no effect.
void SetProcessEnv(std::string_view name, std::string_view value);

}  // namespace orncal
