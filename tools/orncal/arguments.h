// The values orncal reads from its command line besides dates: flag masks,
// numbers, appointment references, colours and weekday lists. Each parser
// throws CommandError with a message naming the option and the text.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace orncal::cli {

// A fault of the command line or of the operation; its text is the one line
// orncal prints.
class CommandError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A flag mask: a decimal number from -2147483648 to 4294967295 or 0x and up
// to eight hex digits; values above 2147483647 stand for their 32-bit
// pattern (0x80000000 is bit 31).
int32_t ParseMask(std::string_view text, std::string_view option);

// A decimal whole number from `min` to `max`.
int32_t ParseNumber(std::string_view text, std::string_view option, int32_t min, int32_t max);

// An appointment named by the month file that stores it and its number
// there, written FILE/ID: "200805/3".
struct AppointmentRef {
  int32_t File = 0;
  int32_t ID = 0;
};
// FILE is a month as YYYYMM (year 100 to 9999, month 1 to 12), ID a number
// from 1.
AppointmentRef ParseAppointmentRef(std::string_view text);
std::string FormatAppointmentRef(int32_t file, int32_t id);

// A colour: "#RRGGBB" (or without "#"), or "none". The result is the
// automation colour the categories keep, 0x00BBGGRR, or -1 for none.
int32_t ParseColor(std::string_view text, std::string_view option);
// "#RRGGBB" for a colour from 0 to 0xFFFFFF, else "" (no colour).
std::string FormatColor(int32_t color);

// A comma-separated list of weekdays ("mon,wed", "monday,friday", any
// letter case) as calWeekdays bits.
int32_t ParseWeekdays(std::string_view text, std::string_view option);

}  // namespace orncal::cli
