// What a command works with while it runs: the output streams, the
// terminal's style, the calendar (started when first asked for) and the
// library's messages.
#pragma once

#include <exception>
#include <initializer_list>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "orncalendar/calendar.h"
#include "orncalendar/platform.h"
#include "output.h"

namespace orncal::cli {

// The command failed, and the line saying why is on stderr already.
class Reported : public std::exception {
 public:
  const char* what() const noexcept override { return "reported"; }
};

class Session {
 public:
  Session(std::ostream& out, std::ostream& err, Style style) : out(out), err(err), style(style) {}
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  std::ostream& out;
  std::ostream& err;
  const Style style;

  // The calendar, started at the first call. CommandError when its data
  // folder cannot be made.
  orncal::Calendar& Calendar();
  // The same, with the library's messages while it starts left out (check
  // reports the files itself).
  orncal::Calendar& QuietCalendar();

  // A message of the library: kept for the end of the command, which then
  // fails. (A failed save reports every file that could not be written.)
  void Report(const Message& message);
  int ReportedCount() const { return static_cast<int>(reported_.size()); }
  // The first message as one line on stderr, with the number of the others.
  void PrintReported();

  // Ends a change with Save. When the library has reported a problem
  // before (a file that could not be read), nothing is saved; a problem
  // while saving (a file that could not be written) fails the command too.
  // Either way the library's message is the line on stderr (Reported).
  void Save();
  // Saves the special remind times (and the moment the reminder scan has
  // reached), after the same check as Save.
  void SaveSpecialRemindTimes();
  // Saves the categories, after the same check as Save.
  void SaveCategories();

  // One line "orncal: warning: ..." on stderr; the command still succeeds.
  void Warn(std::string_view text);
  // Warns once, naming the fields, when texts hold characters the data
  // files cannot store (the library stores them as '?').
  void WarnUnstorable(std::initializer_list<std::pair<std::string_view, std::string_view>> named);

 private:
  void RefuseAfterReport() const;

  CalendarPtr calendar_;
  std::vector<std::string> reported_;
  bool quiet_ = false;
};

}  // namespace orncal::cli
