// OLE dates and the date helpers.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>

#include "datetime/helpers.h"
#include "orncalendar/error.h"
#include "orncalendar/ole_date.h"
#include "support/test_env.h"

namespace orncal {
namespace {

using testing::ErrorOf;

TEST(DateFromParts, KnownDaysAndCarriesAcrossMonthAndYearEnds) {
  EXPECT_EQ(DateFromParts(1899, 12, 30), 0);
  EXPECT_EQ(DateFromParts(1900, 1, 1), 2);
  EXPECT_EQ(DateFromParts(2008, 1, 1), 39448);
  EXPECT_EQ(DateFromParts(100, 1, 1), kMinDate);
  EXPECT_EQ(DateFromParts(9999, 12, 31), kMaxDate);
  // {year, month, day} out of range, then the day it stands for. 2008 and
  // 2000 are leap years, 2009 and 1900 are not.
  const int32_t carries[][6] = {
      {2008, 0, 1, 2007, 12, 1},  {2008, 13, 1, 2009, 1, 1},   {2008, 25, 1, 2010, 1, 1},
      {2008, -1, 1, 2007, 11, 1}, {2008, -12, 1, 2006, 12, 1}, {2008, 3, 0, 2008, 2, 29},
      {2009, 3, 0, 2009, 2, 28},  {2008, 1, 0, 2007, 12, 31},  {2008, 1, 32, 2008, 2, 1},
      {2008, 1, 60, 2008, 2, 29}, {2008, 12, 32, 2009, 1, 1},  {2008, 1, -1, 2007, 12, 30},
      {2000, 2, 30, 2000, 3, 1},  {1900, 2, 29, 1900, 3, 1}};
  for (const auto& c : carries) {
    EXPECT_EQ(DateFromParts(c[0], c[1], c[2]), DateFromParts(c[3], c[4], c[5]))
        << c[0] << "-" << c[1] << "-" << c[2];
  }
  // Results outside the OLE range raise error 5.
  EXPECT_EQ(ErrorOf([] { DateFromParts(10000, 1, 1); }), 5);
  EXPECT_EQ(ErrorOf([] { DateFromParts(99, 12, 31); }), 5);
  EXPECT_EQ(ErrorOf([] { DateFromParts(2008, 2147483647, 1); }), 5);
  EXPECT_EQ(ErrorOf([] { DateFromParts(9999, 12, 32); }), 5);
}

TEST(SplitDate, PartsOfDatesTimesAndNegativeDates) {
  DateParts p = SplitDate(DateFromParts(2008, 2, 29) + TimeFromParts(13, 45, 30));
  EXPECT_EQ(std::tuple(p.Year, p.Month, p.Day, p.Hour, p.Minute, p.Second),
            std::tuple(2008, 2, 29, 13, 45, 30));
  // Negative dates: the whole part is the day, the fraction the time of that day.
  p = SplitDate(-1.25);
  EXPECT_EQ(std::tuple(p.Year, p.Month, p.Day, p.Hour), std::tuple(1899, 12, 29, 6));
  // -0.5 is still 30 December, at noon.
  EXPECT_EQ(std::tuple(DayOf(-0.5), HourOf(-0.5), DayOf(-1), YearOf(kMinDate)),
            std::tuple(30, 12, 29, 100));
  EXPECT_EQ(std::tuple(DayPart(39448.75), DayPart(-1.25)), std::tuple(39448.0, -1.0));
  EXPECT_FALSE(std::signbit(DayPart(-0.5)));
}

TEST(SplitDate, TimesRoundToTheNearestSecond) {
  const Date day = DateFromParts(2008, 12, 31);
  EXPECT_EQ(SplitDate(day + 59.4 / 86400).Second, 59);
  EXPECT_EQ(SplitDate(day + 59.6 / 86400).Minute, 1);
  // 23:59:59.6 already belongs to the next day, and to the next year.
  EXPECT_EQ(YearOf(day + (86400 - 0.4) / 86400), 2009);
  // The end of a query minus 0.00001 day stays in the month before.
  EXPECT_EQ(MonthOf(DateFromParts(2008, 6, 1) - 0.00001), 5);
}

TEST(SplitDate, ValuesThatAreNoDateRaiseError6) {
  EXPECT_EQ(ErrorOf([] { YearOf(std::numeric_limits<double>::quiet_NaN()); }), 6);
  EXPECT_EQ(ErrorOf([] { YearOf(1e300); }), 6);
  EXPECT_EQ(ErrorOf([] { WeekdayOf(-1e10); }), 6);
  EXPECT_EQ(ErrorOf([] { AddMonths(std::numeric_limits<double>::infinity(), 1); }), 6);
}

TEST(WeekdayOf, MondayIsOne) {
  // Saturday 30 December 1899, Monday 14, Tuesday 15 and Sunday 20 January
  // 2008, Friday 29 December 1899 at noon.
  EXPECT_EQ(std::tuple(WeekdayOf(0), WeekdayOf(DateFromParts(2008, 1, 14)),
                       WeekdayOf(DateFromParts(2008, 1, 15) + 0.9),
                       WeekdayOf(DateFromParts(2008, 1, 20)), WeekdayOf(-1.5)),
            std::tuple(6, 1, 2, 7, 5));
}

TEST(AddMonths, KeepsTheTimeAndClampsTheDay) {
  const Date t = TimeFromParts(10, 0, 0);
  EXPECT_EQ(AddMonths(DateFromParts(2008, 1, 31) + t, 1), DateFromParts(2008, 2, 29) + t);
  EXPECT_EQ(AddMonths(-0.25, 1), DateFromParts(1900, 1, 30) + 0.25);
  // {year, month, day, months added}, then the day it gives.
  const int32_t cases[][7] = {{2009, 1, 31, 1, 2009, 2, 28},
                              {2008, 11, 15, 2, 2009, 1, 15},
                              {2008, 1, 15, -1, 2007, 12, 15},
                              {2008, 2, 29, 12, 2009, 2, 28}};
  for (const auto& c : cases) {
    EXPECT_EQ(AddMonths(DateFromParts(c[0], c[1], c[2]), c[3]), DateFromParts(c[4], c[5], c[6]))
        << c[0] << "-" << c[1] << "-" << c[2] << " + " << c[3];
  }
  EXPECT_EQ(ErrorOf([] { AddMonths(kMaxDate, 1); }), 5);
}

TEST(WeekBoundariesBetween, CountsMondayStartedWeeks) {
  const Date sunday = DateFromParts(2008, 1, 13);
  EXPECT_EQ(std::tuple(WeekBoundariesBetween(sunday, sunday + 1),
                       WeekBoundariesBetween(sunday + 1, sunday + 7),  // Monday to Sunday
                       WeekBoundariesBetween(sunday + 1, sunday + 8),
                       WeekBoundariesBetween(sunday + 8, sunday + 1)),
            std::tuple(1, 0, 1, -1));
  EXPECT_EQ(WeekBoundariesBetween(DateFromParts(2007, 12, 31), DateFromParts(2008, 1, 6)), 0);
  EXPECT_EQ(WeekBoundariesBetween(DateFromParts(2008, 1, 1), DateFromParts(2009, 1, 1)), 52);
}

TEST(RoundUp, SmallestWholeNumberNotBelow) {
  EXPECT_EQ(std::tuple(RoundUp(2.0), RoundUp(2.01), RoundUp(-2.5), RoundUp(-0.0)),
            std::tuple(2, 3, -2, 0));
  EXPECT_EQ(std::tuple(RoundUpDate(39448.0), RoundUpDate(39448.0001)), std::tuple(39448, 39449));
  EXPECT_EQ(ErrorOf([] { RoundUp(3e9); }), 6);
  EXPECT_EQ(ErrorOf([] { RoundUp(std::nan("")); }), 6);
}

TEST(IsDateInPeriod, StartInclusiveEndExclusive) {
  auto p = DateTimeNormal::New(10, 20), q = DateTimeNormal::New(15, 30);
  EXPECT_EQ(std::tuple(IsDateInPeriod(10, *p), IsDateInPeriod(19.999, *p), IsDateInPeriod(20, *p),
                       IsDateInPeriod(9.999, *p)),
            std::tuple(true, true, false, false));
  EXPECT_EQ(std::tuple(IsDateInPeriods(16, *p, *q), IsDateInPeriods(12, *p, *q),
                       IsDateInPeriods(25, *p, *q)),
            std::tuple(true, false, false));
}

TEST(TextHelpers, SplitFirstCutAtNullTrimAndLowerCase) {
  std::string rest = "x";
  EXPECT_EQ(SplitFirst("a ; b", ';', &rest) + "|" + rest, "a|b");
  EXPECT_EQ(SplitFirst("abc", ';', &rest) + "|" + rest, "abc|");
  EXPECT_EQ(SplitFirst(" 255 = A=B ", '=', &rest) + "|" + rest, "255|A=B");
  EXPECT_EQ(SplitFirst("=", '=', &rest) + "|" + rest, "|");
  EXPECT_EQ(CutAtNull(std::string("200805.xmf\0junk", 15)), "200805.xmf");
  EXPECT_EQ(CutAtNull(std::string("\0", 1)), "");
  EXPECT_EQ(ErrorOf([] { CutAtNull("no nul"); }), 5);
  EXPECT_EQ(TrimSpaces("  a b \t "), "a b \t");
  EXPECT_EQ(LowerCase(" MEETING Über ÄÖÜ Œuvre ŠŽŸ ×"), " meeting über äöü œuvre šžÿ ×");
  EXPECT_EQ(LowerCase("ß€"), "ß€");
}

}  // namespace
}  // namespace orncal
