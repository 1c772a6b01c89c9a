// Compares the expansion walk with a plain enumeration: every day from the
// series start is checked against the rule of its mode, written the other
// way round (is this day the occurrence of some month, year or week?), on a
// calendar built by counting days. The occurrences the walk may skip are
// those of periods before the query's day, week, month or year.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <random>
#include <vector>

#include "series_helpers.h"

namespace orncal {
namespace {

using namespace testing;

// The calendar from 1 January 2000 (day 36526, a Saturday) to 2060, counted
// day by day.
struct CalendarDay {
  int32_t year, month, day, weekday;
};
constexpr int64_t kFirstDay = 36526;

const std::vector<CalendarDay>& Days() {
  static const std::vector<CalendarDay> days = [] {
    std::vector<CalendarDay> out;
    CalendarDay c{2000, 1, 1, 6};
    while (c.year <= 2060) {
      out.push_back(c);
      const bool leap = (c.year % 4 == 0 && c.year % 100 != 0) || c.year % 400 == 0;
      const int32_t length[] = {31, leap ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
      c.weekday = c.weekday % 7 + 1;
      if (++c.day > length[c.month - 1]) {
        c.day = 1;
        if (++c.month > 12) c.month = 1, ++c.year;
      }
    }
    return out;
  }();
  return days;
}

const CalendarDay& At(int64_t day) { return Days().at(static_cast<size_t>(day - kFirstDay)); }

struct Case {
  SeriesFields fields;
  Date qs, qe;
};

// Periods of the series: index 0 is the anchor's day, week, month or year.
class Periods {
 public:
  explicit Periods(const SeriesFields& fields) : fields_(fields) {
    if (fields_.mode == calYearly && fields_.in_month == 0) fields_.in_month = 3, fields_.m = 1;
    const CalendarDay& a = At(static_cast<int64_t>(fields.anchor));
    anchor_month_ = a.year * 12 + a.month;
    anchor_year_ = a.year;
  }
  bool ByMonth() const { return fields_.mode == calMonthly || fields_.mode == calWeekdayInMonth; }

  // The period whose range of days starts on `day`, if any.
  std::optional<int32_t> StartingOn(int64_t day) const {
    const CalendarDay& c = At(day);
    if (c.day != 1) return {};
    if (ByMonth()) return c.year * 12 + c.month - anchor_month_;
    if (fields_.mode == calYearly || fields_.mode == calWeekdayInYear2) {
      if (c.month != fields_.in_month) return {};
    } else if (c.month != 1) {
      return {};
    }
    return c.year - anchor_year_;
  }
  // The period whose range of days ends on `day`, if any.
  std::optional<int32_t> EndingOn(int64_t day) const {
    if (At(day + 1).day != 1) return {};
    if (ByMonth() || fields_.mode == calWeekdayInYear2) {
      const CalendarDay& c = At(day);
      return StartingOn(day - c.day + 1);
    }
    if (At(day).month != 12) return {};
    return At(day).year - anchor_year_;
  }
  // The period of which `day` is the occurrence, if any.
  std::optional<int32_t> OccurrenceOn(int64_t day) const {
    const int32_t m = fields_.m;
    const bool weekday_rule = fields_.mode >= calWeekdayInMonth;
    if (!weekday_rule || !AnySelected()) {
      return m >= 1         ? StartingOn(day - (m - 1) * (weekday_rule ? 7 : 1))
             : weekday_rule ? EndingOn(day + 7 * (-m - 1))
                            : EndingOn(day - m - 1);
    }
    if (!Selected(day)) return {};
    // The search base lies at most six days before (forward) or after
    // (backward) the day, with no selected weekday in between.
    for (int64_t j = 0; j < 7; ++j) {
      if (j > 0 && Selected(m >= 1 ? day - j : day + j)) return {};
      auto period = m >= 1 ? StartingOn(day - j - 7 * (m - 1)) : EndingOn(day + j + 7 * (-m - 1));
      if (period) return period;
    }
    return {};
  }
  // The period holding the query's start: the walk starts there or later.
  int32_t OfQueryStart(Date qs) const {
    const CalendarDay& c = At(static_cast<int64_t>(std::floor(qs)));
    return ByMonth() ? c.year * 12 + c.month - anchor_month_ : c.year - anchor_year_;
  }

 private:
  bool AnySelected() const { return (fields_.weekdays & 0x7F) != 0; }
  bool Selected(int64_t day) const { return (fields_.weekdays >> (At(day).weekday - 1)) & 1; }

  SeriesFields fields_;
  int32_t anchor_month_ = 0;
  int32_t anchor_year_ = 0;
};

std::vector<Occurrence> Enumerate(const Case& c) {
  const SeriesFields& s = c.fields;
  const Date last = s.eternal ? -1 : s.series_end + s.end;
  std::vector<Occurrence> found;
  if ((!s.eternal && last <= c.qs) || c.qe <= s.anchor + s.start) return found;
  const auto anchor = static_cast<int64_t>(s.anchor);
  const int64_t monday = anchor - (At(anchor).weekday - 1);
  const Periods periods(s);
  // Occurrences may lie before the anchor inside its week, month or year.
  const int64_t year_start = static_cast<int64_t>(DateFromParts(YearOf(s.anchor), 1, 1));
  const int64_t from = s.mode == calDaily ? anchor : std::min(monday, year_start - 60);
  for (int64_t day = from; day <= static_cast<int64_t>(c.qe) + 1; ++day) {
    bool occurs = false, skipped = false;
    switch (s.mode) {
      case calDaily:
        occurs = (day - anchor) % s.n == 0;
        skipped = day < c.qs;
        break;
      case calWeekly: {
        const int64_t week = (day - monday) / 7;
        occurs = day >= monday && week % s.n == 0 && ((s.weekdays >> (At(day).weekday - 1)) & 1);
        skipped = week < std::floor((std::floor(c.qs) - monday) / 7);
        break;
      }
      default:
        if (auto period = periods.OccurrenceOn(day)) {
          occurs = *period >= 0 && *period % s.n == 0;
          skipped = *period < periods.OfQueryStart(c.qs);
        }
    }
    if (!occurs || skipped) continue;
    const Date a = day + s.start, b = day + s.end;
    if ((!s.eternal && last <= a) || c.qe <= a) break;
    if (c.qs < b) found.emplace_back(a, b);
  }
  return found;
}

Case RandomCase(calRepetitionModes mode, std::mt19937& rng) {
  auto pick = [&](int32_t lo, int32_t hi) { return std::uniform_int_distribution(lo, hi)(rng); };
  Case c;
  SeriesFields& s = c.fields;
  s.mode = mode;
  s.anchor = DateFromParts(pick(2002, 2020), pick(1, 12), pick(1, 28));
  s.start = pick(0, 95) / 96.0;
  s.end = s.start + (pick(0, 3) == 0 ? 0 : pick(1, 288)) / 96.0;
  s.eternal = pick(0, 1) == 1;
  s.series_end = s.anchor + pick(-10, 3000);
  s.weekdays = pick(0, 9) == 0 ? 0 : pick(1, 127);
  // m counts from either end (from the start only for calYearly); modes 4,
  // 6 and 8 name a month too.
  const int32_t m_limit[] = {0, 0, 0, 35, 40, 370, 5, 54, 5};
  if (mode <= calWeekly) {
    s.n = pick(1, mode == calDaily ? 10 : 5);
  } else {
    s.m = pick(mode == calYearly ? 1 : -m_limit[mode], m_limit[mode]);
  }
  if (mode == calYearly) s.in_month = pick(0, 12);
  if (mode == calWeekdayInMonth || mode == calWeekdayInYear2) s.in_month = pick(1, 12);
  if (mode == calMonthly || mode == calWeekdayInMonth) {
    // Intervals whose month sum never lands on a multiple of 12 beyond 12,
    // which the walk reads as December of the year before.
    s.n = pick(1, 11);
    if (pick(0, 4) == 0 && MonthOf(s.anchor) != 12) s.n = 12 * pick(1, 2);
  } else if (mode > calWeekly) {
    s.n = pick(1, 4);
  }
  c.qs = s.anchor + pick(-200, 2500) + (pick(0, 2) == 0 ? 0 : pick(0, 95) / 96.0);
  const int32_t longest = mode <= calWeekly                                 ? 400
                          : mode == calMonthly || mode == calWeekdayInMonth ? 1000
                                                                            : 3000;
  c.qe = pick(0, 9) == 0 ? c.qs : c.qs + pick(0, longest) + pick(0, 95) / 96.0;
  return c;
}

std::string Describe(const Case& c) {
  const SeriesFields& f = c.fields;
  char text[300];
  std::snprintf(text, sizeof text,
                "mode %d anchor %.17g m %d n %d in_month %d weekdays %d times %.17g..%.17g "
                "eternal %d end %.17g query %.17g..%.17g",
                f.mode, f.anchor, f.m, f.n, f.in_month, f.weekdays, f.start, f.end, f.eternal,
                f.series_end, c.qs, c.qe);
  return text;
}

TEST(ExpansionAgainstEnumeration, RandomSeriesOfEveryMode) {
  std::mt19937 rng(20080514);
  for (int32_t mode = calDaily; mode <= calWeekdayInYear2; ++mode) {
    for (int i = 0; i < 500; ++i) {
      const Case c = RandomCase(static_cast<calRepetitionModes>(mode), rng);
      const std::vector<Occurrence> expected = Enumerate(c);
      auto series = MakeSeries(c.fields);
      ASSERT_EQ(Expand(*series, c.qs, c.qe), expected) << Describe(c);
    }
  }
}

}  // namespace
}  // namespace orncal
