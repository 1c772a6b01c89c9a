// What the library needs from its host: where its messages go and what time
// it is. Both can be replaced by the client (and are, in the tests). Hosts
// may also set the environment the calendar starts from.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

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

// ------------------------------------------------- application-data folder

// Makes the calendar take `folder` (UTF-8) as the user's application-data
// folder, so that its data folder is folder/Ornavel/Calendar/files. Call it
// before the first CalendarMain of the process. On POSIX it sets
// XDG_DATA_HOME; on every system it stands in for the shell's answer.
void UseApplicationDataFolder(std::string_view folder);

// ---------------------------------------------------------------- notifier

// Whether calendars started from now on keep in step with the other
// processes of the user through the notifier OrnCalNtf (started on demand;
// see docs/USING.md, "Several processes"). On by default where the system
// has the transport (not yet on Windows, where calendars work alone).
// A program that runs alone on its data folder turns it off before the
// first CalendarMain; setting the environment variable ORNCAL_NOTIFIER to
// "off" does the same, and setting it to a path names the notifier program.
void UseNotifier(bool use);

// The arguments of the running program as UTF-8 (on Windows read from the
// wide command line, elsewhere argv as it is).
std::vector<std::string> CommandLineArguments(int argc, const char* const* argv);

}  // namespace orncal
