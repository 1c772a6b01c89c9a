// dump and check: the data files read as bytes, without the calendar's
// cache; and repairs from the backups the calendar's writes leave behind.
#include "commands_files.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>

#include "command_table.h"
#include "orncalendar/appointments.h"
#include "orncalendar/month_file.h"
#include "orncalendar/task_file.h"
#include "session.h"
#include "text.h"

namespace orncal::cli {
namespace {

namespace fs = std::filesystem;

// A path from UTF-8 text (the narrow form would be read in the ANSI code
// page on Windows), and back.
fs::path Utf8Path(const std::string& text) {
  return fs::path(std::u8string(text.begin(), text.end()));
}
std::string Utf8Name(const fs::path& path) {
  const std::u8string text = path.filename().u8string();
  return std::string(text.begin(), text.end());
}

// The file's bytes, refusing anything but a regular file of sensible size
// (a device or a pipe could be endless).
std::string ReadDataFile(const std::string& name) {
  const fs::path path = Utf8Path(name);
  std::error_code ec;
  const fs::file_status status = fs::status(path, ec);
  if (!fs::exists(status)) throw CommandError("cannot read '" + name + "': no such file");
  if (!fs::is_regular_file(status)) {
    throw CommandError("cannot read '" + name + "': not a regular file");
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) throw CommandError("cannot open '" + name + "'");
  std::string bytes;
  char buffer[1 << 16];
  while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
    bytes.append(buffer, static_cast<size_t>(in.gcount()));
    if (bytes.size() > kMaxDumpBytes) {
      throw CommandError("'" + name + "' is too large for a data file (more than " +
                         std::to_string(kMaxDumpBytes >> 20) + " MiB)");
    }
  }
  if (in.bad()) throw CommandError("cannot read '" + name + "'");
  return bytes;
}

// ------------------------------------------------------------------ check

enum class Kind { kMonth, kTasks, kCategories, kRemindTimes };

const char* KindName(Kind kind) {
  switch (kind) {
    case Kind::kMonth:
      return "month";
    case Kind::kTasks:
      return "tasks";
    case Kind::kCategories:
      return "categories";
    case Kind::kRemindTimes:
      return "special_remind_times";
  }
  return "";
}

// What one copy of a file holds.
struct Copy {
  std::string name;
  bool exists = false;
  bool complete = false;
  std::string problem;
  int64_t count = -1;  // records, tasks, categories or reminders read
  // The first line the calendar cannot read (it reads nothing after it).
  std::optional<std::pair<int, std::string>> bad_line;
  fs::file_time_type modified{};
};

struct Backup {
  Copy copy;
  int number = 0;
};

struct Checked {
  Kind kind = Kind::kMonth;
  int32_t file_long = 0;
  Copy main;
  std::vector<Backup> backups;  // by number
};

// The FileLong a month file's name stands for ("200805.xmf"), or 0.
int32_t MonthOfName(std::string_view name) {
  const std::string lower = LowerAscii(name);
  if (lower.size() < 9 || lower.size() > 10 || !lower.ends_with(".xmf")) return 0;
  int32_t value = 0;
  const char* end = lower.data() + lower.size() - 4;
  const auto result = std::from_chars(lower.data(), end, value);
  return result.ec == std::errc() && result.ptr == end && value / 100 >= 100 && value % 100 >= 1 &&
                 value % 100 <= 12
             ? value
             : 0;
}

// "200805.xmf.3" -> ("200805.xmf", 3); nullopt for any other name.
std::optional<std::pair<std::string, int>> BackupOfName(std::string_view name) {
  const size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot + 1 == name.size()) return std::nullopt;
  const std::string_view digits = name.substr(dot + 1);
  int number = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (result.ec != std::errc() || result.ptr != digits.data() + digits.size() || number < 1) {
    return std::nullopt;
  }
  const std::string main(name.substr(0, dot));
  if (MonthOfName(main) == 0 && LowerAscii(main) != "tasks.xtf") return std::nullopt;
  return std::make_pair(main, number);
}

