#include "commands.h"

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "command_table.h"
#include "orncalendar/error.h"
#include "orncalendar/ole_date.h"
#include "orncalendar/platform.h"
#include "session.h"
#include "text.h"

namespace orncal::cli {

const char* const kWhenHelp =
    "WHEN is YYYY-MM-DD, today, tomorrow, yesterday or a weekday name (the next such day, "
    "today included), each optionally followed by a time (T10:30, or a space and 10:30); or "
    "now; or ole:NUMBER, a raw OLE date. Times are local wall-clock time.";

When WhenOption(const std::string& text, std::string_view option) {
  try {
    return ParseWhen(text, CurrentClock().Now());
  } catch (const std::invalid_argument& e) {
    throw CommandError(std::string(option) + ": " + e.what());
  }
}

Date DayOption(const std::string& text, std::string_view option) {
  try {
    return ParseDay(text, CurrentClock().Now());
  } catch (const std::invalid_argument& e) {
    throw CommandError(std::string(option) + ": " + e.what());
  }
}

void AddQueryArgs(CLI::App* command, QueryArgs& args) {
  command->add_flag("--no-separate-serials", args.NoSeparate,
                    "A recurring appointment as a whole, not once per occurrence");
  command->add_flag("--no-all-day", args.NoAllDay, "Leave out all-day appointments");
  command->add_flag("--only-all-day", args.OnlyAllDay, "Only all-day appointments");
  command->add_option("--flags", args.Flags, "Every bit of N must be set (default 0)")
      ->type_name("N");
  command->add_option("--not-flags", args.NotFlags, "No bit of N may be set (default 1: invisible)")
      ->type_name("N");
  command->add_option("--or-flags", args.OrFlags, "At least one bit of N must be set (0: no test)")
      ->type_name("N");
  command
      ->add_option("--not-and-flags", args.NotAndFlags,
                   "Not all bits of N may be set at once (0: no test)")
      ->type_name("N");
}

void ReadMasks(const CLI::App* command, const QueryArgs& args, int32_t& flags, int32_t& notFlags,
               int32_t& orFlags, int32_t& notAndFlags) {
  const auto mask = [&](const std::string& text, const char* option, int32_t& field) {
    if (command->count(option) > 0) field = ParseMask(text, option);
  };
  mask(args.Flags, "--flags", flags);
  mask(args.NotFlags, "--not-flags", notFlags);
  mask(args.OrFlags, "--or-flags", orFlags);
  mask(args.NotAndFlags, "--not-and-flags", notAndFlags);
}

namespace {

// Messages of the argument parser are printed as one line.
std::string Flatten(std::string_view text) {
  std::string line;
  for (char c : text) {
    if (c == '\r') continue;
    line += c == '\n' ? ' ' : c;
  }
  while (!line.empty() && line.back() == ' ')
    line.pop_back();
  return line;
}

std::vector<const CLI::App*> Subcommands(const CLI::App& app) {
  return app.get_subcommands(std::function<bool(const CLI::App*)>{});
}

const CLI::App* FindSubcommand(const CLI::App& app, std::string_view name) {
  for (const CLI::App* sub : Subcommands(app))
    if (sub->get_name() == name) return sub;
  return nullptr;
}

std::string Names(const CLI::App& app) {
  std::string names;
  for (const CLI::App* sub : Subcommands(app))
    names += (names.empty() ? "" : ", ") + sub->get_name();
  return names;
}

// Commands and groups of commands (task, category, ...) are checked by name
// before the parser sees them, so that a word that is no command is called
// one (the parser would call it an unexpected argument).
void RefuseUnknownCommand(const CLI::App& app, int argc, const char* const* argv) {
  const CLI::App* level = &app;
  bool help = false;
  for (int i = 1; i < argc; ++i) {
    const std::string_view arg = argv[i];
    if (arg == "-h" || arg == "--help" || arg == "--version") help = true;
    if (arg == "--") break;
    if (arg.starts_with("-")) {
      // The parser says what is missing after an option without its value.
      if (arg == "--data-home" && ++i == argc) return;
      continue;
    }
    const CLI::App* sub = FindSubcommand(*level, arg);
    if (!sub) {
      const std::string group = level == &app ? "" : level->get_name() + " ";
      throw CommandError("unknown " + group + "command '" + OneLine(arg) + "'; the " + group +
                         "commands are: " + Names(*level));
    }
    if (Subcommands(*sub).empty()) return;
    level = sub;
  }
  if (help) return;
  if (level == &app) throw CommandError("no command given; the commands are: " + Names(app));
  throw CommandError(level->get_name() + ": say which: " + Names(*level));
}

// The help of a command named by its words ("task add"), for `help`.
std::string HelpOf(const CLI::App& app, const std::vector<std::string>& words) {
  const CLI::App* target = &app;
  std::string prefix;
  for (const std::string& word : words) {
    const CLI::App* sub = FindSubcommand(*target, word);
    if (!sub) {
      throw CommandError("help: unknown command '" + OneLine(word) +
                         "'; the commands are: " + Names(*target));
    }
    prefix += (prefix.empty() ? "" : " ") + target->get_name();
    target = sub;
  }
  return target == &app ? app.help() : target->help(prefix);
}

// XDG_DATA_HOME is only taken when absolute, so a relative folder is made
// absolute first.
void UseDataHome(const std::string& folder) {
  std::error_code ec;
  const std::filesystem::path absolute = std::filesystem::absolute(
      std::filesystem::path(std::u8string(folder.begin(), folder.end())), ec);
  if (ec) throw CommandError("--data-home: cannot use '" + folder + "': " + ec.message());
  const std::u8string text = absolute.u8string();
  UseApplicationDataFolder(std::string(text.begin(), text.end()));
}

// A clock that starts at a given moment and runs on with the real one.
class ShiftedClock : public Clock {
 public:
  explicit ShiftedClock(Date start) : start_(start) {}
  Date Now() const override {
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - began_;
    return start_ + passed.count() / 86400.0;
  }
  double Timer() const override {
    const Date now = Now();
    return (now - std::floor(now)) * 86400.0;
  }

