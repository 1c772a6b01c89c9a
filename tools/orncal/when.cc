#include "when.h"

#include <charconv>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <string>

#include "orncalendar/ole_date.h"
#include "text.h"

namespace orncal::cli {
namespace {

constexpr std::string_view kForms =
    "expected YYYY-MM-DD, today, tomorrow, yesterday or a weekday name, each optionally "
    "followed by a time (T10:30 or ' 10:30'), or now, or ole:NUMBER";

[[noreturn]] void Invalid(std::string_view text, std::string_view why) {
  throw std::invalid_argument("invalid date '" + OneLine(text) + "': " + std::string(why));
}

// A field of `width` decimal digits at `pos`, or -1.
int Digits(std::string_view text, size_t pos, size_t width) {
  if (pos + width > text.size()) return -1;
  int value = 0;
  for (size_t i = pos; i < pos + width; ++i) {
    if (text[i] < '0' || text[i] > '9') return -1;
    value = value * 10 + (text[i] - '0');
  }
  return value;
}

bool IsLeap(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int DaysIn(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29 : kDays[month - 1];
}

// H:MM or H:MM:SS (the hour with one or two digits) as seconds since
// midnight, or -1 when the text has another form; `whole` is the text
// named in a message.
int SecondsOfDay(std::string_view text, std::string_view whole) {
  const size_t colon = text.find(':');
  if (colon != 1 && colon != 2) return -1;
  const size_t n = text.size() - colon;  // ":MM" or ":MM:SS"
  if ((n != 3 && n != 6) || (n == 6 && text[colon + 3] != ':')) return -1;
  const int hour = Digits(text, 0, colon);
  const int minute = Digits(text, colon + 1, 2);
  const int second = n == 6 ? Digits(text, colon + 4, 2) : 0;
  if (hour < 0 || minute < 0 || second < 0) return -1;
  if (hour > 23 || minute > 59 || second > 59) Invalid(whole, "no such time of day");
  return hour * 3600 + minute * 60 + second;
}

// The day a word names, counted from `today`; nullopt for no such word.
std::optional<Date> DayWord(std::string_view word, Date today) {
  const std::string lower = LowerAscii(word);
  if (lower == "today") return today;
  if (lower == "tomorrow") return today + 1;
  if (lower == "yesterday") return today - 1;
  static constexpr const char* kNames[] = {"monday", "tuesday",  "wednesday", "thursday",
                                           "friday", "saturday", "sunday"};
  for (int day = 1; day <= 7; ++day) {
    const std::string_view name = kNames[day - 1];
    if (lower == name || lower == name.substr(0, 3)) {
      return today + (day - WeekdayOf(today) + 7) % 7;
    }
  }
  return std::nullopt;
}

// The date when it lies within the days the calendar knows (a negative
// date's day is its whole part).
Date Known(Date date, std::string_view text) {
  if (!(std::trunc(date) >= kMinDate && date < kMaxDate + 1)) {
    Invalid(text, "outside the days the calendar knows (0100-01-01 to 9999-12-31)");
  }
  return date;
}

// YYYY-MM-DD as a day number.
Date IsoDay(std::string_view day, std::string_view whole) {
  const int year = Digits(day, 0, 4), month = Digits(day, 5, 2), date = Digits(day, 8, 2);
  if (day.size() != 10 || day[4] != '-' || day[7] != '-' || year < 0 || month < 0 || date < 0) {
    Invalid(whole, kForms);
  }
  if (year < 100) Invalid(whole, "the year must lie between 0100 and 9999");
  if (month < 1 || month > 12) Invalid(whole, "no such month");
  if (date < 1 || date > DaysIn(year, month)) Invalid(whole, "no such day");
  return DateFromParts(year, month, date);
}

}  // namespace

When ParseWhen(std::string_view text, Date now) {
  if (text.substr(0, 4) == "ole:") {
    std::string_view number = text.substr(4);
    double value = 0;
    auto [end, ec] = std::from_chars(number.data(), number.data() + number.size(), value);
    if (number.empty() || ec != std::errc() || end != number.data() + number.size() ||
        !std::isfinite(value)) {
      Invalid(text, "expected ole: followed by a number");
    }
    return {Known(value, text), value != std::trunc(value)};
  }
  if (LowerAscii(text) == "now") return {Known(now, text), true};
  // The day, then the time of day after a space or a "T" (which a digit
  // follows: "2008-05-14T10:30", "tomorrowT9:00").
  size_t split = text.find(' ');
  for (size_t i = 1; split == std::string_view::npos && i + 1 < text.size(); ++i) {
    if ((text[i] == 'T' || text[i] == 't') && text[i + 1] >= '0' && text[i + 1] <= '9') split = i;
  }
  const std::string_view day_text = text.substr(0, split);
  const Date today = DayPart(now);
  const std::optional<Date> word = DayWord(day_text, today);
  const Date day = word ? *word : IsoDay(day_text, text);
  if (split == std::string_view::npos) return {Known(day, text), false};
  const int seconds = SecondsOfDay(text.substr(split + 1), text);
  if (seconds < 0) Invalid(text, "expected a time of day as H:MM or H:MM:SS after the day");
  // Before 30 December 1899 the day number is negative and the time of day
  // counts away from zero, as OLE dates read.
  const double time = seconds / 86400.0;
  return {Known(day >= 0 ? day + time : day - time, text), true};
}

Date ParseDay(std::string_view text, Date now) {
  const When when = ParseWhen(text, now);
  if (when.HasTime) Invalid(text, "expected a day without a time of day");
  return when.Value;
}

TimeRange ParseTimeRange(std::string_view text) {
  const auto refuse = [&]() -> std::invalid_argument {
    return std::invalid_argument("invalid times '" + OneLine(text) +
                                 "': expected H:MM-H:MM (10:00-11:30) or one time H:MM");
  };
  const size_t dash = text.find('-');
  const std::string_view first = text.substr(0, dash);
  const std::string_view second = dash == std::string_view::npos ? first : text.substr(dash + 1);
  int start = -1, end = -1;
  try {
    start = SecondsOfDay(first, text);
    end = SecondsOfDay(second, text);
  } catch (const std::invalid_argument&) {
    throw refuse();
  }
  if (start < 0 || end < 0) throw refuse();
  const int length = end >= start ? end - start : end + 86400 - start;
  return {start / 86400.0, (start + length) / 86400.0};
}

YearMonth ParseYearMonth(std::string_view text) {
  const int year = Digits(text, 0, 4), month = Digits(text, 5, 2);
  if (text.size() != 7 || text[4] != '-' || year < 100 || month < 1 || month > 12) {
    throw std::invalid_argument("invalid month '" + OneLine(text) +
                                "': expected YYYY-MM with a year from 0100 to 9999");
  }
  return {year, month};
}

}  // namespace orncal::cli
