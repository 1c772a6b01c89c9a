#include "orncalendar/date_time_serial.h"

#include "datetime/helpers.h"
#include "datetime/recurrence_rules.h"
#include "orncalendar/error.h"
#include "orncalendar/ole_date.h"

namespace orncal {
namespace {

using recurrence::DayNumber;
using recurrence::Rule;

// A day number as a date; a day outside the date range fails as the date
// construction does (error 5).
Date CheckedDay(DayNumber day) {
  if (day < static_cast<DayNumber>(kMinDate) || day > static_cast<DayNumber>(kMaxDate)) {
    throw Error(ErrorNumber::kInvalidProcedureCall);
  }
  return static_cast<Date>(day);
}

Rule RuleOf(const DateTimeSerial& series) {
  return {.mode = series.RepetitionMode(),
          .m = series.m(),
          .n = series.n(),
          .in_month = series.InMonth(),
          .weekdays = series.Weekdays()};
}

// One expansion of a series over a query: the candidate step every walk
// shares, and what it has found so far.
class Walk {
 public:
  // With a sink every meeting occurrence goes to it; without one the walk
  // ends at the first.
  Walk(DateTimeSerial& series, const DateTimeNormal& query,
       const DateTimeSerial::OccurrenceSink* sink)
      : series_(series), qs_(query.StartDateTime()), qe_(query.EndDateTime()), sink_(sink) {}

  Date QueryStart() const { return qs_; }
  bool Found() const { return found_; }

  // The candidate step for the occurrence on `day`: the stop test, then,
  // when `may_meet`, the meeting test. False when the walk is over: the stop
  // test ended it, or an occurrence met and no periods are wanted.
  //
  // The walk also ends at a candidate past the last day dates can hold
  // (31 December 9999), instead of failing in the date construction, so an
  // eternal series queried up to the far future ends where dates end; a NaN
  // day ends it too. A candidate before the first day (1 January 100)
  // fails with error 5, as building that date does: only a broken anchor or
  // ordinal gets there.
  bool Candidate(Date day, bool may_meet = true) {
    if (!(day < kMaxDate + 1)) return false;
    if (day < kMinDate) throw Error(ErrorNumber::kInvalidProcedureCall);
    const Date a = day + series_.StartDateTime();
    if ((!series_.Eternal() && series_.GetLastDate() <= a) || qe_ <= a) return false;
    if (!may_meet) return true;
    const Date b = day + series_.EndDateTime();
    if (qs_ < b) {
      found_ = true;
      if (!sink_) return false;
      (*sink_)(a, b);
    }
    return true;
  }

  bool CandidateOn(DayNumber day) {
    // Far outside the date range the conversion to a date would lose the day.
    if (day > static_cast<DayNumber>(kMaxDate)) return false;
    return Candidate(static_cast<Date>(day));
  }

