// Writes the benchmarks' calendar below an application-data folder, for
// the Python timing script.
//
//   calendar_folder APP_DATA_FOLDER
#include "calendar_folder.h"

#include <iostream>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: calendar_folder APP_DATA_FOLDER\n";
    return 2;
  }
  orncal::DataFolder folder{std::filesystem::path(argv[1])};
  return 0;
}