std::string Trim(std::string_view text) {
  const size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return "";
  return std::string(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

// A 32-bit number as the side files write it: an optional sign, digits.
bool IsLong(std::string_view text) {
  std::string trimmed = Trim(text);
  if (!trimmed.empty() && trimmed[0] == '+') trimmed.erase(0, 1);
  int32_t value = 0;
  const char* end = trimmed.data() + trimmed.size();
  const auto result = std::from_chars(trimmed.data(), end, value);
  return !trimmed.empty() && result.ec == std::errc() && result.ptr == end;
}

// A decimal number with a comma or a point, an optional sign and exponent.
bool IsNumber(std::string_view text) {
  std::string trimmed = Trim(text);
  for (char& c : trimmed)
    if (c == ',') c = '.';
  if (!trimmed.empty() && trimmed[0] == '+') trimmed.erase(0, 1);
  if (trimmed.empty() || trimmed[0] == '.' || trimmed.back() == '.') {
    if (trimmed.size() < 2) return false;
  }
  double value = 0;
  const char* end = trimmed.data() + trimmed.size();
  const auto result = std::from_chars(trimmed.data(), end, value, std::chars_format::general);
  return !trimmed.empty() && result.ec == std::errc() && result.ptr == end &&
         trimmed.find_first_of("infINFxX") == std::string::npos;
}

std::vector<std::string> Lines(const std::string& bytes) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < bytes.size()) {
    size_t end = bytes.find('\n', start);
    if (end == std::string::npos) end = bytes.size();
    std::string line = bytes.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(Cp1252ToUtf8(line));
    start = end + 1;
  }
  return lines;
}

// Reads one copy of a file as the calendar would.
Copy Inspect(const fs::path& path, Kind kind, int32_t fileLong) {
  Copy copy;
  copy.name = Utf8Name(path);
  std::error_code ec;
  if (!fs::is_regular_file(path, ec)) return copy;
  copy.exists = true;
  copy.modified = fs::last_write_time(path, ec);
  std::string bytes;
  try {
    const std::u8string text = path.u8string();
    bytes = ReadDataFile(std::string(text.begin(), text.end()));
  } catch (const CommandError& e) {
    copy.problem = e.what();
    return copy;
  }
  switch (kind) {
    case Kind::kMonth: {
      const MonthFileContents contents = DecodeMonthFile(bytes, fileLong);
      // As for the task file: a month file the writer did not finish may
      // end between two records.
      copy.complete = contents.Complete && contents.EndMark;
      copy.problem = !contents.Complete ? contents.Problem
                     : !contents.EndMark
                         ? "the end mark is missing: the file may have been cut short"
                         : "";
      copy.count = contents.Records ? contents.Records->Count() : 0;
      break;
    }
    case Kind::kTasks: {
      const TaskFileContents contents = DecodeTaskFile(bytes);
      // Without its end mark a task file may have been cut short between
      // two records.
      copy.complete = contents.Complete && contents.EndMark;
      copy.problem = !contents.Complete ? contents.Problem
                     : !contents.EndMark
                         ? "the end mark is missing: the file may have been cut short"
                         : "";
      copy.count = static_cast<int64_t>(contents.Tasks.size());
      break;
    }
    case Kind::kCategories: {
      // "colour=name"; the calendar stops reading at the first bad line.
      std::vector<std::string> seen;
      copy.count = 0;
      const std::vector<std::string> lines = Lines(bytes);
      for (size_t i = 0; i < lines.size(); ++i) {
        if (Trim(lines[i]).empty()) continue;
        const size_t equals = lines[i].find('=');
        const std::string name =
            Trim(equals == std::string::npos ? "" : std::string_view(lines[i]).substr(equals + 1));
        const std::string folded = LowerAscii(name);
        std::string why;
        if (!IsLong(std::string_view(lines[i]).substr(0, equals))) {
          why = "the colour is no number";
        } else if (std::find(seen.begin(), seen.end(), folded) != seen.end()) {
          why = "the name came before";
        }
        if (!why.empty()) {
          copy.bad_line.emplace(static_cast<int>(i + 1), why + ": " + OneLine(lines[i]));
          break;
        }
        seen.push_back(folded);
        ++copy.count;
      }
      break;
    }
    case Kind::kRemindTimes: {
      // The moment the scan reached, then "moment=FILE/ID" lines.
      copy.count = 0;
      const std::vector<std::string> lines = Lines(bytes);
      for (size_t i = 0; i < lines.size(); ++i) {
        if (i > 0 && Trim(lines[i]).empty()) continue;
        bool good = false;
        if (i == 0) {
          good = IsNumber(lines[0]);
        } else {
          const size_t equals = lines[i].find('='), slash = lines[i].find('/', equals);
          good = equals != std::string::npos && slash != std::string::npos &&
                 IsNumber(std::string_view(lines[i]).substr(0, equals)) &&
                 IsLong(std::string_view(lines[i]).substr(equals + 1, slash - equals - 1)) &&
                 IsLong(std::string_view(lines[i]).substr(slash + 1));
          copy.count += good;
        }
        if (!good) {
          copy.bad_line.emplace(
              static_cast<int>(i + 1),
              (i == 0 ? "no moment: " : "no moment=FILE/ID: ") + OneLine(lines[i]));
          break;
        }
      }
      break;
    }
  }
  if (copy.bad_line) {
    copy.problem = "line " + std::to_string(copy.bad_line->first) +
                   " cannot be read; the calendar reads nothing from there on";
  } else if (kind == Kind::kCategories || kind == Kind::kRemindTimes) {
    copy.complete = true;
  }
  return copy;
}

