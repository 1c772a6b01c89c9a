// Categories and their colours: category add, list, color and remove.
#pragma once

#include <cstdint>
#include <string>

namespace CLI {
class App;
}

namespace orncal::cli {

class CommandTable;
class Session;

struct CategoryAddCommand {
  std::string Name;
  int32_t Color = -1;
};

struct CategoryListCommand {
  bool Json = false;
};

struct CategoryColorCommand {
  std::string Name;
  int32_t Color = -1;
};

struct CategoryRemoveCommand {
  std::string Name;
};

void RegisterCategoryCommands(CLI::App& app, CommandTable& table);
void Execute(Session& session, const CategoryAddCommand& command);
void Execute(Session& session, const CategoryListCommand& command);
void Execute(Session& session, const CategoryColorCommand& command);
void Execute(Session& session, const CategoryRemoveCommand& command);

}  // namespace orncal::cli
