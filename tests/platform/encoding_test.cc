#include "platform/encoding.h"

#include <gtest/gtest.h>

namespace orncal::platform {
namespace {

TEST(Encoding, EveryWindows1252ByteSurvivesARoundTrip) {
  std::string all;
  for (int b = 0; b < 256; ++b)
    all.push_back(static_cast<char>(b));
  EXPECT_EQ(Utf8ToCp1252(Cp1252ToUtf8(all)), all);
}

TEST(Encoding, GermanTextAndTheEuroConvertBothWays) {
  const std::string cp1252 =
      "Gr\xFC\xDF"
      "e \x80 \x84"
      "a\x93";
  const std::string utf8 = "Grüße € „a“";
  EXPECT_EQ(Cp1252ToUtf8(cp1252), utf8);
  EXPECT_EQ(Utf8ToCp1252(utf8), cp1252);
}

TEST(Encoding, WhatWindows1252CannotHoldBecomesAQuestionMark) {
  EXPECT_EQ(Utf8ToCp1252("a\xE2\x86\x92"
                         "b"),
            "a?b");                                  // U+2192 arrow
  EXPECT_EQ(Utf8ToCp1252("\xF0\x9F\x98\x80"), "?");  // an emoji, 4 bytes
  EXPECT_EQ(Utf8ToCp1252("x\xC3"), "x?");            // cut-off sequence
  EXPECT_EQ(Utf8ToCp1252("\xC0\xAF"), "??");         // overlong form
  EXPECT_EQ(Utf8ToCp1252("\xED\xA0\x80"), "???");    // a surrogate
}

TEST(Encoding, LowerCasingTouchesOnlyTheCapitalsOfWindows1252) {
  EXPECT_EQ(LowerCp1252Letters("C:\\Users\\ÄÖÜ ÀÞ Š Œ Ž Ÿ"), "c:\\users\\äöü àþ š œ ž ÿ");
  // ß and × have no capital partner; Greek, Cyrillic and Ł lie outside 1252.
  EXPECT_EQ(LowerCp1252Letters("ß × ΣΔ ДЖ Ł ÿ €"), "ß × ΣΔ ДЖ Ł ÿ €");
  // Bytes that are not UTF-8 pass through unchanged.
  EXPECT_EQ(LowerCp1252Letters("A\xC4Z\xFF"), "a\xC4z\xFF");
}

}  // namespace
}  // namespace orncal::platform