 private:
  Date start_;
  std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
};

// Puts the clock of ORNCAL_NOW in place for the life of the object.
class ClockFromEnvironment {
 public:
  ClockFromEnvironment() {
    const char* text = std::getenv(kNowVariable);
    if (!text || !*text) return;
    Date start = 0;
    try {
      start = ParseWhen(text, CurrentClock().Now()).Value;
    } catch (const std::invalid_argument& e) {
      throw CommandError(std::string(kNowVariable) + ": " + e.what());
    }
    before_ = SetClock(std::make_shared<ShiftedClock>(start));
    installed_ = true;
  }
  ~ClockFromEnvironment() {
    if (installed_) SetClock(std::move(before_));
  }

 private:
  std::shared_ptr<Clock> before_;
  bool installed_ = false;
};

}  // namespace

CommandLine ParseCommandLine(int argc, const char* const* argv) {
  CLI::App app{"orncal: the calendar in the terminal.", "orncal"};
  app.allow_windows_style_options(false);
  app.require_subcommand(1);
  app.fallthrough();
  app.set_version_flag("--version", std::string("orncal ") + ORNCAL_VERSION);
  app.footer(std::string(kWhenHelp) +
             "\nExit status 0 on success, 1 on a usage error or a failed operation, with one "
             "line on stderr. Run 'orncal help COMMAND' for a command's options and output.");
  std::string data_home;
  app.add_option("--data-home", data_home,
                 "Use DIR as the application-data folder: the data folder is "
                 "DIR/Ornavel/Calendar/files (sets XDG_DATA_HOME before the calendar starts)")
      ->type_name("DIR");

  CommandTable table;
  RegisterViewCommands(app, table);
  RegisterAppointmentCommands(app, table);
  RegisterTaskCommands(app, table);
  RegisterCategoryCommands(app, table);
  RegisterReminderCommands(app, table);
  RegisterFileCommands(app, table);
  RegisterInteropCommands(app, table);
  CLI::App* help = app.add_subcommand("help", "The help of orncal or of one command");
  std::vector<std::string> help_words;
  help->add_option("COMMAND", help_words, "The command, with its group: help task add");

  CommandLine line;
  try {
    RefuseUnknownCommand(app, argc, argv);
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    line.Help = app.help();
    return line;
  } catch (const CLI::CallForAllHelp&) {
    line.Help = app.help("", CLI::AppFormatMode::All);
    return line;
  } catch (const CLI::CallForVersion& e) {
    line.Help = std::string(e.what()) + "\n";
    return line;
  } catch (const CLI::ParseError& e) {
    throw CommandError(Flatten(e.what()));
  }
  if (help->parsed()) {
    line.Help = HelpOf(app, help_words);
    return line;
  }
  if (app.count("--data-home") > 0) {
    if (data_home.empty()) throw CommandError("--data-home: the folder must not be empty");
    line.DataHome = data_home;
  }
  line.Run = table.Make();
  return line;
}

int Run(int argc, const char* const* argv, std::ostream& out, std::ostream& err,
        const Style& style) {
  Session session(out, err, style);
  struct Restore {
    MessageHandler before;
    ~Restore() { SetMessageHandler(std::move(before)); }
  } restore{SetMessageHandler([&](const Message& message) { session.Report(message); })};
  try {
    const ClockFromEnvironment clock;
    const CommandLine line = ParseCommandLine(argc, argv);
    if (!line.Help.empty()) {
      out << line.Help;
    } else if (line.Run) {
      if (line.DataHome) UseDataHome(*line.DataHome);
      std::visit([&](const auto& command) { Execute(session, command); }, *line.Run);
    }
    out.flush();
    if (!out) throw CommandError("writing the output failed");
    if (session.ReportedCount() == 0) return 0;
    session.PrintReported();
    return 1;
  } catch (const Reported&) {
  } catch (const Error& e) {
    if (session.ReportedCount() == 0) {
      err << "orncal: run-time error " << e.Number() << ": " << Flatten(e.what()) << '\n';
    }
  } catch (const std::exception& e) {
    if (session.ReportedCount() == 0) err << "orncal: " << Flatten(e.what()) << '\n';
  } catch (...) {
    if (session.ReportedCount() == 0) err << "orncal: unexpected failure\n";
  }
  // What the calendar reported is the cause of what failed after it.
  session.PrintReported();
  out.flush();
  err.flush();
  return 1;
}

}  // namespace orncal::cli
