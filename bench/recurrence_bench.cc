// Occurrences per second of the recurrence expansion, beside libical's
// recurrence iterator on the equivalent rule, and the cost of a month view
// (one month, every occurrence handed back) of old and new series.
#include <benchmark/benchmark.h>
#include <libical/ical.h>

#include <cstdint>

#include "orncalendar/date_time_serial.h"
#include "orncalendar/ole_date.h"

namespace orncal {
namespace {

constexpr double kHour = 1.0 / 24;

struct Rule {
  calRepetitionModes mode;
  int32_t m;
  int32_t n;
  int32_t in_month;
  int32_t weekdays;
};

DateTimeSerialPtr Series(const Rule& rule, Date anchor) {
  auto series = DateTimeSerial::New();
  series->SetRepetitionMode(rule.mode);
  series->Setm(rule.m);
  series->Setn(rule.n);
  series->SetInMonth(rule.in_month);
  series->SetWeekdays(rule.weekdays);
  series->SetSeriesStartDateTime(anchor);
  series->SetStartDateTime(9 * kHour);
  series->SetEndDateTime(10 * kHour);
  series->SetEternal(true);
  return series;
}

// Expands the series over the query, every occurrence handed back.
void Expand(benchmark::State& state, const DateTimeSerialPtr& series, Date from, Date to) {
  auto query = DateTimeNormal::New(from, to);
  int64_t count = 0;
  for (auto _ : state) {
    PeriodsPtr periods;
    series->OverLapsWith(*query, {.Out_Periods = &periods, .ReturnPeriods = true});
    count = periods->Count();
    benchmark::DoNotOptimize(periods);
  }
  state.SetItemsProcessed(state.iterations() * count);
  state.counters["occurrences"] = static_cast<double>(count);
}

// The same rule through libical, from a first occurrence to UNTIL.
void ExpandLibical(benchmark::State& state, const char* rrule, const char* dtstart) {
  const icalrecurrencetype recurrence = icalrecurrencetype_from_string(rrule);
  const icaltimetype start = icaltime_from_string(dtstart);
  int64_t count = 0;
  for (auto _ : state) {
    icalrecur_iterator* it = icalrecur_iterator_new(recurrence, start);
    count = 0;
    for (icaltimetype t = icalrecur_iterator_next(it); !icaltime_is_null_time(t);
         t = icalrecur_iterator_next(it)) {
      benchmark::DoNotOptimize(t);
      ++count;
    }
    icalrecur_iterator_free(it);
  }
  state.SetItemsProcessed(state.iterations() * count);
  state.counters["occurrences"] = static_cast<double>(count);
}

// --- Occurrences per second ---

void Daily10Years(benchmark::State& state) {
  Expand(state, Series({calDaily, 1, 1, 0, 0}, DateFromParts(2008, 1, 1)),
         DateFromParts(2008, 1, 1), DateFromParts(2018, 1, 1));
}
void Daily10YearsLibical(benchmark::State& state) {
  ExpandLibical(state, "FREQ=DAILY;UNTIL=20171231T235959", "20080101T090000");
}

void Fortnightly10Years(benchmark::State& state) {
  Expand(state, Series({calWeekly, 1, 2, 0, calMonday | calThursday}, DateFromParts(2008, 1, 7)),
         DateFromParts(2008, 1, 7), DateFromParts(2018, 1, 7));
}
void Fortnightly10YearsLibical(benchmark::State& state) {
  ExpandLibical(state, "FREQ=WEEKLY;INTERVAL=2;BYDAY=MO,TH;WKST=MO;UNTIL=20180106T235959",
                "20080107T090000");
}

void LastDayOfMonth100Years(benchmark::State& state) {
  Expand(state, Series({calMonthly, -1, 1, 0, 0}, DateFromParts(2000, 1, 1)),
         DateFromParts(2000, 1, 1), DateFromParts(2100, 1, 1));
}
void LastDayOfMonth100YearsLibical(benchmark::State& state) {
  ExpandLibical(state, "FREQ=MONTHLY;BYMONTHDAY=-1;UNTIL=20991231T235959", "20000131T090000");
}

void LastFridayOfMonth100Years(benchmark::State& state) {
  Expand(state, Series({calWeekdayInMonth, -1, 1, 0, calFriday}, DateFromParts(2000, 1, 1)),
         DateFromParts(2000, 1, 1), DateFromParts(2100, 1, 1));
}
void LastFridayOfMonth100YearsLibical(benchmark::State& state) {
  ExpandLibical(state, "FREQ=MONTHLY;BYDAY=-1FR;UNTIL=20991231T235959", "20000128T090000");
}

void Day60OfYear100Years(benchmark::State& state) {
  Expand(state, Series({calYearly2, 60, 1, 0, 0}, DateFromParts(2000, 1, 1)),
         DateFromParts(2000, 1, 1), DateFromParts(2100, 1, 1));
}
void Day60OfYear100YearsLibical(benchmark::State& state) {
  ExpandLibical(state, "FREQ=YEARLY;BYYEARDAY=60;UNTIL=20991231T235959", "20000229T090000");
}

BENCHMARK(Daily10Years);
BENCHMARK(Daily10YearsLibical);
BENCHMARK(Fortnightly10Years);
BENCHMARK(Fortnightly10YearsLibical);
BENCHMARK(LastDayOfMonth100Years);
BENCHMARK(LastDayOfMonth100YearsLibical);
BENCHMARK(LastFridayOfMonth100Years);
BENCHMARK(LastFridayOfMonth100YearsLibical);
BENCHMARK(Day60OfYear100Years);
BENCHMARK(Day60OfYear100YearsLibical);

// --- Month view: May 2058, of a series begun then and one begun 50 years before ---

constexpr Rule kDaily{calDaily, 1, 1, 0, 0};
constexpr Rule kWeekly{calWeekly, 1, 1, 0, calMonday | calWednesday | calFriday};
constexpr Rule kYearly{calYearly, 14, 1, 5, 0};
constexpr Rule kMonthly{calMonthly, 14, 1, 0, 0};

void MonthView(benchmark::State& state, Rule rule, int32_t years_before) {
  Expand(state, Series(rule, DateFromParts(2058 - years_before, 5, 1)), DateFromParts(2058, 5, 1),
         DateFromParts(2058, 6, 1));
}

BENCHMARK_CAPTURE(MonthView, DailyNew, kDaily, 0);
BENCHMARK_CAPTURE(MonthView, Daily50YearsOld, kDaily, 50);
BENCHMARK_CAPTURE(MonthView, WeeklyNew, kWeekly, 0);
BENCHMARK_CAPTURE(MonthView, Weekly50YearsOld, kWeekly, 50);
BENCHMARK_CAPTURE(MonthView, YearlyNew, kYearly, 0);
BENCHMARK_CAPTURE(MonthView, Yearly50YearsOld, kYearly, 50);
BENCHMARK_CAPTURE(MonthView, MonthlyNew, kMonthly, 0);
BENCHMARK_CAPTURE(MonthView, Monthly50YearsOld, kMonthly, 50);

}  // namespace
}  // namespace orncal
