#include "commands.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <fstream>

#include "orncalendar/appointments.h"
#include "orncalendar/date_time.h"
#include "orncalendar/error.h"
#include "orncalendar/month_file.h"
#include "orncalendar/platform.h"
#include "orncalendar/task_file.h"
#include "output.h"
#include "when.h"

namespace orncal::cli {
namespace {

// Messages are printed as one line.
std::string OneLine(std::string_view text) {
  std::string line;
  for (char c : text) {
    if (c == '\r') continue;
    line += c == '\n' ? ' ' : c;
  }
  while (!line.empty() && line.back() == ' ')
    line.pop_back();
  return line;
}

Date ParseWhenOption(const std::string& text, std::string_view option) {
  try {
    return ParseWhen(text);
  } catch (const std::invalid_argument& e) {
    throw CommandError(std::string(option) + ": " + e.what());
  }
}

// A path from UTF-8 text (the narrow form would be read in the ANSI code
// page on Windows).
std::filesystem::path Utf8Path(const std::string& text) {
  return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

const char* const kWhenHelp =
    "YYYY-MM-DD, YYYY-MM-DDTHH:MM, YYYY-MM-DDTHH:MM:SS (local time) or ole:NUMBER";

// The file's bytes, refusing anything but a regular file of sensible size
// (a device or a pipe could be endless).
std::string ReadDataFile(const std::string& name) {
  namespace fs = std::filesystem;
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

// XDG_DATA_HOME is only taken when absolute, so a relative folder is made
// absolute first.
void UseDataHome(const std::string& folder) {
  std::error_code ec;
  const std::filesystem::path absolute = std::filesystem::absolute(Utf8Path(folder), ec);
  if (ec) throw CommandError("--data-home: cannot use '" + folder + "': " + ec.message());
  const std::u8string text = absolute.u8string();
  UseApplicationDataFolder(std::string(text.begin(), text.end()));
}

}  // namespace

int32_t ParseMask(std::string_view text, std::string_view option) {
  const auto refuse = [&]() -> CommandError {
    return CommandError(std::string(option) + ": invalid mask '" + std::string(text) +
                        "': expected a 32-bit number (decimal, or 0x and hex digits)");
  };
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const std::string_view digits = hex ? text.substr(2) : text;
  int64_t value = 0;
  const char* end = digits.data() + digits.size();
  // from_chars takes a leading minus but no plus; a hex number takes neither.
  if (digits.empty() || (hex && digits.size() > 8) || (hex && digits[0] == '-')) throw refuse();
  const auto result = std::from_chars(digits.data(), end, value, hex ? 16 : 10);
  if (result.ec != std::errc() || result.ptr != end || value < INT32_MIN || value > UINT32_MAX) {
    throw refuse();
  }
  return static_cast<int32_t>(static_cast<uint32_t>(value));
}

CommandLine ParseCommandLine(int argc, const char* const* argv) {
  CLI::App app{"orncal: the calendar from the command line.", "orncal"};
  app.allow_windows_style_options(false);
  app.require_subcommand(1);
  app.fallthrough();
  std::string data_home;
  app.add_option("--data-home", data_home,
                 "Use DIR as the application-data folder: the data folder is "
                 "DIR/Ornavel/Calendar/files (sets XDG_DATA_HOME before the calendar starts)")
      ->type_name("DIR");

  CLI::App* list = app.add_subcommand(
      "list", "The appointments that meet the period [from, to), months ascending");
  std::string from, to, flags, not_flags, or_flags, not_and_flags;
  bool no_separate = false, no_all_day = false, only_all_day = false, use_remind = false;
  bool remove_doubles = false, sort = false, list_json = false;
  list->add_option("--from", from, std::string("Start of the period (included): ") + kWhenHelp)
      ->required()
      ->type_name("WHEN");
  list->add_option("--to", to, "End of the period (excluded)")->required()->type_name("WHEN");
  list->add_flag("--no-separate-serials", no_separate,
                 "A recurring appointment once per month, not once per occurrence");
  list->add_flag("--no-all-day", no_all_day, "Leave out all-day appointments");
  list->add_flag("--only-all-day", only_all_day, "Only all-day appointments");
  list->add_flag("--use-remind-time", use_remind,
                 "Select by the remind moment; only appointments that remind");
  list->add_option("--flags", flags, "Every bit of N must be set (default 0)")->type_name("N");
  list->add_option("--not-flags", not_flags, "No bit of N may be set (default 1: invisible)")
      ->type_name("N");
  list->add_option("--or-flags", or_flags, "At least one bit of N must be set (0: no test)")
      ->type_name("N");
  list->add_option("--not-and-flags", not_and_flags,
                   "Not all bits of N may be set at once (0: no test)")
      ->type_name("N");
  list->add_flag("--remove-doubles", remove_doubles,
                 "Keep links instead of their appointments and drop the doubles");
  list->add_flag("--sort", sort,
                 "All-day entries first, then by start (an occurrence by its series' own period)");
  list->add_flag("--json", list_json, "Print {\"appointments\": [...]} instead of a table");

  CLI::App* dump = app.add_subcommand(
      "dump", "Decode one month file (*.xmf) or the task file (tasks.xtf) without a calendar");
  dump->footer(
      "A file is read as the task file when it is named tasks.xtf (in any letter case) or when "
      "its bytes read as a whole task file with nothing after it: a version, whole task records "
      "and the four-byte end mark as the last four bytes. Anything else is read as a month "
      "file.");
  std::string path;
  bool dump_json = false;
  dump->add_option("PATH", path, "The month file or task file")->required();
  dump->add_flag("--json", dump_json,
                 "Print {\"version\": V, \"records\": [...]} for a month file, "
                 "{\"version\": V, \"tasks\": [...]} for the task file");

  CommandLine line;
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    line.Help = app.help();
    return line;
  } catch (const CLI::CallForAllHelp&) {
    line.Help = app.help("", CLI::AppFormatMode::All);
    return line;
  } catch (const CLI::ParseError& e) {
    throw CommandError(OneLine(e.what()));
  }

  if (app.count("--data-home") > 0) {
    if (data_home.empty()) throw CommandError("--data-home: the folder must not be empty");
    line.DataHome = data_home;
  }
  if (list->parsed()) {
    ListCommand command;
    command.From = ParseWhenOption(from, "--from");
    command.To = ParseWhenOption(to, "--to");
    command.Options.SeperateSerials = !no_separate;
    command.Options.AlsoAllDay = !no_all_day;
    command.Options.OnlyAllDay = only_all_day;
    command.Options.UseRemindTime = use_remind;
    const auto mask = [&](const std::string& text, const char* option, int32_t& field) {
      if (list->count(option) > 0) field = ParseMask(text, option);
    };
    mask(flags, "--flags", command.Options.Flags);
    mask(not_flags, "--not-flags", command.Options.NotFlags);
    mask(or_flags, "--or-flags", command.Options.OrFlags);
    mask(not_and_flags, "--not-and-flags", command.Options.NotAndFlags);
    command.Options.RemoveDoubles = remove_doubles;
    command.Sort = sort;
    command.Json = list_json;
    line.List = command;
  } else if (dump->parsed()) {
    line.Dump = DumpCommand{path, dump_json};
  }
  return line;
}

void RunList(Calendar& calendar, const ListCommand& command, std::ostream& out) {
  DateTimeNormalPtr period = DateTimeNormal::New(command.From, command.To);
  AppointmentsPtr result = calendar.AllAppointmentsInPeriod(*period, command.Options);
  if (command.Sort) result->Sort();
  if (command.Json) {
    WriteListJson(*result, out);
  } else {
    WriteAppointmentTable(*result, out);
  }
}

bool IsTaskFile(const std::string& path, std::string_view bytes) {
  const std::u8string name = Utf8Path(path).filename().u8string();
  std::string lower(name.begin(), name.end());
  for (char& c : lower)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  if (lower == "tasks.xtf") return true;
  const TaskFileContents contents = DecodeTaskFile(bytes);
  return contents.Complete && contents.EndMark && contents.TrailingBytes == 0;
}

void RunDump(const DumpCommand& command, std::ostream& out) {
  const std::string bytes = ReadDataFile(command.Path);
  if (IsTaskFile(command.Path, bytes)) {
    const TaskFileContents contents = DecodeTaskFile(bytes);
    if (!contents.Complete) {
      throw CommandError("'" + command.Path + "' is not a valid task file: " + contents.Problem);
    }
    if (command.Json) {
      out << ToJsonText(TaskDumpJson(contents));
    } else {
      WriteTaskTable(contents, out);
    }
    return;
  }
  // The records' own file number is not shown, so none is given.
  const MonthFileContents contents = DecodeMonthFile(bytes, 0);
  if (!contents.Complete) {
    throw CommandError("'" + command.Path + "' is not a valid month file: " + contents.Problem);
  }
  if (command.Json) {
    out << ToJsonText(DumpJson(contents));
  } else {
    WriteRecordTable(contents, out);
  }
}

int Run(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
  // What the calendar reports (a month file that cannot be read) is shown
  // as a line of ours and makes the command fail, after its output.
  bool reported = false;
  struct Restore {
    MessageHandler before;
    ~Restore() { SetMessageHandler(std::move(before)); }
  } restore{SetMessageHandler([&](const Message& message) {
    err << "orncal: " << OneLine(message.Text) << '\n';
    reported = true;
  })};
  try {
    const CommandLine line = ParseCommandLine(argc, argv);
    if (!line.Help.empty()) {
      out << line.Help;
    } else {
      if (line.DataHome) UseDataHome(*line.DataHome);
      if (line.List) {
        CalendarMain main;
        CalendarPtr calendar = main.Calendar();
        if (!calendar) throw CommandError("the calendar could not be started");
        std::error_code ec;
        if (!std::filesystem::is_directory(Utf8Path(calendar->Path()), ec)) {
          throw CommandError("the data folder '" + calendar->Path() + "' cannot be made");
        }
        RunList(*calendar, *line.List, out);
      } else if (line.Dump) {
        RunDump(*line.Dump, out);
      }
    }
    out.flush();
    if (!out) throw CommandError("writing the output failed");
    err.flush();
    return reported ? 1 : 0;
  } catch (const Error& e) {
    err << "orncal: run-time error " << e.Number() << ": " << OneLine(e.what()) << '\n';
  } catch (const std::exception& e) {
    err << "orncal: " << OneLine(e.what()) << '\n';
  } catch (...) {
    err << "orncal: unexpected failure\n";
  }
  err.flush();
  return 1;
}

}  // namespace orncal::cli
