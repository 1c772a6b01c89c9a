// orncal: the calendar from the command line. For now it starts the
// calendar and shows where its data lives and which months it holds.
#include <algorithm>
#include <cstdio>
#include <vector>

#include "orncalendar/orncalendar.h"

int main() {
  orncal::CalendarMain main;
  orncal::CalendarPtr calendar = main.Calendar();
  if (!calendar) {
    std::fprintf(stderr, "orncal: the calendar could not be started\n");
    return 1;
  }
  std::printf("Data folder: %s\n", calendar->Path().c_str());
  std::vector<int32_t> months(calendar->AllFiles()->begin(), calendar->AllFiles()->end());
  std::sort(months.begin(), months.end());
  std::printf("Month files: %zu\n", months.size());
  for (int32_t month : months)
    std::printf("  %04d-%02d\n", month / 100, month % 100);
  return 0;
}
