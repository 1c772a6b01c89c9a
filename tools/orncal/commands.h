// The commands of orncal and its command line:
//
//   orncal [--data-home DIR] list --from WHEN --to WHEN [switches] [--json]
//   orncal [--data-home DIR] dump PATH [--json]
//
// Exit status 0 on success, 1 on a usage error or a failed operation, with
// one line on stderr.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "orncalendar/calendar.h"
#include "orncalendar/fwd.h"

namespace orncal::cli {

// A fault of the command line or of the operation; its text is the one line
// orncal prints.
class CommandError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// `list`: the query period [From, To) with the switches of the query.
struct ListCommand {
  Date From = 0;
  Date To = 0;
  QueryOptions Options{};
  bool Sort = false;
  bool Json = false;
};

// `dump`: one month file or task file, read without a calendar.
struct DumpCommand {
  std::string Path;
  bool Json = false;
};

struct CommandLine {
  // The application-data folder to use, as given; nullopt when not given.
  std::optional<std::string> DataHome;
  std::optional<ListCommand> List;
  std::optional<DumpCommand> Dump;
  // Not empty when help was asked for: print it and do nothing else.
  std::string Help;
};

// A flag mask: a decimal number from -2147483648 to 4294967295 or 0x and up
// to eight hex digits; values above 2147483647 stand for their 32-bit
// pattern (0x80000000 is bit 31). CommandError otherwise.
int32_t ParseMask(std::string_view text, std::string_view option);

// Reads the arguments (argv[0] is the program's name). Every argument is
// checked here, before anything is touched. CommandError for a usage error.
CommandLine ParseCommandLine(int argc, const char* const* argv);

// Runs the query and prints its result.
void RunList(Calendar& calendar, const ListCommand& command, std::ostream& out);

// Whether `dump` reads a file as the task file: when it is named tasks.xtf
// (in any letter case), or when its bytes read as a whole task file with
// nothing after it: a version, whole task records and the four-byte end
// mark as the last four bytes. Anything else is a month file.
bool IsTaskFile(const std::string& path, std::string_view bytes);

// Decodes the month file or task file and prints it. CommandError when the
// file cannot be read or is malformed; nothing is printed then.
void RunDump(const DumpCommand& command, std::ostream& out);

// The largest file `dump` reads.
inline constexpr std::uintmax_t kMaxDumpBytes = 64u << 20;

// The whole program: parses, starts the calendar when a command needs it,
// runs the command and returns the exit status. Never throws.
int Run(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace orncal::cli
