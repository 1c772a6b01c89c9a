#include "orncalendar/date_time_serial.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <tuple>

#include "orncalendar/error.h"
#include "series_helpers.h"
#include "support/test_env.h"

namespace orncal {
namespace {

using testing::ErrorOf;

using ::testing::ElementsAre;
using testing::Expand;
using ::testing::IsEmpty;
using testing::kHour;
using testing::MakeSeries;
using testing::Starts;
using testing::Text;

Date D(int32_t y, int32_t m, int32_t d) { return DateFromParts(y, m, d); }

// --- The model ---

TEST(DateTimeSerial, AnswersThePeriodInterfaceFromItsFields) {
  auto series =
      MakeSeries({.anchor = D(2008, 1, 1), .eternal = false, .series_end = D(2008, 6, 30)});
  EXPECT_EQ(series->DateTimeType(), 2);
  EXPECT_EQ(series->GetFirstDate(), D(2008, 1, 1) + 9 * kHour);
  EXPECT_EQ(series->GetLastDate(), D(2008, 6, 30) + 11 * kHour);
  EXPECT_EQ(series->Series(), series);
  series->SetEternal(true);
  EXPECT_EQ(series->GetLastDate(), -1.0);  // whatever SeriesEndDateTime holds
}

TEST(DateTimeSerial, CopyFromTakesAllTenFieldsOfAnotherSeriesOnly) {
  auto source = MakeSeries({.mode = calWeekdayInYear2,
                            .anchor = D(2008, 2, 3),
                            .m = -2,
                            .n = 3,
                            .in_month = 11,
                            .weekdays = calFriday | calOnlyAtOne,
                            .start = 0.25,
                            .end = 1.5,
                            .eternal = true,
                            .series_end = D(2010, 1, 1)});
  auto fields = [](const DateTimeSerial& s) {
    return std::tuple(s.StartDateTime(), s.EndDateTime(), s.SeriesStartDateTime(),
                      s.SeriesEndDateTime(), s.RepetitionMode(), s.m(), s.n(), s.InMonth(),
                      s.Weekdays(), s.Eternal());
  };
  auto copy = DateTimeSerial::New();
  copy->CopyFrom(*source);
  EXPECT_EQ(fields(*copy), fields(*source));
  EXPECT_EQ(ErrorOf([&] { copy->CopyFrom(*DateTimeNormal::New(1, 2)); }), 5);
  EXPECT_EQ(copy->n(), 3);
}

// --- First occurrence and anchor ---

TEST(FirstOccurrence, WeeklyIsTheFirstSelectedDayFromTheAnchor) {
  auto series = MakeSeries({.mode = calWeekly,
                            .anchor = D(2008, 1, 15),  // a Tuesday
                            .weekdays = calMonday | calFriday,
                            .start = 10 * kHour});
  EXPECT_EQ(Text(series->FirstOccurency()), "2008-01-18 10:00");
  series->AdjustStartDate();
  EXPECT_EQ(series->SeriesStartDateTime(), D(2008, 1, 18));
}

TEST(FirstOccurrence, MonthlyMayLieBeforeTheAnchorUntilAdjusted) {
  auto series = MakeSeries({.mode = calMonthly, .anchor = D(2008, 1, 15), .m = 1});
  EXPECT_EQ(series->FirstOccurency(), D(2008, 1, 1) + 9 * kHour);
  series->AdjustStartDate();
  EXPECT_EQ(series->SeriesStartDateTime(), D(2008, 2, 1));
  // Not before the anchor: the anchor moves back to the first of its month.
  series = MakeSeries({.mode = calMonthly, .anchor = D(2008, 1, 15), .m = 20});
  series->AdjustStartDate();
  EXPECT_EQ(series->SeriesStartDateTime(), D(2008, 1, 1));
}

TEST(FirstOccurrence, MonthlyCountsFromEitherEndWithoutClamping) {
  auto series = MakeSeries({.mode = calMonthly, .anchor = D(2008, 2, 10), .m = -1});
  EXPECT_EQ(Text(series->FirstOccurency()), "2008-02-29 09:00");
  series->Setm(0);
  EXPECT_EQ(Text(series->FirstOccurency()), "2008-03-01 09:00");
  series = MakeSeries({.mode = calMonthly, .anchor = D(2008, 4, 1), .m = 31});
  EXPECT_EQ(Text(series->FirstOccurency()), "2008-05-01 09:00");
}

TEST(FirstOccurrence, WeekdayAndYearModes) {
  auto series = MakeSeries(
      {.mode = calWeekdayInMonth, .anchor = D(2008, 2, 5), .m = -1, .weekdays = calFriday});
  EXPECT_EQ(Text(series->FirstOccurency()), "2008-02-29 09:00");
  series = MakeSeries({.mode = calYearly2, .anchor = D(2008, 7, 1), .m = 60});
  EXPECT_EQ(Text(series->FirstOccurency()), "2008-02-29 09:00");
  series->SetSeriesStartDateTime(D(2009, 7, 1));
  EXPECT_EQ(Text(series->FirstOccurency()), "2009-03-01 09:00");
  series->AdjustStartDate();  // 1 March lies before 1 July: next year
  EXPECT_EQ(series->SeriesStartDateTime(), D(2010, 1, 1));
  series = MakeSeries({.mode = calYearly, .anchor = D(2008, 7, 1), .m = 3, .in_month = 8});
  EXPECT_EQ(Text(series->FirstOccurency()), "2008-08-03 09:00");
  series->AdjustStartDate();
  EXPECT_EQ(series->SeriesStartDateTime(), D(2008, 1, 1));
}

TEST(FirstOccurrence, DailyAndUnknownModesStartAtTheAnchorAndAreNotAdjusted) {
  for (auto mode : {calDaily, static_cast<calRepetitionModes>(9)}) {
    auto series = MakeSeries({.mode = mode, .anchor = D(2008, 1, 15) + 0.5});
    EXPECT_EQ(series->FirstOccurency(), D(2008, 1, 15) + 0.5 + 9 * kHour);
    series->AdjustStartDate();
    EXPECT_EQ(series->SeriesStartDateTime(), D(2008, 1, 15) + 0.5);
  }
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

TEST(Expansion, DailyStartsAtTheFirstDayNotBeforeTheQuery) {
  auto series = MakeSeries({.mode = calDaily, .anchor = D(2008, 1, 1)});
  auto found = Expand(*series, D(2008, 1, 5), D(2008, 1, 6));
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(Text(found[0].first), "2008-01-05 09:00");
  EXPECT_EQ(Text(found[0].second), "2008-01-05 11:00");
  // The occurrence of the 5th runs into the query but the walk starts on the 6th.
  EXPECT_THAT(Starts(*series, D(2008, 1, 5) + 10 * kHour, D(2008, 1, 6) + 12 * kHour),
              ElementsAre("2008-01-06 09:00"));
  // Every third day; the candidate of the 10th starts after the query.
  series->Setn(3);
  EXPECT_THAT(Starts(*series, D(2008, 1, 2), D(2008, 1, 10)),
              ElementsAre("2008-01-04 09:00", "2008-01-07 09:00"));
  // An occurrence past midnight from the day before is not produced either.
  series = MakeSeries({.anchor = D(2008, 1, 1), .start = 22 * kHour, .end = 26 * kHour});
  EXPECT_THAT(Starts(*series, D(2008, 1, 5), D(2008, 1, 5) + 12 * kHour), IsEmpty());
}

TEST(Expansion, WeeklyWalksEveryNthWeekFromItsMonday) {
  auto series = MakeSeries(
      {.mode = calWeekly, .anchor = D(2008, 1, 7), .n = 2, .weekdays = calMonday | calThursday});
  const auto january = std::vector<std::string>{"2008-01-07 09:00", "2008-01-10 09:00",
                                                "2008-01-21 09:00", "2008-01-24 09:00"};
  EXPECT_EQ(Starts(*series, D(2008, 1, 1), D(2008, 2, 1)), january);
  // Selected days of the first week before the anchor are produced.
  series =
      MakeSeries({.mode = calWeekly, .anchor = D(2008, 1, 9), .weekdays = calMonday | calThursday});
  EXPECT_THAT(Starts(*series, D(2007, 12, 1), D(2008, 1, 15)),
              ElementsAre("2008-01-07 09:00", "2008-01-10 09:00", "2008-01-14 09:00"));
}

TEST(Expansion, MonthlyWalksFromTheAnchorPassingOverEarlierMonths) {
  auto series = MakeSeries({.mode = calMonthly, .anchor = D(2008, 1, 1), .m = -1});
  EXPECT_THAT(Starts(*series, D(2008, 1, 1), D(2008, 4, 1)),
              ElementsAre("2008-01-31 09:00", "2008-02-29 09:00", "2008-03-31 09:00"));
  // Day 31 of February is 2 March, but February lies before the query's month.
  series->Setm(31);
  EXPECT_THAT(Starts(*series, D(2008, 3, 1), D(2008, 3, 5)), IsEmpty());
  EXPECT_THAT(Starts(*series, D(2008, 2, 1), D(2008, 3, 5)), ElementsAre("2008-03-02 09:00"));
}

TEST(Expansion, MonthlyIntervalOfTwelveFromDecemberYieldsEachDecemberTwice) {
  auto series = MakeSeries({.mode = calMonthly, .anchor = D(2007, 12, 1), .m = 24, .n = 12});
  EXPECT_THAT(
      Starts(*series, D(2007, 1, 1), D(2009, 1, 1)),
      ElementsAre("2007-12-24 09:00", "2007-12-24 09:00", "2008-12-24 09:00", "2008-12-24 09:00"));
}

TEST(Expansion, YearlyStartsAtTheQueryYear) {
  auto series = MakeSeries(
      {.mode = calYearly2, .anchor = D(2000, 1, 1), .m = -1, .n = 2, .end = 2 + 11 * kHour});
  EXPECT_THAT(Starts(*series, D(1990, 1, 1), D(2005, 1, 1)),
              ElementsAre("2000-12-31 09:00", "2002-12-31 09:00", "2004-12-31 09:00"));
  // The occurrence of 2004 runs into 2005, but the walk starts in 2006.
  EXPECT_THAT(Starts(*series, D(2005, 1, 1), D(2005, 1, 2)), IsEmpty());
}

TEST(Expansion, YearlyWithoutMonthBecomesTheFirstOfMarchForGood) {
  auto series = MakeSeries({.mode = calYearly, .anchor = D(2008, 1, 1), .m = 17, .in_month = 0});
  EXPECT_THAT(Starts(*series, D(2008, 1, 1), D(2010, 1, 1)),
              ElementsAre("2008-03-01 09:00", "2009-03-01 09:00"));
  EXPECT_EQ(series->InMonth(), 3);
  EXPECT_EQ(series->m(), 1);
  series = MakeSeries({.mode = calYearly, .anchor = D(2008, 1, 1), .m = -1, .in_month = 2});
  EXPECT_EQ(
      ErrorOf([&] { series->OverLapsWith(*DateTimeNormal::New(D(2008, 1, 1), D(2009, 1, 1))); }),
      13);
}

TEST(Expansion, SeriesEndAndEternity) {
  auto series =
      MakeSeries({.anchor = D(2008, 1, 1), .eternal = false, .series_end = D(2008, 1, 3)});
  EXPECT_THAT(Starts(*series, D(2008, 1, 1), D(2008, 2, 1)),
              ElementsAre("2008-01-01 09:00", "2008-01-02 09:00", "2008-01-03 09:00"));
  EXPECT_THAT(Starts(*series, D(2500, 1, 1), D(2500, 1, 3)), IsEmpty());
  series->SetEternal(true);
  EXPECT_THAT(Starts(*series, D(2500, 1, 1), D(2500, 1, 3)),
              ElementsAre("2500-01-01 09:00", "2500-01-02 09:00"));
}

TEST(Expansion, TouchingOccurrencesDoNotMeet) {
  auto series = MakeSeries({.mode = calMonthly, .anchor = D(2008, 1, 1), .m = 5});
  EXPECT_THAT(Starts(*series, D(2008, 1, 5), D(2008, 1, 5) + 9 * kHour), IsEmpty());
  EXPECT_THAT(Starts(*series, D(2008, 1, 5) + 11 * kHour, D(2008, 1, 6)), IsEmpty());
  EXPECT_THAT(Starts(*series, D(2008, 1, 5) + 10.9 * kHour, D(2008, 1, 6)),
              ElementsAre("2008-01-05 09:00"));
  // Unlike a single period, an instant at the query's start does not meet.
  series->SetEndDateTime(9 * kHour);
  EXPECT_THAT(Starts(*series, D(2008, 1, 5) + 9 * kHour, D(2008, 1, 6)), IsEmpty());
  EXPECT_THAT(Starts(*series, D(2008, 1, 5) + 8.9 * kHour, D(2008, 1, 6)),
              ElementsAre("2008-01-05 09:00"));
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
  EXPECT_FALSE(MakeSeries({.mode = static_cast<calRepetitionModes>(0), .anchor = D(2008, 1, 1)})
                   ->OverLapsWith(*DateTimeNormal::New(D(2000, 1, 1), D(2010, 1, 1))));
}

// --- Walks that would not end, and arithmetic limits ---

TEST(Expansion, IntervalsBelowOneEndAfterTheFirstCandidate) {
  const Date before = D(2007, 1, 1), after = D(2012, 1, 1);
  for (int32_t n : {0, -1}) {
    SCOPED_TRACE(n);
    auto daily = MakeSeries({.anchor = D(2008, 1, 1), .n = n});
    EXPECT_THAT(Starts(*daily, before, after), ElementsAre("2008-01-01 09:00"));
    auto weekly = MakeSeries(
        {.mode = calWeekly, .anchor = D(2008, 1, 1), .n = n, .weekdays = calTuesday | calFriday});
    EXPECT_THAT(Starts(*weekly, before, after),
                ElementsAre("2008-01-01 09:00", "2008-01-04 09:00"));
    auto monthly = MakeSeries({.mode = calMonthly, .anchor = D(2008, 1, 1), .m = 2, .n = n});
    EXPECT_THAT(Starts(*monthly, before, after), ElementsAre("2008-01-02 09:00"));
    auto yearly = MakeSeries({.mode = calYearly2, .anchor = D(2008, 1, 1), .m = 3, .n = n});
    EXPECT_THAT(Starts(*yearly, before, after), ElementsAre("2008-01-03 09:00"));
  }
  // With the query after the anchor the interval divides: n = 0 is error 11.
  for (auto mode : {calDaily, calWeekly, calYearly2}) {
    auto series = MakeSeries({.mode = mode, .anchor = D(2008, 1, 1), .n = 0, .weekdays = 1});
    EXPECT_EQ(ErrorOf([&] { Expand(*series, D(2009, 1, 1), D(2010, 1, 1)); }), 11);
  }
}

TEST(Expansion, EternalWalksEndWhereDatesEnd) {
  const Date far = 1e9;
  auto daily = MakeSeries({.anchor = D(9999, 12, 1)});
  EXPECT_EQ(Expand(*daily, D(9999, 12, 20), far).size(), 12u);
  auto weekly = MakeSeries({.mode = calWeekly, .anchor = D(9999, 12, 1), .weekdays = calFriday});
  EXPECT_EQ(Starts(*weekly, D(9999, 12, 20), far).back(), "9999-12-31 09:00");
  auto monthly = MakeSeries(
      {.mode = calWeekdayInMonth, .anchor = D(9999, 10, 1), .m = -1, .weekdays = calSunday});
  EXPECT_EQ(Expand(*monthly, D(9999, 10, 1), far).size(), 3u);
  auto yearly = MakeSeries({.mode = calYearly2, .anchor = D(9990, 1, 1), .m = 1, .n = 3});
  EXPECT_THAT(Starts(*yearly, D(9995, 1, 1), far),
              ElementsAre("9996-01-01 09:00", "9999-01-01 09:00"));
  // A weekly jump far beyond the dates ends the walk before it starts.
  auto sparse =
      MakeSeries({.mode = calWeekly, .anchor = D(9000, 1, 1), .n = 100000, .weekdays = calFriday});
  EXPECT_THAT(Starts(*sparse, D(9500, 1, 1), far), IsEmpty());
  // No weekday at all: nothing meets, and the walk still ends.
  weekly->SetWeekdays(0);
  EXPECT_THAT(Starts(*weekly, D(2000, 1, 1), far), IsEmpty());
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

}  // namespace
}  // namespace orncal
