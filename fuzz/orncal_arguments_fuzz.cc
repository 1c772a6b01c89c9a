// orncal's command-line values: any text as a WHEN, a day, a time range, a
// month, a FILE/ID reference, a flag mask, a number, a colour and a weekday
// list. Each either gives a value or refuses the text with a message; what
// is accepted is a date the calendar knows, and references and colours
// written out read back the same.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

#include "arguments.h"
#include "orncalendar/ole_date.h"
#include "when.h"

namespace {

using namespace orncal;
using namespace orncal::cli;

// Runs one parser; a refusal is an answer, anything else thrown is not.
template <class Parse>
void Try(Parse&& parse) {
  try {
    parse();
  } catch (const std::invalid_argument&) {
  } catch (const CommandError&) {
  }
}

void Known(Date date) {
  if (!(std::trunc(date) >= kMinDate && date < kMaxDate + 1)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const Date now = DateFromParts(2008, 5, 14) + TimeFromParts(10, 0, 0);
  Try([&] { Known(ParseWhen(text, now).Value); });
  Try([&] {
    const Date day = ParseDay(text, now);
    Known(day);
    if (day != std::trunc(day)) std::abort();
  });
  Try([&] {
    const TimeRange range = ParseTimeRange(text);
    if (!(range.Start >= 0 && range.End >= range.Start && range.End < 2)) std::abort();
  });
  Try([&] {
    const YearMonth month = ParseYearMonth(text);
    if (month.Month < 1 || month.Month > 12 || month.Year < 100 || month.Year > 9999) std::abort();
  });
  Try([&] {
    const AppointmentRef ref = ParseAppointmentRef(text);
    const AppointmentRef again = ParseAppointmentRef(FormatAppointmentRef(ref.File, ref.ID));
    if (again.File != ref.File || again.ID != ref.ID || ref.ID < 1) std::abort();
  });
  Try([&] { ParseMask(text, "--flags"); });
  Try([&] {
    const int32_t n = ParseNumber(text, "--count", -5, 1000);
    if (n < -5 || n > 1000) std::abort();
  });
  Try([&] {
    const int32_t color = ParseColor(text, "--color");
    if (color != -1 && ParseColor(FormatColor(color), "--color") != color) std::abort();
  });
  Try([&] {
    const int32_t days = ParseWeekdays(text, "--days");
    if (days & ~127) std::abort();
  });
  return 0;
}
