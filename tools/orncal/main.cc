// orncal: the calendar from the command line. See commands.h for the
// commands and README.md for their output.
#include <iostream>

#include "commands.h"

int main(int argc, char** argv) { return orncal::cli::Run(argc, argv, std::cout, std::cerr); }