std::string Iso(fs::file_time_type time) {
  using namespace std::chrono;
  const auto utc = floor<seconds>(file_clock::to_sys(time));
  const auto day = floor<days>(utc);
  const year_month_day date{day};
  const hh_mm_ss<seconds> clock{utc - day};
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

// The newest complete backup, or nullptr.
const Backup* NewestComplete(const Checked& file) {
  const Backup* best = nullptr;
  for (const Backup& backup : file.backups) {
    if (backup.copy.complete &&
        (!best || backup.copy.modified > best->copy.modified ||
         (backup.copy.modified == best->copy.modified && backup.number > best->number))) {
      best = &backup;
    }
  }
  return best;
}

struct Repair {
  std::string file, from, set_aside;
};

// Puts the backup back in place of a missing or unreadable main file; the
// unreadable file is kept aside as NAME.unreadable-N.
Repair Restore(const fs::path& folder, const Checked& file, const Backup& backup) {
  Repair repair{file.main.name, backup.copy.name, ""};
  const fs::path main = folder / Utf8Path(file.main.name);
  std::error_code ec;
  if (file.main.exists) {
    for (int n = 1; repair.set_aside.empty() || fs::exists(folder / Utf8Path(repair.set_aside), ec);
         ++n) {
      repair.set_aside = file.main.name + ".unreadable-" + std::to_string(n);
    }
    fs::rename(main, folder / Utf8Path(repair.set_aside), ec);
    if (ec) throw CommandError("cannot set '" + file.main.name + "' aside: " + ec.message());
  }
  fs::rename(folder / Utf8Path(backup.copy.name), main, ec);
  if (ec) {
    const std::string why = ec.message();
    if (file.main.exists) fs::rename(folder / Utf8Path(repair.set_aside), main, ec);
    throw CommandError("cannot put '" + backup.copy.name + "' back as '" + file.main.name +
                       "': " + why);
  }
  return repair;
}

std::string Describe(const Copy& copy, Kind kind) {
  if (!copy.exists) return "missing";
  if (!copy.problem.empty())
    return (copy.complete ? "readable, but " : "unreadable: ") + copy.problem;
  static constexpr const char* kWhat[] = {" records", " tasks", " categories", " extra reminders"};
  return "ok, " + std::to_string(copy.count) + kWhat[static_cast<int>(kind)];
}

bool Broken(const Checked& file) {
  return !file.main.exists || !file.main.complete || file.main.bad_line.has_value();
}

}  // namespace

bool IsTaskFile(const std::string& path, std::string_view bytes) {
  if (LowerAscii(Utf8Name(Utf8Path(path))) == "tasks.xtf") return true;
  const TaskFileContents contents = DecodeTaskFile(bytes);
  return contents.Complete && contents.EndMark && contents.TrailingBytes == 0;
}

