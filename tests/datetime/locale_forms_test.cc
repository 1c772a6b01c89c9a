// Dates and numbers as text: written in the German forms, read in the
// German, ISO 8601 and C forms.
#include "datetime/locale_forms.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <string>

#include "orncalendar/ole_date.h"
#include "support/test_env.h"

namespace orncal {
namespace {

const Date kMay14 = DateFromParts(2008, 5, 14);

TEST(LocaleDate, WrittenGermanWithoutTheTimeAtMidnight) {
  const struct {
    Date date;
    const char* text;
  } cases[] = {
      {kMay14, "14.05.2008"},
      {kMay14 + TimeFromParts(10, 30, 5), "14.05.2008 10:30:05"},
      {kMay14 + TimeFromParts(23, 59, 59) + 0.6 / 86400, "15.05.2008"},  // rounds to the second
      {0, "30.12.1899"},
      {-1.25, "29.12.1899 06:00:00"},
      {kMinDate, "01.01.0100"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(FormatLocaleDate(c.date), c.text);
    EXPECT_EQ(ParseLocaleDate(c.text), std::round(c.date * 86400) / 86400) << c.text;
  }
  EXPECT_EQ(testing::ErrorOf([] { FormatLocaleDate(kMaxDate + 1); }), 6);
}

TEST(LocaleDate, ReadInTheGermanIsoAndCFormsAndNothingElse) {
  const Date ten = kMay14 + TimeFromParts(10, 0, 0);
  const Date pm = kMay14 + TimeFromParts(14, 5, 0);
  const struct {
    const char* text;
    std::optional<Date> date;
  } cases[] = {
      {"14.5.2008", kMay14},
      {" 14.05.2008 10:00 ", ten},
      {"14.05.2008 10:00:00", ten},
      {"2008-05-14", kMay14},
      {"2008-05-14T10:00:00", ten},
      {"2008-05-14 14:05", pm},
      {"5/14/2008", kMay14},
      {"05/14/2008 10:00:00", ten},
      {"5/14/2008 2:05:00 PM", pm},
      {"5/14/2008 12:00:00 AM", kMay14},
      {"12:00:00", 0.5},
      {"29.02.2008", DateFromParts(2008, 2, 29)},
      {"29.12.1899 06:00:00", -1.25},
      {"", std::nullopt},
      {"29.02.2009", std::nullopt},
      {"14.13.2008", std::nullopt},
      {"14.05.08", std::nullopt},
      {"14.05.2008 24:00", std::nullopt},
      {"14.05.2008 10:60", std::nullopt},
      {"2008-5-14", std::nullopt},
      {"5/14/2008 13:00 PM", std::nullopt},
      {"14.05.2008x", std::nullopt},
      {"01.01.0099", std::nullopt},
      {"39582,5", std::nullopt},
  };
  for (const auto& c : cases)
    EXPECT_EQ(ParseLocaleDate(c.text), c.date) << "'" << c.text << "'";
}

TEST(LocaleNumber, WrittenShortestWithADecimalCommaAndReadWithCommaOrPoint) {
  const Date ten = kMay14 + TimeFromParts(10, 0, 0);
  for (double value : {39520.5, -1.25, 39582.0, ten, 1e-5, 0.0, kMaxDate + 0.999}) {
    const std::string text = FormatLocaleNumber(value);
    EXPECT_EQ(text.find('.'), std::string::npos) << text;
    EXPECT_EQ(text.find('e'), std::string::npos) << text;
    EXPECT_EQ(ParseLocaleNumber(text), value) << text;  // exactly the same double
  }
  EXPECT_EQ(FormatLocaleNumber(39520.5), "39520,5");
  EXPECT_EQ(FormatLocaleNumber(ten), "39582,416666666664");
  EXPECT_EQ(FormatLocaleNumber(std::numeric_limits<double>::quiet_NaN()), "0");

  const struct {
    const char* text;
    std::optional<double> value;
  } cases[] = {
      {"39520,5", 39520.5},  {"39520.5", 39520.5},      {" -1,25 ", -1.25},
      {"+7", 7.0},           {"1E-05", 1e-5},           {"39520", 39520.0},
      {"", std::nullopt},    {"1.234,5", std::nullopt}, {"1,2,3", std::nullopt},
      {"abc", std::nullopt}, {"inf", std::nullopt},     {"+-1", std::nullopt},
      {"5x", std::nullopt},
  };
  for (const auto& c : cases)
    EXPECT_EQ(ParseLocaleNumber(c.text), c.value) << "'" << c.text << "'";
}

}  // namespace
}  // namespace orncal
