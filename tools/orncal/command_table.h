// How the command families put their commands on the command line: each
// adds its subcommands with their options, and a maker that, once the line
// is parsed, checks the options and turns them into the Command to run.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "commands.h"

namespace orncal::cli {

class CommandTable {
 public:
  using Maker = std::function<Command()>;

  void Add(CLI::App* command, Maker make) { makers_.emplace_back(command, std::move(make)); }

  // The command given on the line, its options checked; nullopt when none
  // was given.
  std::optional<Command> Make() const {
    for (const auto& [command, make] : makers_)
      if (command->parsed()) return make();
    return std::nullopt;
  }

 private:
  std::vector<std::pair<CLI::App*, Maker>> makers_;
};

// Helpers for the makers: a date option read with the library's clock
// ("invalid date" messages prefixed with the option).
When WhenOption(const std::string& text, std::string_view option);
Date DayOption(const std::string& text, std::string_view option);

// The help text of the WHEN forms.
extern const char* const kWhenHelp;

// The switches and masks of the period query and the search, shared by
// list and find: added to `command`, read into `options` by the maker.
struct QueryArgs {
  bool NoSeparate = false, NoAllDay = false, OnlyAllDay = false;
  std::string Flags, NotFlags, OrFlags, NotAndFlags;
};
void AddQueryArgs(CLI::App* command, QueryArgs& args);
// Sets the four masks that were given.
void ReadMasks(const CLI::App* command, const QueryArgs& args, int32_t& flags, int32_t& notFlags,
               int32_t& orFlags, int32_t& notAndFlags);

}  // namespace orncal::cli
