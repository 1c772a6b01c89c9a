#include "datetime/helpers.h"

#include <gtest/gtest.h>

#include <cmath>

#include "orncalendar/error.h"

namespace orncal {
namespace {

TEST(RoundUp, SmallestWholeNumberNotBelow) {
  EXPECT_EQ(RoundUp(2.0), 2);
  EXPECT_EQ(RoundUp(2.01), 3);
  EXPECT_EQ(RoundUp(-2.5), -2);
  EXPECT_EQ(RoundUp(-0.0), 0);
  EXPECT_EQ(RoundUpDate(39448.0), 39448);
  EXPECT_EQ(RoundUpDate(39448.0001), 39449);
  EXPECT_THROW(RoundUp(3e9), Error);
  try {
    RoundUp(std::nan(""));
    FAIL();
  } catch (const Error& e) {
    EXPECT_EQ(e.Number(), 6);
  }
}

TEST(IsDateInPeriod, StartInclusiveEndExclusive) {
  auto p = DateTimeNormal::New(10, 20);
  EXPECT_TRUE(IsDateInPeriod(10, *p));
  EXPECT_TRUE(IsDateInPeriod(19.999, *p));
  EXPECT_FALSE(IsDateInPeriod(20, *p));
  EXPECT_FALSE(IsDateInPeriod(9.999, *p));
  auto q = DateTimeNormal::New(15, 30);
  EXPECT_TRUE(IsDateInPeriods(16, *p, *q));
  EXPECT_FALSE(IsDateInPeriods(12, *p, *q));
  EXPECT_FALSE(IsDateInPeriods(25, *p, *q));
}

TEST(SplitFirst, SplitsAtTheFirstSeparatorAndTrims) {
  std::string rest = "x";
  EXPECT_EQ(SplitFirst("a ; b", ';', &rest), "a");
  EXPECT_EQ(rest, "b");
  EXPECT_EQ(SplitFirst("abc", ';', &rest), "abc");
  EXPECT_EQ(rest, "");
  EXPECT_EQ(SplitFirst(" 255 = A=B ", '=', &rest), "255");
  EXPECT_EQ(rest, "A=B");
  EXPECT_EQ(SplitFirst("=", '=', &rest), "");
  EXPECT_EQ(rest, "");
}

TEST(CutAtNull, CutsAtTheFirstNulOrRaisesError5) {
  EXPECT_EQ(CutAtNull(std::string("200805.xmf\0junk", 15)), "200805.xmf");
  EXPECT_EQ(CutAtNull(std::string("\0", 1)), "");
  try {
    CutAtNull("no nul");
    FAIL();
  } catch (const Error& e) {
    EXPECT_EQ(e.Number(), 5);
  }
}

TEST(TextHelpers, TrimOnlySpacesAndLowerGermanLetters) {
  EXPECT_EQ(TrimSpaces("  a b \t "), "a b \t");
  EXPECT_EQ(LowerCase(" MEETING Über ÄÖÜ Œuvre ŠŽŸ ×"), " meeting über äöü œuvre šžÿ ×");
  EXPECT_EQ(LowerCase("ß€"), "ß€");
}

}  // namespace
}  // namespace orncal
