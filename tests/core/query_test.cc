// AllAppointmentsInPeriod: months visited, filters, series and links.
#include <gtest/gtest.h>

#include <cmath>

#include "core/calendar_fixture.h"

namespace orncal {
namespace {

using testing::At;
using testing::Day;

class QueryTest : public testing::CalendarOpsTest {};

TEST_F(QueryTest, AQueryEndingAtMidnightOfTheFirstDoesNotVisitTheNextMonth) {
  Make("may", At(2008, 5, 10, 9), At(2008, 5, 10, 10));
  EXPECT_EQ(Titles(Query(Day(2008, 5, 1), Day(2008, 6, 1))), std::vector<std::string>{"may"});
  EXPECT_FALSE(Loaded(200806));
  Query(Day(2008, 5, 1), Day(2008, 6, 1) + TimeFromParts(0, 1, 0));
  EXPECT_TRUE(Loaded(200806));
  EXPECT_FALSE(Loaded(200804));
}

TEST_F(QueryTest, FlagMasksSelectByTheirSignedBitTests) {
  const Date s = At(2008, 5, 10, 9), e = At(2008, 5, 10, 10);
  Make("none", s, e, 0);
  Make("invisible", s, e, calInvisible);
  Make("noedit", s, e, calNoEdit);
  Make("nodt", s, e, calNoDTChange);
  Make("both", s, e, calNoEdit | calNoDTChange);
  Make("bit31", s, e, INT32_MIN);
  Make("bit31+invisible", s, e, INT32_MIN | calInvisible);
  const Date qs = Day(2008, 5, 1), qe = Day(2008, 6, 1);
  using V = std::vector<std::string>;
  EXPECT_EQ(Titles(Query(qs, qe)), (V{"none", "noedit", "nodt", "both", "bit31"}));
  EXPECT_EQ(Titles(Query(qs, qe, {.NotFlags = 0})).size(), 7u);
  EXPECT_EQ(Titles(Query(qs, qe, {.Flags = 6})), (V{"both"}));
  EXPECT_EQ(Titles(Query(qs, qe, {.OrFlags = 6})), (V{"noedit", "nodt", "both"}));
  EXPECT_EQ(Titles(Query(qs, qe, {.NotFlags = 0, .NotAndFlags = 6})),
            (V{"none", "invisible", "noedit", "nodt", "bit31", "bit31+invisible"}));
  // Bit 31 alone counts as zero: it neither excludes nor selects.
  EXPECT_EQ(Titles(Query(qs, qe, {.NotFlags = INT32_MIN})).size(), 7u);
  EXPECT_EQ(Titles(Query(qs, qe, {.NotFlags = 0, .OrFlags = INT32_MIN})), V{});
}

TEST_F(QueryTest, AllDaySwitches) {
  Make("timed", At(2008, 5, 10, 9), At(2008, 5, 10, 10));
  Make("whole day", Day(2008, 5, 11), Day(2008, 5, 11), 0, true);
  using V = std::vector<std::string>;
  const Date qs = Day(2008, 5, 1), qe = Day(2008, 6, 1);
  EXPECT_EQ(Titles(Query(qs, qe)), (V{"timed", "whole day"}));
  EXPECT_EQ(Titles(Query(qs, qe, {.AlsoAllDay = false})), (V{"timed"}));
  EXPECT_EQ(Titles(Query(qs, qe, {.OnlyAllDay = true})), (V{"whole day"}));
}

TEST_F(QueryTest, ASeriesYieldsOnePartPerOccurrenceOrItselfOncePerMonth) {
  AppointmentPtr series = MakeWeekly("gym", Day(2008, 4, 28), calMonday);
  AppointmentsPtr parts = Query(Day(2008, 5, 1), Day(2008, 6, 1));
  ASSERT_EQ(parts->Count(), 4);  // the Mondays 5, 12, 19 and 26 May
  for (int32_t i = 1; i <= 4; ++i) {
    const AppointmentPtr& part = parts->Item(i);
    EXPECT_EQ(part->AppointmentType(), 3);
    EXPECT_EQ(part->PartDateTime(), part->DateTime());
    EXPECT_EQ(part->DateTime()->StartDateTime(), At(2008, 5, 5 + 7 * (i - 1), 9));
    EXPECT_EQ(part->Title(), "gym");
  }
  // The parts of May stand for the link May holds to April's series.
  EXPECT_EQ(parts->Item(1)->Series()->Target(), series);

  AppointmentsPtr whole = Query(Day(2008, 4, 1), Day(2008, 6, 1), {.SeperateSerials = false});
  ASSERT_EQ(whole->Count(), 2);  // April's own entry and May's link, turned into the series
  EXPECT_EQ(whole->Item(1), series);
  EXPECT_EQ(whole->Item(2), series);
}

TEST_F(QueryTest, LinksBecomeTheirAppointmentUnlessDoublesAreRemoved) {
  AppointmentPtr trip = Make("trip", Day(2008, 5, 30), Day(2008, 6, 2));
  Make("june", At(2008, 6, 5, 9), At(2008, 6, 5, 10));
  AppointmentsPtr plain = Query(Day(2008, 5, 1), Day(2008, 7, 1));
  EXPECT_EQ(Titles(plain), (std::vector<std::string>{"trip", "trip", "june"}));
  EXPECT_EQ(plain->Item(2), trip);
  AppointmentsPtr single = Query(Day(2008, 5, 1), Day(2008, 7, 1), {.RemoveDoubles = true});
  EXPECT_EQ(Titles(single), (std::vector<std::string>{"trip", "june"}));
  // Asked for June alone, the link stands in as itself.
  AppointmentsPtr june = Query(Day(2008, 6, 1), Day(2008, 7, 1), {.RemoveDoubles = true});
  EXPECT_EQ(june->Item(1)->AppointmentType(), 2);
  EXPECT_EQ(june->Item(1)->Target(), trip);
}

TEST_F(QueryTest, RemindTimeSelectsByTheMomentOfTheReminder) {
  AppointmentPtr early = Make("reminds the day before", At(2008, 5, 2, 9), At(2008, 5, 2, 10));
  early->SetRemind(true);
  early->SetRemindAt(-86400 + 3600);  // 1 May 10:00
  AppointmentPtr silent = Make("no reminder", At(2008, 5, 1, 11), At(2008, 5, 1, 12));
  AppointmentPtr outside = Make("reminds outside", At(2008, 5, 1, 11), At(2008, 5, 1, 12));
  outside->SetRemind(true);
  outside->SetRemindAt(-13 * 3600);  // 30 April 22:00, before the query
  // A reminder counts only within the month that lists its appointment:
  // April's appointment reminding on 1 May is not found.
  AppointmentPtr april = Make("april", At(2008, 4, 30, 23), At(2008, 4, 30, 23, 30));
  april->SetRemind(true);
  april->SetRemindAt(3 * 3600);
  const QueryOptions remind{.UseRemindTime = true};
  EXPECT_EQ(Titles(Query(At(2008, 5, 1, 0), At(2008, 5, 1, 12), remind)),
            (std::vector<std::string>{"reminds the day before"}));
}

TEST_F(QueryTest, SeriesPartsRemindEachByItsOwnOccurrence) {
  AppointmentPtr series = MakeWeekly("gym", Day(2008, 5, 5), calMonday | calWednesday);
  series->SetRemind(true);
  series->SetRemindAt(-600);
  AppointmentsPtr due = Query(At(2008, 5, 7, 8), At(2008, 5, 7, 9), {.UseRemindTime = true});
  ASSERT_EQ(due->Count(), 1);
  EXPECT_EQ(due->Item(1)->DateTime()->StartDateTime(), At(2008, 5, 7, 9));
}

TEST_F(QueryTest, AFailingAppointmentIsLeftOutAndTheRestStands) {
  Make("good", At(2008, 5, 10, 9), At(2008, 5, 10, 10));
  FilePtr may = calendar_->GetMonthFile(MonthRef{.FileLong = 200805});
  AppointmentRealPtr broken = AppointmentReal::New();  // no period at all
  broken->SetID(99);
  may->Appointments()->AddKeyed(broken);
  EXPECT_EQ(Titles(Query(Day(2008, 5, 1), Day(2008, 6, 1))), std::vector<std::string>{"good"});
  // A query that is no date at all gives an empty result, not an error.
  EXPECT_EQ(Query(std::nan(""), Day(2008, 6, 1))->Count(), 0);
}

TEST_F(QueryTest, AMonthMadeInMemoryPassesOnWhatIsFiledIntoItLater) {
  Query(Day(2008, 6, 1), Day(2008, 7, 1));  // June is made, holding nothing
  AppointmentPtr trip = Make("trip", Day(2008, 6, 20), Day(2008, 8, 10));
  Make("short", At(2008, 6, 21, 9), At(2008, 6, 21, 10));
  // July and August are made after the trip was filed into June.
  AppointmentsPtr later = Query(Day(2008, 7, 1), Day(2008, 9, 1));
  EXPECT_EQ(Titles(later), (std::vector<std::string>{"trip", "trip"}));
  EXPECT_EQ(later->Item(2), trip);
  // A long walk over months without files ends, holding only what reaches.
  EXPECT_EQ(Titles(Query(Day(2008, 9, 1), Day(2108, 9, 1))), std::vector<std::string>{});
}

}  // namespace
}  // namespace orncal
