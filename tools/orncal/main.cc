// orncal: the calendar in the terminal. See commands.h for the command line
// and README.md for the commands and their output.
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "commands.h"
#include "orncalendar/platform.h"

int main(int argc, char** argv) {
  const std::vector<std::string> args = orncal::CommandLineArguments(argc, argv);
  std::vector<const char*> utf8;
  for (const std::string& arg : args)
    utf8.push_back(arg.c_str());
  // Colours only on a terminal, and not when NO_COLOR asks for none.
  orncal::cli::Style style;
  const char* no_color = std::getenv("NO_COLOR");
  style.Enabled = isatty(STDOUT_FILENO) != 0 && (no_color == nullptr || *no_color == '\0');
  const char* color_term = std::getenv("COLORTERM");
  style.TrueColor = color_term != nullptr && (std::string_view(color_term) == "truecolor" ||
                                              std::string_view(color_term) == "24bit");
  return orncal::cli::Run(static_cast<int>(utf8.size()), utf8.data(), std::cout, std::cerr, style);
}
