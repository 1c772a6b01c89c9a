// FindAppointment and GetAppointment.
#include <gtest/gtest.h>

#include "core/calendar_fixture.h"

namespace orncal {
namespace {

using testing::At;
using testing::Day;

class SearchTest : public testing::CalendarOpsTest {
 protected:
  AppointmentPtr Find(std::string_view name, const FindOptions& options = {}) {
    return calendar_->FindAppointment(name, options);
  }
};

TEST_F(SearchTest, TheWholeTitleMatchesBlindToCaseAndSurroundingSpaces) {
  AppointmentPtr meeting = Make(" Meeting ", At(2008, 5, 20, 9), At(2008, 5, 20, 10));
  Make("Übung", At(2008, 5, 21, 9), At(2008, 5, 21, 10));
  EXPECT_EQ(Find("meeting"), meeting);
  EXPECT_EQ(Find("MEETING "), meeting);
  EXPECT_EQ(Find("meet"), nullptr);
  EXPECT_EQ(Find("ÜBUNG")->Title(), "Übung");
}

TEST_F(SearchTest, ForwardHitsAreMeasuredByTheirStartBackwardHitsByTheirEnd) {
  const Date start_at = At(2008, 5, 20, 12);
  // A call from 11:59 to 12:00 ends where the forward span starts.
  AppointmentPtr early = Make("call", At(2008, 5, 20, 11, 59), At(2008, 5, 20, 12));
  EXPECT_EQ(Find("call", {.Direction = 1, .StartAt = start_at}), nullptr);
  EXPECT_EQ(Find("call", {.Direction = -1, .StartAt = start_at}), early);
  // Both ways, the nearer one wins: the end of `early` lies at StartAt, the
  // start of `later` two hours after it.
  AppointmentPtr later = Make("call", At(2008, 5, 20, 14), At(2008, 5, 20, 15));
  EXPECT_EQ(Find("call", {.StartAt = start_at}), early);
  EXPECT_EQ(Find("call", {.Direction = 1, .StartAt = start_at}), later);
}

TEST_F(SearchTest, OnATieTheHitFoundFirstWins) {
  const Date start_at = At(2008, 5, 20, 12);
  AppointmentPtr before = Make("tie", At(2008, 5, 20, 10), At(2008, 5, 20, 11));
  AppointmentPtr after = Make("tie", At(2008, 5, 20, 13), At(2008, 5, 20, 14));
  EXPECT_EQ(Find("tie", {.StartAt = start_at}), after);  // forward before backward
  AppointmentPtr second = Make("tie", At(2008, 5, 20, 13), At(2008, 5, 20, 15));
  EXPECT_EQ(Find("tie", {.Direction = 1, .StartAt = start_at}), after);  // file order
  (void)before;
  (void)second;
}

TEST_F(SearchTest, TheSearchWalksMonthByMonthWithinTheMonthsOnDisk) {
  AppointmentPtr far = Make("far", At(2009, 3, 5, 9), At(2009, 3, 5, 10));
  Make("past", At(2007, 2, 5, 9), At(2007, 2, 5, 10));
  EXPECT_EQ(Find("far", {.Direction = 1, .StartAt = Day(2008, 5, 20)}), far);
  EXPECT_EQ(Find("past", {.Direction = -1, .StartAt = Day(2008, 5, 20)})->Title(), "past");
  // Beyond the last month on disk there is nothing to find.
  EXPECT_EQ(Find("far", {.Direction = 1, .StartAt = Day(2009, 4, 1)}), nullptr);
  // Both ways at once, the forward limit ends the whole search.
  EXPECT_EQ(Find("past", {.StartAt = Day(2009, 3, 20)}), nullptr);
}

TEST_F(SearchTest, StartAtZeroIsNowAndInvisibleAppointmentsAreNotFound) {
  AppointmentPtr today = Make("today", At(2008, 5, 14, 11), At(2008, 5, 14, 12));
  Make("hidden", At(2008, 5, 14, 11), At(2008, 5, 14, 12), calInvisible);
  EXPECT_EQ(Find("today", {.Direction = 1}), today);  // the clock stands at 14 May 10:00
  EXPECT_EQ(Find("hidden"), nullptr);
  EXPECT_EQ(Find("hidden", {.NotFlags = 0})->Title(), "hidden");
}

TEST_F(SearchTest, WithoutMonthFilesOnlyTheFirstSpanIsSearched) {
  EXPECT_EQ(Find("anything", {.StartAt = Day(2008, 5, 20)}), nullptr);
  EXPECT_EQ(calendar_->Files()->Count(), 1);
}

TEST_F(SearchTest, TheSearchGivesUpAfterFiveSecondsOfItsTimer) {
  // A timer that runs on by a second each time it is read.
  class RunningClock : public Clock {
   public:
    Date Now() const override { return Day(2008, 5, 20); }
    double Timer() const override { return ++ticks_; }
    mutable double ticks_ = 0;
  };
  Make("last", At(2020, 1, 5, 9), At(2020, 1, 5, 10));
  Make("first", At(2000, 1, 5, 9), At(2000, 1, 5, 10));
  auto running = std::make_shared<RunningClock>();
  std::shared_ptr<Clock> before = SetClock(running);
  EXPECT_EQ(Find("nowhere"), nullptr);
  SetClock(before);
  EXPECT_LE(calendar_->Files()->Count(), 2 + 2 * 6);  // a handful of passes, not 20 years
}

TEST_F(SearchTest, GetAppointmentAnswersByFileAndNumber) {
  AppointmentPtr a = Make("x", At(2008, 5, 20, 9), At(2008, 5, 20, 10));
  EXPECT_EQ(calendar_->GetAppointment(200805, a->ID()), a);
  EXPECT_EQ(calendar_->GetAppointment(200805, 99), nullptr);
  EXPECT_EQ(calendar_->GetAppointment(-1, 1), nullptr);
}

}  // namespace
}  // namespace orncal
