#include "arguments.h"

#include <charconv>
#include <cstdio>
#include <vector>

#include "orncalendar/enums.h"
#include "text.h"

namespace orncal::cli {
namespace {

std::string Quoted(std::string_view text) { return "'" + OneLine(text) + "'"; }

// A decimal number with an optional minus and nothing else.
bool ReadDecimal(std::string_view text, int64_t* value) {
  if (text.empty() || text.size() > 12) return false;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, *value);
  return result.ec == std::errc() && result.ptr == end;
}

}  // namespace

int32_t ParseMask(std::string_view text, std::string_view option) {
  const auto refuse = [&]() -> CommandError {
    return CommandError(std::string(option) + ": invalid mask " + Quoted(text) +
                        ": expected a 32-bit number (decimal, or 0x and hex digits)");
  };
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const std::string_view digits = hex ? text.substr(2) : text;
  int64_t value = 0;
  const char* end = digits.data() + digits.size();
  // from_chars takes a leading minus but no plus; a hex number takes neither.
  if (digits.empty() || (hex && digits.size() > 8) || (hex && digits[0] == '-')) throw refuse();
  const auto result = std::from_chars(digits.data(), end, value, hex ? 16 : 10);
  if (result.ec != std::errc() || result.ptr != end || value < INT32_MIN || value > UINT32_MAX) {
    throw refuse();
  }
  return static_cast<int32_t>(static_cast<uint32_t>(value));
}

int32_t ParseNumber(std::string_view text, std::string_view option, int32_t min, int32_t max) {
  int64_t value = 0;
  if (!ReadDecimal(text, &value) || value < min || value > max) {
    throw CommandError(std::string(option) + ": invalid number " + Quoted(text) +
                       ": expected a whole number from " + std::to_string(min) + " to " +
                       std::to_string(max));
  }
  return static_cast<int32_t>(value);
}

AppointmentRef ParseAppointmentRef(std::string_view text) {
  const size_t slash = text.find('/');
  int64_t file = 0, id = 0;
  const bool read = (slash == 5 || slash == 6) && ReadDecimal(text.substr(0, slash), &file) &&
                    ReadDecimal(text.substr(slash + 1), &id);
  if (!read || file / 100 < 100 || file % 100 < 1 || file % 100 > 12 || id < 1 || id > INT32_MAX) {
    throw CommandError("invalid appointment " + Quoted(text) +
                       ": expected FILE/ID, the month as YYYYMM and the number (200805/3)");
  }
  return {static_cast<int32_t>(file), static_cast<int32_t>(id)};
}

std::string FormatAppointmentRef(int32_t file, int32_t id) {
  return std::to_string(file) + "/" + std::to_string(id);
}

int32_t ParseColor(std::string_view text, std::string_view option) {
  if (LowerAscii(text) == "none") return -1;
  std::string_view hex = text.substr(!text.empty() && text[0] == '#' ? 1 : 0);
  uint32_t rgb = 0;
  const char* end = hex.data() + hex.size();
  const auto result = std::from_chars(hex.data(), end, rgb, 16);
  if (hex.size() != 6 || result.ec != std::errc() || result.ptr != end) {
    throw CommandError(std::string(option) + ": invalid colour " + Quoted(text) +
                       ": expected #RRGGBB (six hex digits) or none");
  }
  // Red is the low byte of the automation colour.
  return static_cast<int32_t>(((rgb & 0xFF) << 16) | (rgb & 0xFF00) | (rgb >> 16));
}

std::string FormatColor(int32_t color) {
  if (color < 0 || color > 0xFFFFFF) return "";
  char text[8];
  std::snprintf(text, sizeof text, "#%02X%02X%02X", color & 0xFF, (color >> 8) & 0xFF,
                (color >> 16) & 0xFF);
  return text;
}

int32_t ParseWeekdays(std::string_view text, std::string_view option) {
  static constexpr const char* kNames[] = {"monday", "tuesday",  "wednesday", "thursday",
                                           "friday", "saturday", "sunday"};
  int32_t bits = 0;
  size_t start = 0;
  while (start <= text.size()) {
    size_t comma = text.find(',', start);
    if (comma == std::string_view::npos) comma = text.size();
    const std::string word = LowerAscii(text.substr(start, comma - start));
    int found = -1;
    for (int day = 0; day < 7; ++day) {
      const std::string_view name = kNames[day];
      if (word == name || (word.size() == 3 && name.substr(0, 3) == word)) found = day;
    }
    if (found < 0) {
      throw CommandError(std::string(option) + ": invalid weekday " + Quoted(word) + " in " +
                         Quoted(text) + ": expected names like mon,tue,wed,thu,fri,sat,sun");
    }
    bits |= calMonday << found;
    start = comma + 1;
  }
  return bits;
}

}  // namespace orncal::cli
