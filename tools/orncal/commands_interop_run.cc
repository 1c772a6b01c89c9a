// export, import and sync: the work, through the interop library.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "arguments.h"
#include "commands_interop.h"
#include "interop/ical.h"
#include "interop/sync.h"
#include "orncalendar/calendar.h"
#include "orncalendar/categories.h"
#include "orncalendar/ole_date.h"
#include "orncalendar/platform.h"
#include "output.h"
#include "session.h"

namespace orncal::cli {
namespace {

// Larger input is refused rather than held.
constexpr size_t kMaxInput = size_t{256} << 20;

std::string ReadInput(const std::string& file) {
  std::string text;
  const auto read = [&](std::istream& in) {
    char buffer[65536];
    while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
      text.append(buffer, static_cast<size_t>(in.gcount()));
      if (text.size() > kMaxInput)
        throw CommandError("import: " + file + " is larger than 256 MiB");
    }
    if (in.bad()) throw CommandError("import: cannot read " + file);
  };
  if (file == "-") {
    read(std::cin);
  } else {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw CommandError("import: cannot open '" + file + "'");
    read(in);
  }
  return text;
}

std::string Plural(int count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

void WarnUnstorable(Session& s, const std::vector<std::string>& fields) {
  if (fields.empty()) return;
  std::string list;
  for (const std::string& field : fields)
    list += (list.empty() ? "" : ", ") + field;
  s.Warn("characters outside Windows-1252 cannot be stored and are kept as '?': " + list);
}

}  // namespace

void Execute(Session& s, const ExportCommand& c) {
  Calendar& calendar = s.Calendar();
  interop::Identity identity(calendar);
  const Date today = DayPart(CurrentClock().Now());
  Date from = today;
  for (int32_t month : *calendar.AllFiles())
    if (month / 100 >= 100 && month / 100 <= 9999 && month % 100 >= 1 && month % 100 <= 12)
      from = std::min(from, DateFromParts(month / 100, month % 100, 1));
  if (c.From) from = *c.From;
  const Date to = c.To ? *c.To : DateFromParts(YearOf(today) + 10, MonthOf(today), DayOf(today));
  const std::vector<interop::LocalItem> items = interop::CollectItems(calendar, identity, from, to);
  interop::ExportCounts counts;
  const std::string text = interop::ExportItems(calendar, items, {from, to}, &counts);
  if (c.File == "-") {
    s.out << text;
  } else {
    std::ofstream out(c.File, std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    if (!out) throw CommandError("export: cannot write '" + c.File + "'");
  }
  // The data folder's id is kept for the next export's UIDs.
  if (!identity.Save())
    s.Warn("the interop file in '" + calendar.Path() + "' could not be written");
  std::ostream& report = c.File == "-" ? s.err : s.out;
  report << (c.File == "-" ? "orncal: " : "") << "exported "
         << Plural(counts.Events, "event", "events") << " ("
         << Plural(counts.SeriesAsRule, "series", "series") << " as a rule, "
         << counts.SeriesAsDates << " as their days from " << FormatWhen(from, true) << " to "
         << FormatWhen(to, true) << ") and " << Plural(counts.Todos, "task", "tasks");
  if (counts.SeriesWithoutDays > 0) {
    report << "; " << Plural(counts.SeriesWithoutDays, "series", "series")
           << " without a day in the period left out";
  }
  report << '\n';
}

void Execute(Session& s, const ImportCommand& c) {
  const std::string text = ReadInput(c.File);
  Calendar& calendar = s.Calendar();
  interop::Identity identity(calendar);
  interop::Importer importer(calendar, identity);
  interop::ImportReport r;
  try {
    interop::ImportOptions options;
    options.HorizonYears = c.HorizonYears;
    options.Now = CurrentClock().Now();
    options.DryRun = c.DryRun;
    r = importer.Import(text, options);
  } catch (const interop::ImportError& e) {
    throw CommandError(std::string("import: ") + e.what() + "; nothing was imported");
  }
  if (!c.DryRun) {
    s.Save();
    if (importer.CategoriesChanged()) s.SaveCategories();
    if (!identity.Save()) {
      throw CommandError("the interop file in '" + calendar.Path() + "' could not be written");
    }
  }
  const int appointments = r.Created + r.Updated + r.Unchanged;
  s.out << (c.DryRun ? "would import " : "imported ")
        << Plural(appointments, "appointment", "appointments") << " (" << r.Created << " new, "
        << r.Updated << " updated, " << r.Unchanged << " unchanged; "
        << Plural(r.Series, "series", "series") << ") and "
        << Plural(r.TasksCreated + r.TasksUpdated + r.TasksUnchanged, "task", "tasks") << " ("
        << r.TasksCreated << " new, " << r.TasksUpdated << " updated, " << r.TasksUnchanged
        << " unchanged)\n";
  if (r.Expanded > 0) {
    s.out << Plural(r.Expanded, "recurring event", "recurring events")
          << " that no series describes became "
          << Plural(r.ExpandedAppointments, "appointment", "appointments") << " from "
          << FormatWhen(r.ExpandedFrom, true) << " to " << FormatWhen(r.ExpandedTo - 1, true)
          << " (--horizon " << c.HorizonYears << ")\n";
  }
  WarnUnstorable(s, r.Unstorable);
}

namespace {

// The password: the first line of the file, else the environment's.
std::string Password(const SyncCommand& c) {
  if (!c.PasswordFile.empty()) {
    std::ifstream in(c.PasswordFile, std::ios::binary);
    if (!in) throw CommandError("--password-file: cannot read '" + c.PasswordFile + "'");
    // A first line longer than any password (or a file without lines,
    // such as /dev/zero) is refused rather than read without end.
    constexpr size_t kMaxLine = 4096;
    std::string line;
    for (int ch; line.size() <= kMaxLine && (ch = in.get()) != EOF && ch != '\n';)
      line += static_cast<char>(ch);
    if (line.size() > kMaxLine)
      throw CommandError("--password-file: the first line is longer than 4096 characters");
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
  }
  const char* value = std::getenv(kPasswordVariable);
  return value ? value : "";
}

}  // namespace

void Execute(Session& s, const SyncCommand& c) {
  interop::SyncOptions options;
  options.Url = c.Url;
  options.User = c.User;
  options.Password = Password(c);
  options.Create = c.Create;
  options.Now = CurrentClock().Now();
  Calendar& calendar = s.Calendar();
  interop::Identity identity(calendar);
  interop::SyncReport r;
  try {
    r = interop::Synchronize(calendar, identity, options, [&] {
      s.Save();
      if (calendar.Categories()->Changed()) s.SaveCategories();
    });
  } catch (const interop::SyncError& e) {
    throw CommandError(std::string("sync: ") + e.what());
  }
  s.out << "sent " << r.Pushed << ", received " << r.Pulled << ", deleted " << r.DeletedHere
        << " here and " << r.DeletedThere << " on the server, " << r.Unchanged << " unchanged";
  if (r.Deferred > 0) s.out << ", " << r.Deferred << " left for the next sync";
  s.out << '\n';
  for (const std::string& title : r.Conflicts) {
    s.out << "conflict: changed on both sides; the server's version is kept as '" << title << "'\n";
  }
  WarnUnstorable(s, r.Unstorable);
}

}  // namespace orncal::cli