 private:
  DateTimeSerial& series_;
  const Date qs_;
  const Date qe_;
  const DateTimeSerial::OccurrenceSink* const sink_;
  bool found_ = false;
};

// In every walk an interval n <= 0 would step back or stand still for ever,
// so the walk ends after its first candidate (the first week, month or year
// considered) instead.

// Every n-th day from the anchor, starting at the first one not before the
// query's start.
void WalkDaily(Walk& walk, Date anchor, int32_t n) {
  Date day = anchor;
  if (!(walk.QueryStart() < anchor)) {
    if (n == 0) throw Error(ErrorNumber::kDivisionByZero);
    day = anchor + recurrence::Multiply32(n, RoundUp((walk.QueryStart() - anchor) / n));
  }
  while (walk.Candidate(day)) {
    if (n <= 0) return;
    day += n;
  }
}

// Every n-th week from the anchor's week, starting at the first such week
// not before the query's week, from its Monday. Every day gets the stop test;
// the selected weekdays also the meeting test.
void WalkWeekly(Walk& walk, Date anchor, int32_t n, int32_t weekdays) {
  Date day = anchor;
  if (!(walk.QueryStart() < anchor)) {
    const int32_t weeks = WeekBoundariesBetween(anchor, walk.QueryStart());
    if (n == 0) throw Error(ErrorNumber::kDivisionByZero);
    day = anchor + 7.0 * recurrence::Multiply32(n, RoundUp(static_cast<double>(weeks) / n));
  }
  if (!(day < kMaxDate + 1)) return;  // the week lies beyond the last date
  day = recurrence::WeekStart(day);
  for (;;) {
    for (int32_t weekday = 1; weekday <= 7; ++weekday) {
      if (!walk.Candidate(day, recurrence::IsWeekdaySelected(weekdays, weekday))) return;
      day += 1;
    }
    if (n <= 0) return;
    day += recurrence::Multiply32(7, n - 1);
  }
}

// Every n-th month from the anchor's month. Months before the query's month
// are passed over without a test. After the carry the month is taken modulo
// 12, so a sum that is a multiple of 12 beyond 12 gives month 0, December of
// the year before: with n = 12 a December anchor yields each December twice.
// The arithmetic is deliberate and kept.
void WalkMonthly(Walk& walk, const Rule& rule, Date anchor) {
  const int32_t query_year = YearOf(walk.QueryStart());
  const int32_t query_month = MonthOf(walk.QueryStart());
  int64_t year = YearOf(anchor);
  int64_t month = MonthOf(anchor);
  for (;;) {
    if (year > query_year || (year == query_year && month >= query_month)) {
      if (!walk.CandidateOn(recurrence::DayInMonth(rule, year, month))) return;
    }
    if (rule.n <= 0) return;
    month += rule.n;
    if (month >= 13) {
      year += (month - 1) / 12;
      month %= 12;
    }
  }
}

// Every n-th year from the anchor's year, starting at the first such year
// not before the query's year.
void WalkYearly(Walk& walk, const Rule& rule, Date anchor) {
  const int32_t anchor_year = YearOf(anchor);
  int64_t year = anchor_year;
  if (!(walk.QueryStart() < anchor)) {
    const int32_t years = YearOf(walk.QueryStart()) - anchor_year;
    if (rule.n == 0) throw Error(ErrorNumber::kDivisionByZero);
    const int32_t k = RoundUp(static_cast<double>(years) / rule.n);
    year = recurrence::Add32(anchor_year, recurrence::Multiply32(rule.n, k));
  }
  for (;;) {
    if (!walk.CandidateOn(recurrence::DayInYear(rule, year))) return;
    if (rule.n <= 0) return;
    year += rule.n;
  }
}

}  // namespace

DateTimeSerialPtr DateTimeSerial::New() { return std::make_shared<DateTimeSerial>(Key{}); }

DateTimeSerialPtr DateTimeSerial::Series() {
  return std::static_pointer_cast<DateTimeSerial>(shared_from_this());
}

void DateTimeSerial::CopyFrom(const DateTime& source) {
  const auto* serial = dynamic_cast<const DateTimeSerial*>(&source);
  if (!serial) throw Error(ErrorNumber::kInvalidProcedureCall);
  start_ = serial->start_;
  end_ = serial->end_;
  series_start_ = serial->series_start_;
  series_end_ = serial->series_end_;
  mode_ = serial->mode_;
  m_ = serial->m_;
  n_ = serial->n_;
  in_month_ = serial->in_month_;
  weekdays_ = serial->weekdays_;
  eternal_ = serial->eternal_;
}

bool DateTimeSerial::OverLapsWith(const DateTimeNormal& Period, const OverlapOptions& options) {
  if (!options.ReturnPeriods) return Expand(Period, nullptr);
  PeriodsPtr out = std::make_shared<Periods>();
  if (options.Out_Periods) *options.Out_Periods = out;
  const OccurrenceSink collect = [&out](Date start, Date end) {
    out->Add(DateTimeNormal::New(start, end));
  };
  return Expand(Period, &collect);
}

bool DateTimeSerial::ForEachOccurrence(const DateTimeNormal& Period, const OccurrenceSink& sink) {
  return Expand(Period, &sink);
}

bool DateTimeSerial::Expand(const DateTimeNormal& Period, const OccurrenceSink* sink) {
  const Date qs = Period.StartDateTime();
  const Date qe = Period.EndDateTime();
  if ((!eternal_ && GetLastDate() <= qs) || qe <= GetFirstDate()) return false;

  Walk walk(*this, Period, sink);
  switch (mode_) {
    case calDaily:
      WalkDaily(walk, series_start_, n_);
      break;
    case calWeekly:
      WalkWeekly(walk, series_start_, n_, weekdays_);
      break;
    case calMonthly:
    case calWeekdayInMonth:
      WalkMonthly(walk, RuleOf(*this), series_start_);
      break;
    case calYearly:
      // A yearly series without a month means 1 March; the default is
      // written into the series and saved with it.
      if (in_month_ == 0) {
        in_month_ = 3;
        m_ = 1;
      }
      WalkYearly(walk, RuleOf(*this), series_start_);
      break;
    case calYearly2:
    case calWeekdayInYear:
    case calWeekdayInYear2:
      WalkYearly(walk, RuleOf(*this), series_start_);
      break;
    default:
      return false;
  }
  return walk.Found();
}

Date DateTimeSerial::FirstOccurency() {
  const Date anchor = series_start_;
  Date day = anchor;
  switch (mode_) {
    case calWeekly:
      // Searching for a weekday when none is selected would never end.
      if (!recurrence::AnyWeekdaySelected(weekdays_)) {
        throw Error(ErrorNumber::kInvalidProcedureCall);
      }
      while (!recurrence::IsWeekdaySelected(weekdays_, WeekdayOf(day)))
        day += 1;
      break;
    case calMonthly:
    case calWeekdayInMonth:
      day = CheckedDay(recurrence::DayInMonth(RuleOf(*this), YearOf(anchor), MonthOf(anchor)));
      break;
    case calYearly:
    case calYearly2:
    case calWeekdayInYear:
    case calWeekdayInYear2:
      day = CheckedDay(recurrence::DayInYear(RuleOf(*this), YearOf(anchor)));
      break;
    default:  // calDaily and unknown modes
      break;
  }
  return day + start_;
}

void DateTimeSerial::AdjustStartDate() {
  const Date first = FirstOccurency();
  const Date anchor = series_start_;
  switch (mode_) {
    case calWeekly:
      series_start_ = DayPart(first);
      break;
    case calMonthly:
    case calWeekdayInMonth: {
      const Date month_start = DateFromParts(YearOf(anchor), MonthOf(anchor), 1);
      series_start_ = first < anchor ? AddMonths(month_start, 1) : month_start;
      break;
    }
    case calYearly:
    case calYearly2:
    case calWeekdayInYear:
    case calWeekdayInYear2: {
      const int32_t year = YearOf(anchor);
      series_start_ = DateFromParts(first < anchor ? year + 1 : year, 1, 1);
      break;
    }
    default:
      break;
  }
}

}  // namespace orncal
