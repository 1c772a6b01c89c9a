// export, import and sync: the command line.
#include "commands_interop.h"

#include <memory>

#include "command_table.h"

namespace orncal::cli {

void RegisterInteropCommands(CLI::App& app, CommandTable& table) {
  {
    CLI::App* command =
        app.add_subcommand("export", "The appointments and tasks as iCalendar (VEVENT, VTODO)");
    struct Args {
      std::string file, from, to;
    };
    auto a = std::make_shared<Args>();
    command->add_option("--ics", a->file, "The file to write, - for stdout")
        ->required()
        ->type_name("FILE");
    command
        ->add_option("--from", a->from,
                     "Start of the period (default: the first month on file); series that no "
                     "rule describes are written as their days in the period")
        ->type_name("WHEN");
    command->add_option("--to", a->to, "End of the period (default: ten years from today)")
        ->type_name("WHEN");
    command->footer(
        "Series are written as RRULE where a rule gives exactly the calendar's days, else as "
        "their occurrences in the period (RDATE). See docs/INTEROP.md.");
    table.Add(command, [a, command] {
      ExportCommand c;
      if (a->file.empty()) throw CommandError("--ics: name a file, or - for stdout");
      c.File = a->file;
      if (command->count("--from") > 0) c.From = WhenOption(a->from, "--from").Value;
      if (command->count("--to") > 0) c.To = WhenOption(a->to, "--to").Value;
      if (c.From && c.To && *c.To < *c.From) {
        throw CommandError("--to: the period ends before it starts");
      }
      return c;
    });
  }
  {
    CLI::App* command = app.add_subcommand(
        "import", "iCalendar events and to-dos as appointments, series and tasks");
    struct Args {
      std::string file, horizon = "2";
      bool dry_run = false;
    };
    auto a = std::make_shared<Args>();
    command->add_option("--ics", a->file, "The file to read, - for stdin")
        ->required()
        ->type_name("FILE");
    command
        ->add_option("--horizon", a->horizon,
                     "Recurrences no series describes become single appointments this many "
                     "years before and after today (default 2)")
        ->type_name("YEARS");
    command->add_flag("--dry-run", a->dry_run, "Read and count, change nothing");
    command->footer(
        "An object whose UID was imported (or exported) before updates what it became. Input "
        "that is not valid iCalendar is refused whole.");
    table.Add(command, [a] {
      if (a->file.empty()) throw CommandError("--ics: name a file, or - for stdin");
      return ImportCommand{a->file, ParseNumber(a->horizon, "--horizon", 0, 100), a->dry_run};
    });
  }
  {
    CLI::App* command = app.add_subcommand(
        "sync", "Two-way sync of appointments and tasks with a CalDAV collection");
    struct Args {
      std::string url, user, password_file;
      bool create = false;
    };
    auto a = std::make_shared<Args>();
    command->add_option("--url", a->url, "The collection, http:// or https://")
        ->required()
        ->type_name("URL");
    command->add_option("--user", a->user, "The user name")->type_name("U");
    command
        ->add_option("--password-file", a->password_file,
                     std::string("A file whose first line is the password (else $") +
                         kPasswordVariable + ")")
        ->type_name("F");
    command->add_flag("--create", a->create, "Make the collection if the server has none");
    command->footer(
        "What changed on one side since the last sync goes to the other, deletions too; what "
        "changed on both is kept twice, the server's copy titled with \" [Konflikt]\". The "
        "state is kept in the data folder, one file per collection.");
    table.Add(command, [a] {
      if (!a->url.starts_with("http://") && !a->url.starts_with("https://")) {
        throw CommandError("--url: the collection's URL starts with http:// or https://");
      }
      // A password in the URL would stand on the command line.
      const size_t host = a->url.find("://") + 3;
      if (a->url.substr(host, a->url.find('/', host) - host).find('@') != std::string::npos) {
        throw CommandError("--url: no user or password in the URL; use --user and --password-file");
      }
      return SyncCommand{a->url, a->user, a->password_file, a->create};
    });
  }
}

}  // namespace orncal::cli