void RegisterFileCommands(CLI::App& app, CommandTable& table) {
  {
    CLI::App* dump = app.add_subcommand(
        "dump", "Decode one month file (*.xmf) or the task file (tasks.xtf) without a calendar");
    dump->footer(
        "A file is read as the task file when it is named tasks.xtf (in any letter case) or "
        "when its bytes read as a whole task file with nothing after it: a version, whole task "
        "records and the four-byte end mark as the last four bytes. Anything else is read as a "
        "month file.");
    struct Args {
      std::string path;
      bool json = false;
    };
    auto a = std::make_shared<Args>();
    dump->add_option("PATH", a->path, "The month file or task file")->required();
    dump->add_flag("--json", a->json,
                   "Print {\"version\": V, \"records\": [...]} for a month file, "
                   "{\"version\": V, \"tasks\": [...]} for the task file (see the README)");
    table.Add(dump, [a] { return DumpCommand{a->path, a->json}; });
  }
  {
    CLI::App* check =
        app.add_subcommand("check",
                           "Read every file of the data folder; report what cannot be read and the "
                           "backups left behind");
    auto a = std::make_shared<CheckCommand>();
    check->add_flag("--repair", a->Repair,
                    "Put the newest complete backup in place of a month file or task file that "
                    "is missing or cannot be read (that one is kept as NAME.unreadable-N)");
    check->add_flag("--json", a->Json,
                    "Print {\"folder\", \"files\": [FILE, ...], \"backups\": [BACKUP, ...], "
                    "\"repairs\": [{\"file\", \"from\", \"set_aside\"}, ...]}");
    check->footer(
        "FILE: name, kind (month, tasks, categories, special_remind_times), state (ok, "
        "unreadable, missing), problem (or null), count (records, tasks, categories or extra "
        "reminders read), bad_line ({line, text}: the first line of a text file that cannot be "
        "read, or null), modified (UTC, or "
        "null). BACKUP: name, of (the file it backs up), complete, problem, newer_than_main "
        "(null when the main file is missing), modified. A backup NAME.N is the file as it was "
        "before a save that did not finish. Without --repair nothing is changed. Exit status 1 "
        "while a file cannot be read.");
    table.Add(check, [a] { return *a; });
  }
  {
    CLI::App* demo =
        app.add_subcommand("demo", "Fill an empty data folder with a small calendar around today");
    table.Add(demo, [] { return DemoCommand{}; });
  }
}

void Execute(Session& s, const DumpCommand& c) {
  const std::string bytes = ReadDataFile(c.Path);
  if (IsTaskFile(c.Path, bytes)) {
    const TaskFileContents contents = DecodeTaskFile(bytes);
    if (!contents.Complete) {
      throw CommandError("'" + c.Path + "' is not a valid task file: " + contents.Problem);
    }
    if (c.Json) {
      s.out << ToJsonText(TaskDumpJson(contents));
    } else {
      WriteTaskTable(contents, s.out);
    }
    return;
  }
  // The records' own file number is not shown, so none is given.
  const MonthFileContents contents = DecodeMonthFile(bytes, 0);
  if (!contents.Complete) {
    throw CommandError("'" + c.Path + "' is not a valid month file: " + contents.Problem);
  }
  if (c.Json) {
    s.out << ToJsonText(DumpJson(contents));
  } else {
    WriteRecordTable(contents, s.out);
  }
}

