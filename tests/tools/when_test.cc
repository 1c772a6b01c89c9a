#include "when.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "orncalendar/ole_date.h"

namespace orncal::cli {
namespace {

const Date kMay14 = DateFromParts(2008, 5, 14);  // a Wednesday
const Date kNow = kMay14 + 37815 / 86400.0;      // 10:30:15

Date At(std::string_view text) { return ParseWhen(text, kNow).Value; }

TEST(ParseWhen, DaysAndTimesBecomeExactOleDates) {
  const std::vector<std::pair<const char*, Date>> cases = {
      {"2008-05-14", kMay14},
      {"2008-05-14T10:30", kMay14 + 37800 / 86400.0},
      {"2008-05-14 10:30:15", kMay14 + 37815 / 86400.0},
      {"2008-05-14T9:05", kMay14 + 32700 / 86400.0},
      {"2008-02-29T23:59:59", DateFromParts(2008, 2, 29) + 86399 / 86400.0},
      {"1899-12-30", 0},
      {"1899-12-29T06:00", -1.25},  // as OLE reads dates before day 0
      {"ole:39582.4375", 39582.4375},
      {"ole:-1.25", -1.25},
      {"ole:-657434.5", -657434.5},  // 1 January 100, 12:00
      // Words count from the clock; a weekday name is the next such day,
      // today itself when it is that day.
      {"now", kNow},
      {"today", kMay14},
      {"Tomorrow 14:00", kMay14 + 1 + 14 / 24.0},
      {"yesterdayT08:00", kMay14 - 1 + 8 / 24.0},
      {"wednesday", kMay14},
      {"wed", kMay14},
      {"TUESDAY", kMay14 + 6},
      {"sun 9:30", kMay14 + 4 + 9.5 / 24},
  };
  for (const auto& [text, value] : cases)
    EXPECT_EQ(At(text), value) << text;
  EXPECT_FALSE(ParseWhen("friday", kNow).HasTime);
  EXPECT_TRUE(ParseWhen("friday 0:00", kNow).HasTime);
  EXPECT_TRUE(ParseWhen("now", kNow).HasTime);
  EXPECT_EQ(ParseDay("monday", kNow), kMay14 + 5);
  EXPECT_THROW(ParseDay("monday 10:00", kNow), std::invalid_argument);
}

TEST(ParseWhen, AnythingElseIsRefusedWithAMessageNamingIt) {
  for (const char* bad : {"",
                          "2008-5-14",
                          "2008-13-01",
                          "2008-02-30",
                          "2009-02-29",
                          "2008-05-14T24:00",
                          "2008-05-14T10:60",
                          "2008-05-14T10:30:60",
                          "0099-01-01",
                          "2008-05-14T10",
                          "2008/05/14",
                          "ole:",
                          "ole:abc",
                          "ole:1e400",
                          "ole:nan",
                          "ole:1x",
                          "+008-05-14",
                          "２００８-05-14",
                          "today 25:00",
                          "todayish",
                          "now 10:00",
                          "mo",
                          "next monday",
                          "2008-05-14T10:30 "}) {
    try {
      ParseWhen(bad, kNow);
      ADD_FAILURE() << "accepted: " << bad;
    } catch (const std::invalid_argument& e) {
      EXPECT_NE(std::string(e.what()).find(bad), std::string::npos) << e.what();
    }
  }
}

TEST(ParseTimeRange, AnEndBeforeTheStartIsOnTheNextDay) {
  const auto range = [](const char* text) {
    const TimeRange r = ParseTimeRange(text);
    return std::make_pair(r.Start * 1440, r.End * 1440);  // minutes
  };
  EXPECT_EQ(range("10:00-11:30"), std::make_pair(600.0, 690.0));
  EXPECT_EQ(range("22:00-2:00"), std::make_pair(1320.0, 1560.0));
  EXPECT_EQ(range("9:15"), std::make_pair(555.0, 555.0));
  for (const char* bad : {"", "10-11", "10:00-", "10:00-24:00", "10:00 11:00", "a:bc-10:00"})
    EXPECT_THROW(ParseTimeRange(bad), std::invalid_argument) << bad;
  EXPECT_EQ(ParseYearMonth("2008-05").Month, 5);
  for (const char* bad : {"2008-13", "2008-5", "0099-01", "2008-05-01"})
    EXPECT_THROW(ParseYearMonth(bad), std::invalid_argument) << bad;
}

}  // namespace
}  // namespace orncal::cli
