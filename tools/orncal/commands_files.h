// The files themselves: dump (one month file or the task file, without a
// calendar), check (every file of the data folder, and repairs from the
// backups) and demo (a small calendar for a first look).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace CLI {
class App;
}

namespace orncal::cli {

class CommandTable;
class Session;

// `dump`: one month file or task file, read without a calendar.
struct DumpCommand {
  std::string Path;
  bool Json = false;
};

struct CheckCommand {
  bool Repair = false;
  bool Json = false;
};

struct DemoCommand {};

void RegisterFileCommands(CLI::App& app, CommandTable& table);
void Execute(Session& session, const DumpCommand& command);
void Execute(Session& session, const CheckCommand& command);
void Execute(Session& session, const DemoCommand& command);

// Whether `dump` reads a file as the task file: when it is named tasks.xtf
// (in any letter case), or when its bytes read as a whole task file with
// nothing after it: a version, whole task records and the four-byte end
// mark as the last four bytes. Anything else is a month file.
bool IsTaskFile(const std::string& path, std::string_view bytes);

// The largest file `dump` and `check` read.
inline constexpr std::uintmax_t kMaxDumpBytes = 64u << 20;

}  // namespace orncal::cli
