#include <gtest/gtest.h>

#include "orncalendar/date_time.h"
#include "orncalendar/error.h"
#include "orncalendar/ole_date.h"

namespace orncal {
namespace {

constexpr double kHour = 1.0 / 24;
const Date kDay = DateFromParts(2008, 5, 14);

Date At(double hour) { return kDay + hour * kHour; }

bool Overlaps(double s, double e, double qs, double qe) {
  auto period = DateTimeNormal::New(At(s), At(e));
  return period->OverLapsWith(*DateTimeNormal::New(At(qs), At(qe)));
}

TEST(DateTimeNormalOverlap, TouchingPeriodsDoNotOverlap) {
  EXPECT_FALSE(Overlaps(10, 11, 11, 12));
  EXPECT_FALSE(Overlaps(11, 12, 10, 11));
  EXPECT_TRUE(Overlaps(10, 11, 10 + 59.0 / 60, 12));
  EXPECT_TRUE(Overlaps(10, 11, 9, 10 + 1.0 / 60));
  EXPECT_TRUE(Overlaps(10, 11, 10, 11));
  EXPECT_TRUE(Overlaps(10, 11, 9, 12));
  EXPECT_TRUE(Overlaps(9, 12, 10, 11));
}

TEST(DateTimeNormalOverlap, AnInstantCountsInsideAndAtTheQueryStartButNotAtItsEnd) {
  EXPECT_TRUE(Overlaps(10, 10, 10, 11));
  EXPECT_TRUE(Overlaps(10.5, 10.5, 10, 11));
  EXPECT_FALSE(Overlaps(10, 10, 9, 10));
  EXPECT_FALSE(Overlaps(12, 12, 10, 11));
  EXPECT_TRUE(Overlaps(10, 10, 10, 10));  // an instant queried by the same instant
}

TEST(DateTimeNormalOverlap, AQueryInstantMeetsOnlyTheInsideOfAPeriod) {
  EXPECT_FALSE(Overlaps(10, 11, 10, 10));
  EXPECT_TRUE(Overlaps(10, 11, 10.5, 10.5));
  EXPECT_FALSE(Overlaps(10, 11, 11, 11));
}

TEST(DateTimeNormalOverlap, AnInvertedPeriodFollowsTheSameTwoComparisons) {
  EXPECT_TRUE(Overlaps(11, 10, 9, 12));  // 9 < 10 and 12 > 11
  EXPECT_FALSE(Overlaps(11, 10, 10.2, 10.8));
  EXPECT_FALSE(Overlaps(11, 10, 10.5, 10.5));
}

TEST(DateTimeNormalOverlap, ReturnedPieceIsThePeriodItself) {
  auto period = DateTimeNormal::New(At(10), At(11));
  PeriodsPtr pieces;
  ASSERT_TRUE(period->OverLapsWith(*DateTimeNormal::New(At(9), At(12)),
                                   {.Out_Periods = &pieces, .ReturnPeriods = true}));
  ASSERT_TRUE(pieces);
  ASSERT_EQ(pieces->Count(), 1);
  EXPECT_EQ(pieces->Item(1), period);
  pieces->Item(1)->SetEndDateTime(At(13));
  EXPECT_EQ(period->EndDateTime(), At(13));
}

TEST(DateTimeNormalOverlap, NoOverlapLeavesTheOutputUntouched) {
  auto period = DateTimeNormal::New(At(10), At(11));
  auto before = std::make_shared<Periods>();
  PeriodsPtr pieces = before;
  EXPECT_FALSE(period->OverLapsWith(*DateTimeNormal::New(At(11), At(12)),
                                    {.Out_Periods = &pieces, .ReturnPeriods = true}));
  EXPECT_EQ(pieces, before);
  // Without ReturnPeriods the output is not touched either.
  EXPECT_TRUE(period->OverLapsWith(*DateTimeNormal::New(At(9), At(12)), {.Out_Periods = &pieces}));
  EXPECT_EQ(pieces, before);
}

TEST(DateTimeNormal, AnswersTheInterfaceFromItsTwoFields) {
  auto period = DateTimeNormal::New(At(12), At(8));
  EXPECT_EQ(period->DateTimeType(), 1);
  EXPECT_EQ(period->GetFirstDate(), At(12));
  EXPECT_EQ(period->GetLastDate(), At(8));  // the end, even before the start
  EXPECT_EQ(period->FirstOccurency(), At(12));
  EXPECT_EQ(period->Series(), nullptr);
}

TEST(DateTimeNormal, CopyFromTakesAnotherSimplePeriodOnly) {
  auto target = DateTimeNormal::New();
  target->CopyFrom(*DateTimeNormal::New(At(1), At(2)));
  EXPECT_EQ(target->StartDateTime(), At(1));
  EXPECT_EQ(target->EndDateTime(), At(2));
  try {
    target->CopyFrom(*DateTime::New());
    FAIL();
  } catch (const Error& e) {
    EXPECT_EQ(e.Number(), 5);
  }
  EXPECT_EQ(target->StartDateTime(), At(1));
}

TEST(DateTime, TheBareClassAnswersZeroValues) {
  DateTimePtr bare = DateTime::New();
  bare->SetStartDateTime(5);
  EXPECT_EQ(bare->StartDateTime(), 0);
  EXPECT_EQ(bare->DateTimeType(), 0);
  EXPECT_FALSE(bare->OverLapsWith(*DateTimeNormal::New(0, 1e6)));
  EXPECT_EQ(bare->GetLastDate(), 0);
  EXPECT_EQ(bare->Series(), nullptr);
}

}  // namespace
}  // namespace orncal
