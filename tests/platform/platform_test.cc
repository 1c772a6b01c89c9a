// The clock, the message sink and the Windows-1252 texts.
#include "orncalendar/platform.h"

#include <gtest/gtest.h>

#include <cmath>

#include "orncalendar/ole_date.h"
#include "platform/encoding.h"
#include "support/test_env.h"

namespace orncal {
namespace {

TEST(MessageSink, AnInstalledHandlerGetsTheExactTextAndStyleUntilThePreviousIsBack) {
  testing::MessageCapture outer;
  std::vector<Message> seen;
  MessageHandler before = SetMessageHandler([&](const Message& m) { seen.push_back(m); });
  ShowMessage("Schwerwiegender Fehler:\r\nzweite Zeile", MessageStyle::kCritical);
  ShowMessage("UNEXPECTED");
  SetMessageHandler(std::move(before));
  ShowMessage("to the previous handler");
  EXPECT_EQ(outer.texts(), std::vector<std::string>{"to the previous handler"});
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(std::tuple(seen[0].Text, seen[0].Style, seen[1].Text, seen[1].Style),
            std::tuple("Schwerwiegender Fehler:\r\nzweite Zeile", MessageStyle::kCritical,
                       "UNEXPECTED", MessageStyle::kPlain));
}

TEST(Clock, AnInstalledClockIsTheOneSourceOfNowAndTimer) {
  const Date noon = DateFromParts(2008, 5, 14) + TimeFromParts(12, 30, 15);
  auto fixed = std::make_shared<ManualClock>(noon);
  std::shared_ptr<Clock> before = SetClock(fixed);
  EXPECT_EQ(CurrentClock().Now(), noon);
  EXPECT_NEAR(CurrentClock().Timer(), 12 * 3600 + 30 * 60 + 15, 1e-6);
  fixed->Advance(45);
  EXPECT_NEAR(CurrentClock().Timer(), 12 * 3600 + 31 * 60, 1e-6);
  SetClock(before);
  // The system clock is back: its Now has whole seconds and lies after 2020.
  Date now = CurrentClock().Now();
  EXPECT_GT(now, DateFromParts(2020, 1, 1));
  EXPECT_NEAR(now * 86400.0, std::round(now * 86400.0), 1e-3);
}

TEST(Encoding, Windows1252AndUtf8ConvertBothWays) {
  using platform::Cp1252ToUtf8, platform::Utf8ToCp1252;
  std::string all;
  for (int b = 0; b < 256; ++b)
    all.push_back(static_cast<char>(b));
  EXPECT_EQ(Utf8ToCp1252(Cp1252ToUtf8(all)), all);  // every byte survives a round trip
  EXPECT_EQ(Cp1252ToUtf8("Gr\374\337e \200 \204a\223"), "Grüße € „a“");
  EXPECT_EQ(Utf8ToCp1252("Grüße € „a“"), "Gr\374\337e \200 \204a\223");
  // What Windows-1252 cannot hold becomes a question mark.
  EXPECT_EQ(Utf8ToCp1252("a\342\206\222b"), "a?b");  // U+2192 arrow
  EXPECT_EQ(Utf8ToCp1252("\xF0\x9F\x98\x80"), "?");  // an emoji, 4 bytes
  EXPECT_EQ(Utf8ToCp1252("x\xC3"), "x?");            // cut-off sequence
  EXPECT_EQ(Utf8ToCp1252("\xC0\xAF"), "??");         // overlong form
  EXPECT_EQ(Utf8ToCp1252("\xED\xA0\x80"), "???");    // a surrogate
}

TEST(Encoding, LowerCasingTouchesOnlyTheCapitalsOfWindows1252) {
  using platform::LowerCp1252Letters;
  EXPECT_EQ(LowerCp1252Letters("C:\\Users\\ÄÖÜ ÀÞ Š Œ Ž Ÿ"), "c:\\users\\äöü àþ š œ ž ÿ");
  // ß and × have no capital partner; Greek, Cyrillic and Ł lie outside 1252.
  EXPECT_EQ(LowerCp1252Letters("ß × ΣΔ ДЖ Ł ÿ €"), "ß × ΣΔ ДЖ Ł ÿ €");
  // Bytes that are not UTF-8 pass through unchanged.
  EXPECT_EQ(LowerCp1252Letters("A\xC4Z\xFF"), "a\xC4z\xFF");
}

}  // namespace
}  // namespace orncal
