#include "when.h"

#include <charconv>
#include <cmath>
#include <stdexcept>

#include "orncalendar/ole_date.h"

namespace orncal::cli {
namespace {

[[noreturn]] void Invalid(std::string_view text, std::string_view why) {
  throw std::invalid_argument("invalid date '" + std::string(text) + "': " + std::string(why));
}

// A field of exactly `width` decimal digits at `pos`.
int Digits(std::string_view text, size_t pos, size_t width) {
  int value = 0;
  for (size_t i = pos; i < pos + width; ++i) {
    if (text[i] < '0' || text[i] > '9') Invalid(text, "expected YYYY-MM-DD[THH:MM[:SS]]");
    value = value * 10 + (text[i] - '0');
  }
  return value;
}

bool IsLeap(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int DaysIn(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29 : kDays[month - 1];
}

}  // namespace

Date ParseWhen(std::string_view text) {
  if (text.substr(0, 4) == "ole:") {
    std::string_view number = text.substr(4);
    double value = 0;
    auto [end, ec] = std::from_chars(number.data(), number.data() + number.size(), value);
    if (number.empty() || ec != std::errc() || end != number.data() + number.size() ||
        !std::isfinite(value)) {
      Invalid(text, "expected ole: followed by a number");
    }
    return value;
  }
  const size_t n = text.size();
  if ((n != 10 && n != 16 && n != 19) || text[4] != '-' || text[7] != '-' ||
      (n > 10 && (text[10] != 'T' || text[13] != ':')) || (n == 19 && text[16] != ':')) {
    Invalid(text, "expected YYYY-MM-DD[THH:MM[:SS]] or ole:NUMBER");
  }
  const int year = Digits(text, 0, 4);
  const int month = Digits(text, 5, 2);
  const int day = Digits(text, 8, 2);
  const int hour = n > 10 ? Digits(text, 11, 2) : 0;
  const int minute = n > 10 ? Digits(text, 14, 2) : 0;
  const int second = n == 19 ? Digits(text, 17, 2) : 0;
  if (year < 100) Invalid(text, "the year must lie between 0100 and 9999");
  if (month < 1 || month > 12) Invalid(text, "no such month");
  if (day < 1 || day > DaysIn(year, month)) Invalid(text, "no such day");
  if (hour > 23 || minute > 59 || second > 59) Invalid(text, "no such time of day");
  // Before 30 December 1899 the day number is negative and the time of day
  // counts away from zero, as OLE dates read.
  const Date date = DateFromParts(year, month, day);
  const double time = (hour * 3600 + minute * 60 + second) / 86400.0;
  return date >= 0 ? date + time : date - time;
}

}  // namespace orncal::cli
