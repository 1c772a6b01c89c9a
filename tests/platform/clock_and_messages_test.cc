#include <gtest/gtest.h>

#include <cmath>

#include "orncalendar/ole_date.h"
#include "orncalendar/platform.h"
#include "support/test_env.h"

namespace orncal {
namespace {

TEST(MessageSink, AnInstalledHandlerReceivesTheExactTextAndStyle) {
  testing::MessageCapture capture;
  ShowMessage("Schwerwiegender Fehler:\r\nzweite Zeile", MessageStyle::kCritical);
  ShowMessage("UNEXPECTED");
  ASSERT_EQ(capture.messages().size(), 2u);
  EXPECT_EQ(capture.messages()[0].Text, "Schwerwiegender Fehler:\r\nzweite Zeile");
  EXPECT_EQ(capture.messages()[0].Style, MessageStyle::kCritical);
  EXPECT_EQ(capture.messages()[1].Style, MessageStyle::kPlain);
}

TEST(MessageSink, InstallingReturnsThePreviousHandler) {
  int first = 0, second = 0;
  MessageHandler before = SetMessageHandler([&](const Message&) { ++first; });
  MessageHandler mine = SetMessageHandler([&](const Message&) { ++second; });
  ShowMessage("x");
  SetMessageHandler(std::move(mine));
  ShowMessage("y");
  SetMessageHandler(std::move(before));
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 1);
}

TEST(Clock, AnInstalledClockIsTheOneSourceOfNowAndTimer) {
  const Date noon = DateFromParts(2008, 5, 14) + TimeFromParts(12, 30, 15);
  {
    testing::ScopedClock fixed(noon);
    EXPECT_EQ(CurrentClock().Now(), noon);
    EXPECT_NEAR(CurrentClock().Timer(), 12 * 3600 + 30 * 60 + 15, 1e-6);
    fixed.clock().Advance(45);
    EXPECT_NEAR(CurrentClock().Timer(), 12 * 3600 + 31 * 60, 1e-6);
  }
  // The system clock is back: its Now has whole seconds and lies after 2020.
  Date now = CurrentClock().Now();
  EXPECT_GT(now, DateFromParts(2020, 1, 1));
  EXPECT_NEAR(now * 86400.0, std::round(now * 86400.0), 1e-3);
}

}  // namespace
}  // namespace orncal