void Execute(Session& s, const CheckCommand& c) {
  const std::string path = s.QuietCalendar().Path();
  const fs::path folder = Utf8Path(path);
  // Every main file and its backups, by name; a backup whose main file is
  // gone stands for it.
  std::map<std::string, Checked> files;
  const auto file_of = [&](const std::string& name) -> Checked& {
    Checked& file = files[LowerAscii(name)];
    if (file.main.name.empty()) {
      file.main.name = name;
      file.file_long = MonthOfName(name);
      const std::string lower = LowerAscii(name);
      file.kind = file.file_long != 0      ? Kind::kMonth
                  : lower == "tasks.xtf"   ? Kind::kTasks
                  : lower == "categor.ini" ? Kind::kCategories
                                           : Kind::kRemindTimes;
    }
    return file;
  };
  std::error_code ec;
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, ec))
    names.push_back(Utf8Name(entry.path()));
  if (ec) throw CommandError("cannot list the data folder '" + path + "': " + ec.message());
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) {
    const std::string lower = LowerAscii(name);
    if (MonthOfName(name) != 0 || lower == "tasks.xtf" || lower == "categor.ini" ||
        lower == "sprmdtim.ini") {
      Checked& file = file_of(name);
      file.main = Inspect(folder / Utf8Path(name), file.kind, file.file_long);
    } else if (const auto backup = BackupOfName(name)) {
      Checked& file = file_of(backup->first);
      file.backups.push_back(
          {Inspect(folder / Utf8Path(name), file.kind, file.file_long), backup->second});
    }
  }
  std::vector<Repair> repairs;
  for (auto& [key, file] : files) {
    std::sort(file.backups.begin(), file.backups.end(),
              [](const Backup& a, const Backup& b) { return a.number < b.number; });
    if (!c.Repair || !Broken(file) || file.kind == Kind::kCategories ||
        file.kind == Kind::kRemindTimes) {
      continue;
    }
    if (const Backup* backup = NewestComplete(file)) {
      repairs.push_back(Restore(folder, file, *backup));
      // Read again what now stands there.
      const Backup restored = *backup;
      file.backups.erase(file.backups.begin() + (backup - file.backups.data()));
      file.main = restored.copy;
      file.main.name = repairs.back().file;
    }
  }
  int broken = 0, repairable = 0;
  for (const auto& [key, file] : files) {
    broken += Broken(file);
    repairable += Broken(file) && (file.kind == Kind::kMonth || file.kind == Kind::kTasks) &&
                  NewestComplete(file) != nullptr;
  }

  if (c.Json) {
    Json list = Json::array(), backups = Json::array(), done = Json::array();
    for (const auto& [key, file] : files) {
      const auto& bad = file.main.bad_line;
      list.push_back(Json{
          {"name", file.main.name},
          {"kind", KindName(file.kind)},
          {"state", !file.main.exists ? "missing"
                    : Broken(file)    ? "unreadable"
                                      : "ok"},
          {"problem", file.main.problem.empty() ? Json(nullptr) : Json(file.main.problem)},
          {"count", file.main.count >= 0 ? Json(file.main.count) : Json(nullptr)},
          {"bad_line", bad ? Json{{"line", bad->first}, {"text", bad->second}} : Json(nullptr)},
          {"modified", file.main.exists ? Json(Iso(file.main.modified)) : Json(nullptr)}});
      for (const Backup& backup : file.backups) {
        backups.push_back(Json{
            {"name", backup.copy.name},
            {"of", file.main.name},
            {"complete", backup.copy.complete},
            {"problem", backup.copy.problem.empty() ? Json(nullptr) : Json(backup.copy.problem)},
            {"newer_than_main",
             file.main.exists ? Json(backup.copy.modified > file.main.modified) : Json(nullptr)},
            {"modified", Iso(backup.copy.modified)}});
      }
    }
    for (const Repair& repair : repairs) {
      done.push_back(
          Json{{"file", repair.file},
               {"from", repair.from},
               {"set_aside", repair.set_aside.empty() ? Json(nullptr) : Json(repair.set_aside)}});
    }
    s.out << ToJsonText(Json{{"folder", path},
                             {"files", std::move(list)},
                             {"backups", std::move(backups)},
                             {"repairs", std::move(done)}});
  } else {
    s.out << "data folder " << path << '\n';
    std::vector<Row> rows;
    for (const auto& [key, file] : files) {
      rows.push_back({file.main.name, Describe(file.main, file.kind)});
      if (const auto& bad = file.main.bad_line) {
        rows.push_back({"", "line " + std::to_string(bad->first) + ": " + bad->second});
      }
      for (const Backup& backup : file.backups) {
        std::string text = "backup of " + file.main.name + ", " +
                           (backup.copy.complete ? "complete" : "incomplete");
        if (file.main.exists) {
          text += backup.copy.modified > file.main.modified ? ", newer than the file"
                                                            : ", older than the file";
        }
        rows.push_back({backup.copy.name, text});
      }
    }
    for (const Repair& repair : repairs) {
      rows.push_back({repair.file, "put back from " + repair.from +
                                       (repair.set_aside.empty()
                                            ? ""
                                            : "; the unreadable file is now " + repair.set_aside)});
    }
    if (rows.empty()) rows.push_back({"no files yet"});
    WriteAligned(rows, s.out);
  }
  if (broken > 0) {
    s.out.flush();
    throw CommandError("check: " + std::to_string(broken) +
                       (broken == 1 ? " file cannot" : " files cannot") + " be read in full" +
                       (repairable > 0 ? "; 'orncal check --repair' can put back " +
                                             std::to_string(repairable) + " from backups"
                                       : ""));
  }
}

}  // namespace orncal::cli
