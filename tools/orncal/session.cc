#include "session.h"

#include <filesystem>
#include <fstream>

#include "arguments.h"
#include "orncalendar/categories.h"
#include "orncalendar/remind_times.h"
#include "text.h"

namespace orncal::cli {
namespace {

std::filesystem::path DataPath(const orncal::Calendar& calendar, std::string_view name) {
  const std::string& path = calendar.Path();
  return std::filesystem::path(std::u8string(path.begin(), path.end())) / name;
}

}  // namespace

orncal::Calendar& Session::Calendar() {
  if (calendar_) return *calendar_;
  CalendarPtr calendar = CalendarMain().Calendar();
  if (!calendar) throw CommandError("the calendar could not be started");
  std::error_code ec;
  if (!std::filesystem::is_directory(DataPath(*calendar, ""), ec)) {
    throw CommandError("the data folder '" + calendar->Path() + "' cannot be made");
  }
  calendar_ = std::move(calendar);
  return *calendar_;
}

orncal::Calendar& Session::QuietCalendar() {
  quiet_ = true;
  try {
    orncal::Calendar& calendar = Calendar();
    quiet_ = false;
    return calendar;
  } catch (...) {
    quiet_ = false;
    throw;
  }
}

void Session::Report(const Message& message) {
  if (quiet_) return;
  std::string line;
  for (char c : message.Text) {
    if (c == '\r') continue;
    line += c == '\n' ? ' ' : c;
  }
  while (!line.empty() && line.back() == ' ')
    line.pop_back();
  reported_.push_back(OneLine(line));
}

void Session::PrintReported() {
  if (reported_.empty()) return;
  err << "orncal: " << reported_.front();
  if (reported_.size() > 1) {
    err << " (and " << reported_.size() - 1
        << (reported_.size() == 2 ? " more message)" : " more messages)");
  }
  err << '\n';
  reported_.clear();
}

void Session::RefuseAfterReport() const {
  if (!reported_.empty()) throw Reported();
}

void Session::Save() {
  RefuseAfterReport();
  Calendar().Save();
  RefuseAfterReport();
}

// The library writes the side files quietly, so whether they were written
// is seen in what they hold afterwards.
void Session::SaveSpecialRemindTimes() {
  RefuseAfterReport();
  orncal::Calendar& calendar = Calendar();
  calendar.SaveSpecialRemindTimes();
  // The file holds the scan moment and every reminder still to come.
  const Date now = CurrentClock().Now();
  size_t expected = 1;
  for (const SpecialRemindTimePtr& record : *calendar.SpecialRemindTimes())
    expected += record && record->Appointment() && record->RemindAt() > now;
  std::ifstream in(DataPath(calendar, "SpRmdTim.ini"), std::ios::binary);
  size_t lines = 0;
  for (std::string line; std::getline(in, line);)
    lines += line != "\r" && !line.empty();
  if (lines != expected) {
    throw CommandError("the extra reminders could not be written to '" + calendar.Path() + "'");
  }
}

void Session::SaveCategories() {
  RefuseAfterReport();
  const CategoriesPtr categories = Calendar().Categories();
  categories->Save();
  // A write that failed leaves the categories marked changed.
  if (categories->Changed()) {
    throw CommandError("the categories could not be written to '" + Calendar().Path() + "'");
  }
}

void Session::Warn(std::string_view text) { err << "orncal: warning: " << text << '\n'; }

void Session::WarnUnstorable(
    std::initializer_list<std::pair<std::string_view, std::string_view>> named) {
  std::string fields;
  for (const auto& [name, text] : named) {
    if (FitsCp1252(text)) continue;
    if (!fields.empty()) fields += ", ";
    fields += name;
  }
  if (fields.empty()) return;
  Warn(fields + ": characters outside Windows-1252 cannot be stored and are kept as '?'");
}

}  // namespace orncal::cli
