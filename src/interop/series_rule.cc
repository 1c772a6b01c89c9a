#include "interop/series_rule.h"

#include <libical/ical.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <set>

#include "interop/ical_time.h"
#include "orncalendar/error.h"
#include "orncalendar/ole_date.h"

namespace orncal::interop {
namespace {

constexpr Date kSecond = 1.0 / 86400.0;
constexpr const char* kDayCodes[] = {"MO", "TU", "WE", "TH", "FR", "SA", "SU"};

int64_t Seconds(Date date) { return std::llround(date * 86400.0); }

// The fewest days a month of the year has (February 28).
int32_t ShortestLength(int32_t month) {
  static constexpr int32_t kLengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return kLengths[month - 1];
}

std::string DayList(int32_t weekdays) {
  std::string list;
  for (int32_t day = 0; day < 7; ++day) {
    if (!(weekdays & (1 << day))) continue;
    if (!list.empty()) list += ',';
    list += kDayCodes[day];
  }
  return list;
}

// BYDAY (and BYSETPOS) for "the m-th selected weekday" of a month or year:
// the first selected weekday on or after day 1 + 7 (m - 1) is the
// (k (m - 1) + 1)-th selected day of the range when k weekdays are
// selected, since the 7 (m - 1) days before it hold each weekday m - 1
// times; from the end likewise.
std::string WeekdayPosition(int32_t weekdays, int32_t m) {
  const int32_t k = std::popcount(static_cast<uint32_t>(weekdays));
  // One weekday with a one-digit ordinal reads best as "2FR"; some readers
  // take no more digits.
  if (k == 1 && m >= -9 && m <= 9) return "BYDAY=" + std::to_string(m) + DayList(weekdays);
  const int32_t position = m >= 1 ? k * (m - 1) + 1 : -(k * (-m - 1) + 1);
  return "BYDAY=" + DayList(weekdays) + ";BYSETPOS=" + std::to_string(position);
}

Date FromIcal(const icaltimetype& t) {
  Date date = DateFromParts(t.year, t.month, t.day);
  if (!t.is_date) date += TimeFromParts(t.hour, t.minute, t.second);
  return date;
}

// Walks the months of [from, to) from the month of the series' first date,
// each as its own query; `sink` returns false to stop.
template <class Sink>
void WalkMonths(DateTimeSerial& series, Date from, Date to, Sink sink) {
  from = std::max(from, kMinDate);
  to = std::min(to, kMaxDate + 1);
  const Date first = series.GetFirstDate();
  if (!(first >= kMinDate && first < kMaxDate + 1)) return;
  int32_t year = YearOf(first), month = MonthOf(first);
  if (from > DateFromParts(year, month, 1)) {
    year = YearOf(from);
    month = MonthOf(from);
  }
  const Date last = series.GetLastDate();
  for (Date start = DateFromParts(year, month, 1); start < to;) {
    if (!series.Eternal() && last <= start) return;
    const Date next =
        month == 12 && year == 9999 ? kMaxDate + 1 : DateFromParts(year, month + 1, 1);
    const DateTimeNormalPtr slice = DateTimeNormal::New(std::max(from, start), std::min(to, next));
    std::vector<Occurrence> found;
    try {
      series.ForEachOccurrence(*slice, [&](Date a, Date b) { found.push_back({a, b}); });
    } catch (const Error&) {
      // the calendar leaves the series out of this month
    }
    if (!sink(found)) return;
    start = next;
    if (++month == 13) {
      month = 1;
      ++year;
    }
  }
}

DateTimeSerialPtr CopyOf(const DateTimeSerial& series) {
  DateTimeSerialPtr copy = DateTimeSerial::New();
  copy->CopyFrom(series);
  return copy;
}

void SortUnique(std::vector<Occurrence>& list) {
  std::sort(list.begin(), list.end(), [](const Occurrence& a, const Occurrence& b) {
    return a.Start < b.Start || (a.Start == b.Start && a.End < b.End);
  });
  list.erase(std::unique(list.begin(), list.end()), list.end());
}

}  // namespace

std::string IcalDateTimeText(Date date) {
  const DateParts p = SplitDate(date);
  char text[32];
  std::snprintf(text, sizeof text, "%04d%02d%02dT%02d%02d%02d", p.Year, p.Month, p.Day, p.Hour,
                p.Minute, p.Second);
  return text;
}

std::string IcalDateText(Date date) {
  const DateParts p = SplitDate(DayPart(date));
  char text[16];
  std::snprintf(text, sizeof text, "%04d%02d%02d", p.Year, p.Month, p.Day);
  return text;
}

std::vector<Occurrence> CalendarOccurrences(const DateTimeSerial& series, Date from, Date to) {
  const DateTimeSerialPtr copy = CopyOf(series);
  std::vector<Occurrence> all;
  WalkMonths(*copy, from, to, [&](const std::vector<Occurrence>& found) {
    all.insert(all.end(), found.begin(), found.end());
    return true;
  });
  SortUnique(all);
  return all;
}

bool WalkedMonthsStepEvenly(int32_t month, int32_t n, std::vector<int32_t>* visited) {
  int64_t year = 2000, current = month;
  int64_t index = year * 12 + current - 1;
  std::set<int32_t> months{month};
  for (int step = 0; step < 24; ++step) {
    current += n;
    if (current >= 13) {
      year += (current - 1) / 12;
      current %= 12;
    }
    const int64_t next = year * 12 + current - 1;
    months.insert(static_cast<int32_t>(((next % 12) + 12) % 12) + 1);
    if (next == index) continue;  // the repeated December
    if (next - index != n) return false;
    index = next;
  }
  if (visited) visited->assign(months.begin(), months.end());
  return true;
}

std::optional<std::string> ExactRule(const DateTimeSerial& series) {
  const int32_t n = series.n();
  if (n < 1) return std::nullopt;
  const std::string every = ";INTERVAL=" + std::to_string(n);
  const int32_t weekdays = series.Weekdays() & 127;
  const int32_t m = series.m();
  const auto month_walk = [&](std::vector<int32_t>* visited) {
    return WalkedMonthsStepEvenly(MonthOf(series.SeriesStartDateTime()), n, visited);
  };
  switch (series.RepetitionMode()) {
    case calDaily:
      return "FREQ=DAILY" + every;
    case calWeekly:
      if (weekdays == 0) return std::nullopt;
      return "FREQ=WEEKLY" + every + ";BYDAY=" + DayList(weekdays) + ";WKST=MO";
    case calMonthly: {
      std::vector<int32_t> visited;
      if (!month_walk(&visited)) return std::nullopt;
      int32_t shortest = 31;
      for (int32_t month : visited)
        shortest = std::min(shortest, ShortestLength(month));
      // Day m, or counted from the end: the first of the next month plus m
      // days is the (-m)-th last day.
      if ((m >= 1 && m <= shortest) || (m <= -1 && m >= -shortest)) {
        return "FREQ=MONTHLY" + every + ";BYMONTHDAY=" + std::to_string(m);
      }
      return std::nullopt;
    }
    case calYearly: {
      int32_t in_month = series.InMonth(), day = m;
      // The calendar makes a rule without month 1 March at its first query.
      if (in_month == 0) in_month = 3, day = 1;
      if (in_month < 1 || in_month > 12 || day < 1 || day > ShortestLength(in_month)) {
        return std::nullopt;
      }
      return "FREQ=YEARLY" + every + ";BYMONTH=" + std::to_string(in_month) +
             ";BYMONTHDAY=" + std::to_string(day);
    }
    case calYearly2:
      if ((m >= 1 && m <= 365) || (m <= -1 && m >= -365)) {
        return "FREQ=YEARLY" + every + ";BYYEARDAY=" + std::to_string(m);
      }
      return std::nullopt;
    case calWeekdayInMonth:
      if (weekdays == 0 || m == 0 || m < -4 || m > 4 || !month_walk(nullptr)) return std::nullopt;
      return "FREQ=MONTHLY" + every + ";" + WeekdayPosition(weekdays, m);
    case calWeekdayInYear:
      if (weekdays == 0 || m == 0 || m < -52 || m > 52) return std::nullopt;
      return "FREQ=YEARLY" + every + ";" + WeekdayPosition(weekdays, m);
    case calWeekdayInYear2: {
      const int32_t in_month = series.InMonth();
      if (weekdays == 0 || m == 0 || m < -4 || m > 4 || in_month < 1 || in_month > 12) {
        return std::nullopt;
      }
      return "FREQ=YEARLY" + every + ";BYMONTH=" + std::to_string(in_month) + ";" +
             WeekdayPosition(weekdays, m);
    }
  }
  return std::nullopt;
}

std::vector<Date> ExpandRule(const std::string& rule, Date first, bool allDay, Date from, Date to,
                             size_t limit) {
  std::vector<Date> starts;
  const icalrecurrencetype recurrence = icalrecurrencetype_from_string(rule.c_str());
  if (recurrence.freq == ICAL_NO_RECURRENCE) return starts;
  icalrecur_iterator* it = icalrecur_iterator_new(recurrence, LocalIcalTime(first, allDay));
  if (!it) return starts;
  size_t seen = 0;
  for (icaltimetype t = icalrecur_iterator_next(it); !icaltime_is_null_time(t);
       t = icalrecur_iterator_next(it)) {
    const Date start = FromIcal(t);
    if (start >= to || ++seen > limit) break;
    if (start >= from) starts.push_back(start);
  }
  icalrecur_iterator_free(it);
  return starts;
}

WrittenSeries WriteSeries(const DateTimeSerial& series, Date from, Date to, bool allDay) {
  WrittenSeries written;
  written.Length = series.EndDateTime() - series.StartDateTime();
  written.Shown = CalendarOccurrences(series, from, to);
  const std::optional<std::string> rule = ExactRule(series);
  if (!rule) return written;

  // The first occurrence the calendar shows at all: within the first n
  // periods of the rule from the month of the series' first date.
  const DateTimeSerialPtr copy = CopyOf(series);
  const Date first_date = copy->GetFirstDate();
  const Date home = DateFromParts(YearOf(first_date), MonthOf(first_date), 1);
  const Date search_end = home + 366.0 * (static_cast<double>(std::min(series.n(), 400)) + 1) + 31;
  std::optional<Occurrence> first;
  WalkMonths(*copy, home, search_end, [&](std::vector<Occurrence>& found) {
    if (found.empty()) return true;
    SortUnique(found);
    first = found.front();
    return false;
  });
  if (!first) return written;

  std::string text = *rule;
  if (!series.Eternal()) {
    // The calendar shows an occurrence while its start lies before the
    // series' last moment.
    const Date last = copy->GetLastDate() - kSecond;
    if (last < first->Start) return written;
    text += ";UNTIL=" + (allDay ? IcalDateText(last) : IcalDateTimeText(last));
  }

  // The rule has to agree with the calendar over the period.
  const auto key = [allDay](Date d) { return Seconds(allDay ? DayPart(d) : d); };
  std::vector<int64_t> shown, ruled;
  for (const Occurrence& o : written.Shown)
    if (o.Start >= from && o.Start < to) shown.push_back(key(o.Start));
  for (Date d : ExpandRule(text, first->Start, allDay, from, to))
    ruled.push_back(key(d));
  shown.erase(std::unique(shown.begin(), shown.end()), shown.end());
  if (shown != ruled) return written;
  written.Rule = std::move(text);
  written.First = *first;
  return written;
}

namespace {

template <size_t N>
std::vector<int32_t> Entries(const short (&values)[N]) {
  std::vector<int32_t> list;
  for (size_t i = 0; i < N && values[i] != ICAL_RECURRENCE_ARRAY_MAX; ++i)
    list.push_back(values[i]);
  return list;
}

// libical numbers the weekdays from 1 = Sunday.
int32_t WeekdayBit(int32_t icalWeekday) { return 1 << ((icalWeekday + 5) % 7); }

}  // namespace

std::optional<DateTimeSerialPtr> SeriesFromRule(const std::string& rule, Date first, Date length,
                                                bool allDay, std::optional<Date> lastStart) {
  const icalrecurrencetype r = icalrecurrencetype_from_string(rule.c_str());
  if (r.freq == ICAL_NO_RECURRENCE || r.count != 0 || !icaltime_is_null_time(r.until)) {
    return std::nullopt;
  }
  if (!Entries(r.by_second).empty() || !Entries(r.by_minute).empty() ||
      !Entries(r.by_hour).empty() || !Entries(r.by_week_no).empty()) {
    return std::nullopt;
  }
  const std::vector<int32_t> days = Entries(r.by_day), month_days = Entries(r.by_month_day),
                             year_days = Entries(r.by_year_day), months = Entries(r.by_month),
                             positions = Entries(r.by_set_pos);
  int32_t weekdays = 0, ordinal = 0;
  for (int32_t value : days) {
    const int32_t position = icalrecurrencetype_day_position(static_cast<short>(value));
    if (position != 0) {
      if (days.size() != 1) return std::nullopt;
      ordinal = position;
    }
    weekdays |= WeekdayBit(icalrecurrencetype_day_day_of_week(static_cast<short>(value)));
  }
  // "The m-th selected weekday" from a position among the selected days.
  if (!positions.empty()) {
    const int32_t k = std::popcount(static_cast<uint32_t>(weekdays));
    const int32_t p = positions.size() == 1 ? positions.front() : 0;
    if (k == 0 || ordinal != 0 || p == 0) return std::nullopt;
    if (p > 0 && (p - 1) % k == 0) ordinal = (p - 1) / k + 1;
    if (p < 0 && (-p - 1) % k == 0) ordinal = -((-p - 1) / k + 1);
    if (ordinal == 0) return std::nullopt;
  }
  const int32_t n = r.interval > 0 ? r.interval : 1;
  const Date day = DayPart(first);
  const DateParts parts = SplitDate(day);

  DateTimeSerialPtr series = DateTimeSerial::New();
  series->Setn(n);
  const auto set = [&](calRepetitionModes mode, int32_t m, int32_t inMonth, int32_t bits) {
    series->SetRepetitionMode(mode);
    series->Setm(m);
    series->SetInMonth(inMonth);
    series->SetWeekdays(bits);
  };
  const bool plain_days = ordinal == 0 && positions.empty();
  switch (r.freq) {
    case ICAL_DAILY_RECURRENCE:
      if (!days.empty() || !month_days.empty() || !year_days.empty() || !months.empty()) {
        return std::nullopt;
      }
      set(calDaily, 0, 0, 0);
      break;
    case ICAL_WEEKLY_RECURRENCE:
      // Weeks are counted from Monday here.
      if (!plain_days || !month_days.empty() || !year_days.empty() || !months.empty() ||
          (n > 1 && r.week_start != ICAL_MONDAY_WEEKDAY && r.week_start != ICAL_NO_WEEKDAY)) {
        return std::nullopt;
      }
      set(calWeekly, 0, 0, weekdays != 0 ? weekdays : 1 << (WeekdayOf(day) - 1));
      break;
    case ICAL_MONTHLY_RECURRENCE:
      if (!year_days.empty() || !months.empty()) return std::nullopt;
      if (days.empty() && month_days.size() <= 1) {
        set(calMonthly, month_days.empty() ? parts.Day : month_days.front(), 0, 0);
      } else if (!days.empty() && month_days.empty() && ordinal != 0) {
        set(calWeekdayInMonth, ordinal, 0, weekdays);
      } else {
        return std::nullopt;
      }
      break;
    case ICAL_YEARLY_RECURRENCE:
      if (months.size() > 1) return std::nullopt;
      if (days.empty() && year_days.empty() && month_days.size() <= 1) {
        const int32_t m = month_days.empty() ? parts.Day : month_days.front();
        if (m < 1 || (months.empty() && !month_days.empty())) return std::nullopt;
        set(calYearly, m, months.empty() ? parts.Month : months.front(), 0);
      } else if (days.empty() && month_days.empty() && months.empty() && year_days.size() == 1) {
        set(calYearly2, year_days.front(), 0, 0);
      } else if (!days.empty() && month_days.empty() && year_days.empty() && ordinal != 0) {
        if (months.empty()) {
          set(calWeekdayInYear, ordinal, 0, weekdays);
        } else {
          set(calWeekdayInYear2, ordinal, months.front(), weekdays);
        }
      } else {
        return std::nullopt;
      }
      break;
    default:
      return std::nullopt;
  }
  const Date offset = allDay ? 0 : first - day;
  series->SetStartDateTime(offset);
  series->SetEndDateTime(offset + length);
  series->SetSeriesStartDateTime(day);
  series->SetEternal(!lastStart);
  series->SetSeriesEndDateTime(lastStart ? DayPart(*lastStart) : day);
  try {
    series->AdjustStartDate();
  } catch (const Error&) {
    return std::nullopt;
  }
  return series;
}

icaltimetype LocalIcalTime(Date date, bool allDay) {
  const DateParts p = SplitDate(allDay ? DayPart(date) : date);
  icaltimetype t = icaltime_null_time();
  t.year = p.Year;
  t.month = p.Month;
  t.day = p.Day;
  if (allDay) {
    t.is_date = 1;
  } else {
    t.hour = p.Hour;
    t.minute = p.Minute;
    t.second = p.Second;
  }
  return t;
}

}  // namespace orncal::interop
