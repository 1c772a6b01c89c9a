#include "when.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "orncalendar/ole_date.h"

namespace orncal::cli {
namespace {

TEST(ParseWhen, DatesAndTimesBecomeExactOleDates) {
  EXPECT_EQ(ParseWhen("2008-05-14"), DateFromParts(2008, 5, 14));
  EXPECT_EQ(ParseWhen("2008-05-14T10:30"), DateFromParts(2008, 5, 14) + 37800 / 86400.0);
  EXPECT_EQ(ParseWhen("2008-05-14T10:30:15"), DateFromParts(2008, 5, 14) + 37815 / 86400.0);
  EXPECT_EQ(ParseWhen("2008-02-29T23:59:59"), DateFromParts(2008, 2, 29) + 86399 / 86400.0);
  EXPECT_EQ(ParseWhen("1899-12-30"), 0);
  EXPECT_EQ(ParseWhen("1899-12-29T06:00"), -1.25);  // as OLE reads dates before day 0
}

TEST(ParseWhen, RawOleNumbersAreTakenAsTheyStand) {
  EXPECT_EQ(ParseWhen("ole:39582.4375"), 39582.4375);
  EXPECT_EQ(ParseWhen("ole:-1.25"), -1.25);
  EXPECT_EQ(ParseWhen("ole:0.1"), 0.1);
}

TEST(ParseWhen, AnythingElseIsRefusedWithAMessageNamingIt) {
  for (const char* bad :
       {"", "2008-5-14", "2008-05-14 10:30", "2008-13-01", "2008-02-30", "2009-02-29",
        "2008-05-14T24:00", "2008-05-14T10:60", "2008-05-14T10:30:60", "0099-01-01",
        "2008-05-14T10", "2008/05/14", "ole:", "ole:abc", "ole:1e400", "ole:nan", "ole:1x",
        "+008-05-14", "２００８-05-14"}) {
    try {
      ParseWhen(bad);
      ADD_FAILURE() << "accepted: " << bad;
    } catch (const std::invalid_argument& e) {
      EXPECT_NE(std::string(e.what()).find(bad), std::string::npos) << e.what();
    }
  }
}

}  // namespace
}  // namespace orncal::cli
