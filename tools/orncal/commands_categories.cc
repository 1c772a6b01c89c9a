// category add, list, color and remove.
#include "commands_categories.h"

#include <memory>

#include "command_table.h"
#include "orncalendar/categories.h"
#include "session.h"
#include "text.h"

namespace orncal::cli {
namespace {

// categor.ini keeps one "colour=name" line per category and reads names
// trimmed, so a name is trimmed and must stay on its line.
std::string CategoryName(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  const std::string name =
      first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
  if (name.empty()) throw CommandError("NAME: a category needs a name");
  if (OneLine(name) != name)
    throw CommandError("NAME: a category name must not hold line breaks or tabs");
  return name;
}

Categories& RequireCategory(Session& s, const std::string& name) {
  Categories& categories = *s.Calendar().Categories();
  if (!categories.CategoryExists(name)) throw CommandError("no category '" + name + "'");
  return categories;
}

}  // namespace

void RegisterCategoryCommands(CLI::App& app, CommandTable& table) {
  CLI::App* group =
      app.add_subcommand("category", "Categories and their colours: add, list, color, remove");
  group->require_subcommand(1);
  group->footer(
      "COLOUR is #RRGGBB (red, green, blue in hex) or none. Names are the same in any letter "
      "case.");
  {
    CLI::App* add = group->add_subcommand("add", "A new category");
    struct Args {
      std::string name, color = "none";
    };
    auto a = std::make_shared<Args>();
    add->add_option("NAME", a->name, "The name")->required();
    add->add_option("--color", a->color, "Its colour (default none)")->type_name("COLOUR");
    table.Add(add, [a] {
      return CategoryAddCommand{CategoryName(a->name), ParseColor(a->color, "--color")};
    });
  }
  {
    CLI::App* list = group->add_subcommand("list", "The categories in the order they were added");
    auto json = std::make_shared<bool>(false);
    list->add_flag("--json", *json,
                   "Print {\"categories\": [{\"name\", \"color\", \"rgb\"}, ...]}: color as the "
                   "calendar keeps it (0x00BBGGRR as a number, -1 for none), rgb as #RRGGBB or "
                   "null");
    table.Add(list, [json] { return CategoryListCommand{*json}; });
  }
  {
    CLI::App* color = group->add_subcommand("color", "Give a category another colour");
    struct Args {
      std::string name, color;
    };
    auto a = std::make_shared<Args>();
    color->add_option("NAME", a->name, "The category")->required();
    color->add_option("COLOUR", a->color, "#RRGGBB or none")->required();
    table.Add(color, [a] {
      return CategoryColorCommand{CategoryName(a->name), ParseColor(a->color, "COLOUR")};
    });
  }
  {
    CLI::App* remove = group->add_subcommand(
        "remove", "Remove a category (its appointments keep the name, without colour)");
    auto name = std::make_shared<std::string>();
    remove->add_option("NAME", *name, "The category")->required();
    table.Add(remove, [name] { return CategoryRemoveCommand{CategoryName(*name)}; });
  }
}

void Execute(Session& s, const CategoryAddCommand& c) {
  Categories& categories = *s.Calendar().Categories();
  if (categories.CategoryExists(c.Name)) {
    throw CommandError("category '" + c.Name + "' exists already");
  }
  categories.Add(c.Name, {.Color = c.Color});
  s.SaveCategories();
  s.WarnUnstorable({{"name", c.Name}});
}

void Execute(Session& s, const CategoryListCommand& c) {
  Categories& categories = *s.Calendar().Categories();
  const std::vector<std::string> names = categories.Names();
  if (c.Json) {
    Json list = Json::array();
    for (const std::string& name : names) {
      const int32_t color = categories.Color(name);
      const std::string rgb = FormatColor(color);
      list.push_back(
          Json{{"name", name}, {"color", color}, {"rgb", rgb.empty() ? Json(nullptr) : Json(rgb)}});
    }
    s.out << ToJsonText(Json{{"categories", std::move(list)}});
    return;
  }
  if (names.empty()) {
    s.out << "no categories\n";
    return;
  }
  size_t width = 0;
  for (const std::string& name : names)
    width = std::max(width, Width(OneLine(name)));
  for (const std::string& name : names) {
    const int32_t color = categories.Color(name);
    const std::string rgb = FormatColor(color);
    const std::string shown = OneLine(name);
    s.out << s.style.Colored(shown, color) << std::string(width - Width(shown), ' ') << "  "
          << (rgb.empty() ? "none" : rgb) << '\n';
  }
}

void Execute(Session& s, const CategoryColorCommand& c) {
  RequireCategory(s, c.Name).SetColor(c.Name, c.Color);
  s.SaveCategories();
}

void Execute(Session& s, const CategoryRemoveCommand& c) {
  RequireCategory(s, c.Name).Remove(c.Name);
  s.SaveCategories();
}

}  // namespace orncal::cli
