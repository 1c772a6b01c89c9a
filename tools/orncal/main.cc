// orncal: the calendar from the command line. See commands.h for the
// commands and README.md for their output.
#include <iostream>
#include <string>
#include <vector>

#include "commands.h"
#include "orncalendar/platform.h"

int main(int argc, char** argv) {
  const std::vector<std::string> args = orncal::CommandLineArguments(argc, argv);
  std::vector<const char*> utf8;
  for (const std::string& arg : args)
    utf8.push_back(arg.c_str());
  return orncal::cli::Run(static_cast<int>(utf8.size()), utf8.data(), std::cout, std::cerr);
}
