#include "datetime/locale_forms.h"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "datetime/helpers.h"
#include "orncalendar/ole_date.h"

namespace orncal {
namespace {

// Reads fields of a date text from left to right.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  bool AtEnd() const { return pos_ == text_.size(); }

  // A number of `min` to `max` decimal digits.
  bool Number(size_t min, size_t max, int* value) {
    size_t digits = 0;
    int v = 0;
    while (pos_ < text_.size() && digits < max && text_[pos_] >= '0' && text_[pos_] <= '9') {
      v = v * 10 + (text_[pos_++] - '0');
      ++digits;
    }
    *value = v;
    return digits >= min;
  }

  bool Literal(std::string_view what) {
    if (text_.substr(pos_, what.size()) != what) return false;
    pos_ += what.size();
    return true;
  }

  // Peeks whether the next character is `c`.
  bool Next(char c) const { return pos_ < text_.size() && text_[pos_] == c; }

 private:
  std::string_view text_;
  size_t pos_ = 0;
};

struct Fields {
  int year = 1899, month = 12, day = 30;
  int hour = 0, minute = 0, second = 0;
};

// h:mm or h:mm:ss.
bool ReadTime(Scanner& in, Fields* f) {
  if (!in.Number(1, 2, &f->hour) || !in.Literal(":") || !in.Number(2, 2, &f->minute)) {
    return false;
  }
  if (in.Literal(":") && !in.Number(2, 2, &f->second)) return false;
  return true;
}

bool ReadGerman(std::string_view text, Fields* f) {
  Scanner in(text);
  if (!in.Number(1, 2, &f->day) || !in.Literal(".") || !in.Number(1, 2, &f->month) ||
      !in.Literal(".") || !in.Number(4, 4, &f->year)) {
    return false;
  }
  if (in.Literal(" ") && !ReadTime(in, f)) return false;
  return in.AtEnd();
}

bool ReadIso(std::string_view text, Fields* f) {
  Scanner in(text);
  if (!in.Number(4, 4, &f->year) || !in.Literal("-") || !in.Number(2, 2, &f->month) ||
      !in.Literal("-") || !in.Number(2, 2, &f->day)) {
    return false;
  }
  if ((in.Literal("T") || in.Literal(" ")) && !ReadTime(in, f)) return false;
  return in.AtEnd();
}

bool ReadC(std::string_view text, Fields* f) {
  Scanner in(text);
  if (!in.Number(1, 2, &f->month) || !in.Literal("/") || !in.Number(1, 2, &f->day) ||
      !in.Literal("/") || !in.Number(4, 4, &f->year)) {
    return false;
  }
  if (in.Literal(" ")) {
    if (!ReadTime(in, f)) return false;
    const bool am = in.Literal(" AM"), pm = !am && in.Literal(" PM");
    if (am || pm) {
      if (f->hour < 1 || f->hour > 12) return false;
      f->hour = f->hour % 12 + (pm ? 12 : 0);
    }
  }
  return in.AtEnd();
}

bool ReadTimeOnly(std::string_view text, Fields* f) {
  Scanner in(text);
  return ReadTime(in, f) && in.AtEnd();
}

bool IsLeap(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int DaysIn(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29 : kDays[month - 1];
}

}  // namespace

std::string FormatLocaleDate(Date date) {
  const DateParts p = SplitDate(date);
  char text[32];
  if (p.Hour == 0 && p.Minute == 0 && p.Second == 0) {
    std::snprintf(text, sizeof text, "%02d.%02d.%04d", p.Day, p.Month, p.Year);
  } else {
    std::snprintf(text, sizeof text, "%02d.%02d.%04d %02d:%02d:%02d", p.Day, p.Month, p.Year,
                  p.Hour, p.Minute, p.Second);
  }
  return text;
}

std::optional<Date> ParseLocaleDate(std::string_view text) {
  text = TrimSpaces(text);
  Fields f;
  bool read = false;
  for (auto form : {ReadGerman, ReadIso, ReadC, ReadTimeOnly}) {
    f = Fields{};
    if ((read = form(text, &f))) break;
  }
  if (!read) return std::nullopt;
  if (f.year < 100 || f.year > 9999 || f.month < 1 || f.month > 12 || f.day < 1 ||
      f.day > DaysIn(f.year, f.month) || f.hour > 23 || f.minute > 59 || f.second > 59) {
    return std::nullopt;
  }
  const Date day = DateFromParts(f.year, f.month, f.day);
  const Date time = TimeFromParts(f.hour, f.minute, f.second);
  return day >= 0 ? day + time : day - time;
}

std::string FormatLocaleNumber(double value) {
  if (!std::isfinite(value)) return "0";
  // Shortest round trip: what is read back is the very same double, so a
  // moment written and read again still equals the moment it was taken
  // from (an appointment's start, say), and rewriting a file read back
  // changes nothing. Fifteen significant digits would move a moment such
  // as 10:00 (39582.416666666664) by microseconds on every round.
  char buffer[400];
  const auto result =
      std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed);
  std::string text(buffer, result.ptr);
  for (char& c : text)
    if (c == '.') c = ',';
  return text;
}

std::optional<double> ParseLocaleNumber(std::string_view text) {
  text = TrimSpaces(text);
  // A sign of its own: from_chars takes a minus but no plus.
  if (!text.empty() && text[0] == '+') {
    text.remove_prefix(1);
    if (!text.empty() && text[0] == '-') return std::nullopt;
  }
  std::string c_form(text);
  int separators = 0;
  for (char& ch : c_form) {
    if (ch == ',' || ch == '.') {
      ch = '.';
      ++separators;
    }
  }
  if (c_form.empty() || separators > 1) return std::nullopt;
  double value = 0;
  const char* end = c_form.data() + c_form.size();
  const auto result = std::from_chars(c_form.data(), end, value);
  if (result.ec != std::errc() || result.ptr != end || !std::isfinite(value)) return std::nullopt;
  return value;
}

}  // namespace orncal
