// Simple and recurring periods: overlap, first occurrence and expansion.
// The expansion walk is also checked against a plain enumeration in
// recurrence_oracle_test.cc; the cases here are the rules random series
// do not reach.
#include "orncalendar/date_time.h"

#include <gtest/gtest.h>

#include <limits>
#include <tuple>

#include "datetime/recurrence_rules.h"
#include "orncalendar/error.h"
#include "series_helpers.h"
#include "support/test_env.h"

namespace orncal {
namespace {

using namespace testing;

Date D(int32_t y, int32_t m, int32_t d) { return DateFromParts(y, m, d); }
std::string StartsOf(const SeriesFields& fields, Date qs, Date qe) {
  return Starts(*MakeSeries(fields), qs, qe);
}

// --- Simple periods ---

TEST(DateTimeNormalOverlap, AtEveryBoundary) {
  // {start, end, query start, query end} in hours of one day. Touching
  // periods do not overlap; any shared moment does. An instant counts inside
  // and at the query's start, not at its end. A query instant meets only the
  // inside of a period. An inverted period follows the same two comparisons
  // (9 < 10 and 12 > 11).
  const double meet[][4] = {{10, 11, 10.99, 12},  {10, 11, 9, 10.01}, {10, 11, 10, 11},
                            {10, 11, 9, 12},      {9, 12, 10, 11},    {10, 10, 10, 11},
                            {10.5, 10.5, 10, 11}, {10, 10, 10, 10},   {10, 11, 10.5, 10.5},
                            {11, 10, 9, 12}};
  const double miss[][4] = {{10, 11, 11, 12},     {11, 12, 10, 11},    {10, 10, 9, 10},
                            {12, 12, 10, 11},     {10, 11, 10, 10},    {10, 11, 11, 11},
                            {11, 10, 10.2, 10.8}, {11, 10, 10.5, 10.5}};
  const Date day = D(2008, 5, 14);
  auto overlaps = [&](const double(&c)[4]) {
    return DateTimeNormal::New(day + c[0] * kHour, day + c[1] * kHour)
        ->OverLapsWith(*DateTimeNormal::New(day + c[2] * kHour, day + c[3] * kHour));
  };
  for (const auto& c : meet)
    EXPECT_TRUE(overlaps(c)) << c[0] << ".." << c[1] << " in " << c[2] << ".." << c[3];
  for (const auto& c : miss)
    EXPECT_FALSE(overlaps(c)) << c[0] << ".." << c[1] << " in " << c[2] << ".." << c[3];
}

TEST(DateTimeNormalOverlap, TheReturnedPieceIsThePeriodItselfAndNoOverlapReturnsNothing) {
  auto period = DateTimeNormal::New(10, 11);
  auto before = std::make_shared<Periods>();
  PeriodsPtr pieces = before;
  EXPECT_FALSE(period->OverLapsWith(*DateTimeNormal::New(11, 12),
                                    {.Out_Periods = &pieces, .ReturnPeriods = true}));
  EXPECT_EQ(pieces, before);
  // Without ReturnPeriods the output is not touched either.
  EXPECT_TRUE(period->OverLapsWith(*DateTimeNormal::New(9, 12), {.Out_Periods = &pieces}));
  EXPECT_EQ(pieces, before);
  ASSERT_TRUE(period->OverLapsWith(*DateTimeNormal::New(9, 12),
                                   {.Out_Periods = &pieces, .ReturnPeriods = true}));
  ASSERT_EQ(pieces->Count(), 1);
  EXPECT_EQ(pieces->Item(1), period);
}

TEST(DateTimeNormal, AnswersTheInterfaceFromItsTwoFieldsAndCopiesOnlyItsKind) {
  auto period = DateTimeNormal::New(12, 8);
  EXPECT_EQ(period->DateTimeType(), 1);
  EXPECT_EQ(period->GetFirstDate(), 12);
  EXPECT_EQ(period->GetLastDate(), 8);  // the end, even before the start
  EXPECT_EQ(period->FirstOccurency(), 12);
  EXPECT_EQ(period->Series(), nullptr);
  period->CopyFrom(*DateTimeNormal::New(1, 2));
  EXPECT_EQ(std::tuple(period->StartDateTime(), period->EndDateTime()), std::tuple(1.0, 2.0));
  EXPECT_EQ(ErrorOf([&] { period->CopyFrom(*DateTime::New()); }), 5);
  EXPECT_EQ(period->StartDateTime(), 1);
  // The bare period keeps nothing and meets nothing.
  DateTimePtr bare = DateTime::New();
  bare->SetStartDateTime(5);
  EXPECT_EQ(std::tuple(bare->StartDateTime(), bare->DateTimeType(), bare->GetLastDate(),
                       bare->Series() == nullptr, bare->OverLapsWith(*DateTimeNormal::New(0, 1e6))),
            std::tuple(0.0, int16_t{0}, 0.0, true, false));
}

// --- Recurring periods: the model and the first occurrence ---

TEST(DateTimeSerial, AnswersThePeriodInterfaceAndCopiesOnlyItsKind) {
  auto series =
      MakeSeries({.anchor = D(2008, 1, 1), .eternal = false, .series_end = D(2008, 6, 30)});
  EXPECT_EQ(series->DateTimeType(), 2);
  EXPECT_EQ(series->GetFirstDate(), D(2008, 1, 1) + 9 * kHour);
  EXPECT_EQ(series->GetLastDate(), D(2008, 6, 30) + 11 * kHour);
  EXPECT_EQ(series->Series(), series);
  series->SetEternal(true);
  EXPECT_EQ(series->GetLastDate(), -1.0);  // whatever SeriesEndDateTime holds

  // Every one of the ten fields differs from the default.
  auto source = MakeSeries({calWeekdayInYear2, D(2008, 2, 3), -2, 3, 11, calFriday | calOnlyAtOne,
                            0.25, 1.5, true, D(2010, 1, 1)});
  auto fields = [](const DateTimeSerial& s) {
    return std::tuple(s.StartDateTime(), s.EndDateTime(), s.SeriesStartDateTime(),
                      s.SeriesEndDateTime(), s.RepetitionMode(), s.m(), s.n(), s.InMonth(),
                      s.Weekdays(), s.Eternal());
  };
  series->CopyFrom(*source);
  EXPECT_EQ(fields(*series), fields(*source));
  EXPECT_EQ(ErrorOf([&] { series->CopyFrom(*DateTimeNormal::New(1, 2)); }), 5);
  EXPECT_EQ(series->n(), 3);
}

TEST(FirstOccurrence, AndTheAnchorAfterAdjusting) {
  // The first occurrence, then the anchor after AdjustStartDate (0: not asked).
  auto check = [](const SeriesFields& fields, const char* first, Date adjusted) {
    auto series = MakeSeries(fields);
    EXPECT_EQ(Text(series->FirstOccurency()), first);
    if (adjusted == 0) return;
    series->AdjustStartDate();
    EXPECT_EQ(series->SeriesStartDateTime(), adjusted) << first;
  };
  // Weekly from Tuesday 15 January: the first selected weekday.
  check({.mode = calWeekly,
         .anchor = D(2008, 1, 15),
         .weekdays = calMonday | calFriday,
         .start = 10 * kHour},
        "2008-01-18 10:00", D(2008, 1, 18));
  // Monthly may lie before the anchor until adjusted; when it does not, the
  // anchor moves back to the first of its month.
  check({.mode = calMonthly, .anchor = D(2008, 1, 15), .m = 1}, "2008-01-01 09:00", D(2008, 2, 1));
  check({.mode = calMonthly, .anchor = D(2008, 1, 15), .m = 20}, "2008-01-20 09:00", D(2008, 1, 1));
  // Counted from either end without clamping, in a leap year.
  check({.mode = calMonthly, .anchor = D(2008, 2, 10), .m = -1}, "2008-02-29 09:00", 0);
  check({.mode = calMonthly, .anchor = D(2008, 2, 10), .m = 0}, "2008-03-01 09:00", 0);
  check({.mode = calMonthly, .anchor = D(2008, 4, 1), .m = 31}, "2008-05-01 09:00", 0);
  check({.mode = calWeekdayInMonth, .anchor = D(2008, 2, 5), .m = -1, .weekdays = calFriday},
        "2008-02-29 09:00", 0);
  check({.mode = calYearly2, .anchor = D(2008, 7, 1), .m = 60}, "2008-02-29 09:00", 0);
  // 1 March lies before 1 July: the anchor moves to the next year.
  check({.mode = calYearly2, .anchor = D(2009, 7, 1), .m = 60}, "2009-03-01 09:00", D(2010, 1, 1));
  check({.mode = calYearly, .anchor = D(2008, 7, 1), .m = 3, .in_month = 8}, "2008-08-03 09:00",
        D(2008, 1, 1));
  // Daily and unknown modes start at the anchor and are not adjusted.
  for (auto mode : {calDaily, static_cast<calRepetitionModes>(9)})
    check({.mode = mode, .anchor = D(2008, 1, 15) + 0.5}, "2008-01-15 21:00", D(2008, 1, 15) + 0.5);
}

TEST(FirstOccurrence, RefusesWhatItCannotAnswer) {
  // calYearly cannot count from the month's end.
  auto yearly = MakeSeries({.mode = calYearly, .anchor = D(2008, 1, 1), .m = 0, .in_month = 2});
  EXPECT_EQ(ErrorOf([&] { yearly->FirstOccurency(); }), 13);
  EXPECT_EQ(ErrorOf([&] { yearly->AdjustStartDate(); }), 13);
  EXPECT_EQ(yearly->SeriesStartDateTime(), D(2008, 1, 1));
  // A weekly series without weekdays would search for ever.
  auto weekly = MakeSeries({.mode = calWeekly, .anchor = D(2008, 1, 1), .weekdays = calOnlyAtOne});
  EXPECT_EQ(ErrorOf([&] { weekly->FirstOccurency(); }), 5);
  EXPECT_EQ(ErrorOf([&] { weekly->AdjustStartDate(); }), 5);
  // A day beyond 9999 cannot be a date.
  auto late = MakeSeries({.mode = calMonthly, .anchor = D(9999, 12, 1), .m = 40});
  EXPECT_EQ(ErrorOf([&] { late->FirstOccurency(); }), 5);
}

// --- Expansion over a query ---

TEST(Expansion, EveryTwelfthMonthFromDecemberCarriesIntoMonthZeroAndYieldsTwice) {
  EXPECT_EQ(StartsOf({.mode = calMonthly, .anchor = D(2007, 12, 1), .m = 24, .n = 12},
                     D(2007, 1, 1), D(2009, 1, 1)),
            "2007-12-24 09:00, 2007-12-24 09:00, 2008-12-24 09:00, 2008-12-24 09:00");
}

TEST(Expansion, TouchingOccurrencesDoNotMeet) {
  const Date jan5 = D(2008, 1, 5);
  const SeriesFields fifth{.mode = calMonthly, .anchor = D(2008, 1, 1), .m = 5};
  EXPECT_EQ(StartsOf(fifth, jan5, jan5 + 9 * kHour), "");       // ending at its start
  EXPECT_EQ(StartsOf(fifth, jan5 + 11 * kHour, jan5 + 1), "");  // starting at its end
  EXPECT_EQ(StartsOf(fifth, jan5 + 10.9 * kHour, jan5 + 1), "2008-01-05 09:00");
  // Unlike a single period, an instant at the query's start does not meet.
  SeriesFields instant = fifth;
  instant.end = 9 * kHour;
  EXPECT_EQ(StartsOf(instant, jan5 + 9 * kHour, jan5 + 1), "");
  EXPECT_EQ(StartsOf(instant, jan5 + 8.9 * kHour, jan5 + 1), "2008-01-05 09:00");
}

TEST(Expansion, YearlyStartsAtTheQueryYearAndWithoutMonthOnTheFirstOfMarchForGood) {
  // Every second year on 31 December for two days: the occurrence of 2004
  // runs into 2005, but the walk starts in 2006.
  const SeriesFields late{
      .mode = calYearly2, .anchor = D(2000, 1, 1), .m = -1, .n = 2, .end = 2 + 11 * kHour};
  EXPECT_EQ(StartsOf(late, D(1990, 1, 1), D(2005, 1, 1)),
            "2000-12-31 09:00, 2002-12-31 09:00, 2004-12-31 09:00");
  EXPECT_EQ(StartsOf(late, D(2005, 1, 1), D(2005, 1, 2)), "");
  auto series = MakeSeries({.mode = calYearly, .anchor = D(2008, 1, 1), .m = 17, .in_month = 0});
  EXPECT_EQ(Starts(*series, D(2008, 1, 1), D(2010, 1, 1)), "2008-03-01 09:00, 2009-03-01 09:00");
  EXPECT_EQ(std::tuple(series->InMonth(), series->m()), std::tuple(3, 1));
  series = MakeSeries({.mode = calYearly, .anchor = D(2008, 1, 1), .m = -1, .in_month = 2});
  EXPECT_EQ(ErrorOf([&] { Expand(*series, D(2008, 1, 1), D(2009, 1, 1)); }), 13);
}

TEST(Expansion, NothingMeetingHandsBackAFreshEmptyCollection) {
  auto series = MakeSeries({.anchor = D(2008, 1, 1)});
  auto old = std::make_shared<Periods>();
  PeriodsPtr periods = old;
  // Ended before the walk (the query lies before the series) and by the walk.
  for (Date qs : {D(2007, 1, 1), D(2008, 1, 5) + 12 * kHour}) {
    EXPECT_FALSE(series->OverLapsWith(*DateTimeNormal::New(qs, qs + 0.5),
                                      {.Out_Periods = &periods, .ReturnPeriods = true}));
    ASSERT_TRUE(periods);
    EXPECT_NE(periods, old);
    EXPECT_EQ(periods->Count(), 0);
    periods = old;
  }
  EXPECT_EQ(StartsOf({.mode = static_cast<calRepetitionModes>(0), .anchor = D(2008, 1, 1)},
                     D(2000, 1, 1), D(2010, 1, 1)),
            "");
}

// --- Walks that would not end, and arithmetic limits ---

TEST(Expansion, IntervalsBelowOneEndAfterTheFirstCandidate) {
  const Date before = D(2007, 1, 1), after = D(2012, 1, 1), jan1 = D(2008, 1, 1);
  for (int32_t n : {0, -1}) {
    SCOPED_TRACE(n);
    EXPECT_EQ(StartsOf({.anchor = jan1, .n = n}, before, after), "2008-01-01 09:00");
    EXPECT_EQ(
        StartsOf({.mode = calWeekly, .anchor = jan1, .n = n, .weekdays = calTuesday | calFriday},
                 before, after),
        "2008-01-01 09:00, 2008-01-04 09:00");
    EXPECT_EQ(StartsOf({.mode = calMonthly, .anchor = jan1, .m = 2, .n = n}, before, after),
              "2008-01-02 09:00");
    EXPECT_EQ(StartsOf({.mode = calYearly2, .anchor = jan1, .m = 3, .n = n}, before, after),
              "2008-01-03 09:00");
  }
  // With the query after the anchor the interval divides: n = 0 is error 11.
  for (auto mode : {calDaily, calWeekly, calYearly2}) {
    auto series = MakeSeries({.mode = mode, .anchor = jan1, .n = 0, .weekdays = 1});
    EXPECT_EQ(ErrorOf([&] { Expand(*series, D(2009, 1, 1), D(2010, 1, 1)); }), 11);
  }
}

TEST(Expansion, EternalWalksEndWhereDatesEnd) {
  const Date far = 1e9;
  EXPECT_EQ(Expand(*MakeSeries({.anchor = D(9999, 12, 1)}), D(9999, 12, 20), far).size(), 12u);
  SeriesFields weekly{.mode = calWeekly, .anchor = D(9999, 12, 1), .weekdays = calFriday};
  EXPECT_EQ(StartsOf(weekly, D(9999, 12, 20), far), "9999-12-24 09:00, 9999-12-31 09:00");
  EXPECT_EQ(Expand(*MakeSeries({.mode = calWeekdayInMonth,
                                .anchor = D(9999, 10, 1),
                                .m = -1,
                                .weekdays = calSunday}),
                   D(9999, 10, 1), far)
                .size(),
            3u);
  EXPECT_EQ(
      StartsOf({.mode = calYearly2, .anchor = D(9990, 1, 1), .m = 1, .n = 3}, D(9995, 1, 1), far),
      "9996-01-01 09:00, 9999-01-01 09:00");
  // A weekly jump far beyond the dates ends the walk before it starts.
  EXPECT_EQ(
      StartsOf({.mode = calWeekly, .anchor = D(9000, 1, 1), .n = 100000, .weekdays = calFriday},
               D(9500, 1, 1), far),
      "");
  // No weekday at all: nothing meets, and the walk still ends.
  weekly.weekdays = 0;
  EXPECT_EQ(StartsOf(weekly, D(2000, 1, 1), far), "");
}

TEST(Expansion, ThirtyTwoBitOverflowIsError6) {
  constexpr int32_t kBig = 1 << 30;
  auto daily = MakeSeries({.anchor = D(2008, 1, 1), .n = kBig});
  EXPECT_EQ(ErrorOf([&] { Expand(*daily, D(2008, 1, 2), 1e10); }), 0);  // n * 1 fits, ...
  EXPECT_EQ(ErrorOf([&] { Expand(*daily, D(2008, 1, 1) + 3.0 * kBig, 1e10); }), 6);  // n * 3 not
  // The week step 7 * (n - 1) overflows after the first week; an answer found
  // in that week comes first.
  auto weekly = MakeSeries(
      {.mode = calWeekly, .anchor = D(2008, 1, 7), .n = 306783380, .weekdays = calMonday});
  EXPECT_EQ(ErrorOf([&] { Expand(*weekly, D(2008, 1, 1), D(2008, 3, 1)); }), 6);
  EXPECT_TRUE(weekly->OverLapsWith(*DateTimeNormal::New(D(2008, 1, 1), D(2008, 3, 1))));
  auto monthly = MakeSeries({.mode = calWeekdayInMonth,
                             .anchor = D(2008, 1, 1),
                             .m = std::numeric_limits<int32_t>::min(),
                             .weekdays = 1});
  EXPECT_EQ(ErrorOf([&] { Expand(*monthly, D(2008, 1, 1), D(2008, 3, 1)); }), 6);
  // An anchor before the first day dates can hold.
  auto broken = MakeSeries({.anchor = kMinDate - 10});
  EXPECT_EQ(ErrorOf([&] { Expand(*broken, kMinDate - 20, D(2008, 1, 1)); }), 5);
}

// --- The day rules, where random series do not reach ---

TEST(DayRules, WhatTheWalksCannotReach) {
  using namespace recurrence;
  EXPECT_EQ(WeekStart(D(2008, 5, 14) + 10 * kHour), D(2008, 5, 12) + 10 * kHour);
  // Only bits 1 to 7 are weekdays: calOnlyAtOne and other numbers are not.
  EXPECT_EQ(std::tuple(IsWeekdaySelected(calSunday, 7), IsWeekdaySelected(0x7F, 0),
                       IsWeekdaySelected(0xFF, 8), IsWeekdaySelected(-1, -3),
                       AnyWeekdaySelected(calOnlyAtOne)),
            std::tuple(true, false, false, false, false));
  auto day = [](int32_t y, int32_t m, int32_t d) { return static_cast<DayNumber>(D(y, m, d)); };
  EXPECT_EQ(FirstOfMonth(2008, -11), day(2007, 1, 1));
  EXPECT_EQ(DayInYear({.mode = calYearly, .m = 1, .in_month = 13}, 2008), day(2009, 1, 1));
  // A weekday shift overflowing 32 bits is error 6.
  auto search = [&](int32_t m) {
    return ErrorOf([&] { SearchWeekday(day(2008, 2, 1), day(2008, 2, 1), m, calMonday); });
  };
  EXPECT_EQ(
      std::tuple(search(306783379), search(306783380), search(-306783379), search(-306783380)),
      std::tuple(0, 6, 0, 6));  // 7 * 306783378 still fits
}

}  // namespace
}  // namespace orncal
