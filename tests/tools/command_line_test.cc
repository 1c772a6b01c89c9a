// Reading orncal's command line: the switches of list, the values of the
// other arguments, and the series that add-series makes of its options.
// What a user sees for bad arguments is tested on the built program.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "commands.h"
#include "orncalendar/ole_date.h"
#include "support/test_env.h"

namespace orncal::cli {
namespace {

Command Parse(std::vector<std::string> args) {
  std::vector<const char*> argv{"orncal"};
  for (const std::string& arg : args)
    argv.push_back(arg.c_str());
  const CommandLine line = ParseCommandLine(static_cast<int>(argv.size()), argv.data());
  EXPECT_TRUE(line.Run && line.Help.empty());
  return line.Run.value_or(Command{});
}

ListCommand ParseList(std::vector<std::string> extra) {
  std::vector<std::string> args{"list", "--from", "2008-05-01", "--to", "2008-06-01T12:30"};
  args.insert(args.end(), extra.begin(), extra.end());
  return std::get<ListCommand>(Parse(args));
}

std::string Describe(const ListCommand& c) {
  const QueryOptions& o = c.Options;
  return std::to_string(o.SeperateSerials) + std::to_string(o.AlsoAllDay) +
         std::to_string(o.OnlyAllDay) + std::to_string(o.UseRemindTime) + " " +
         std::to_string(o.Flags) + " " + std::to_string(o.NotFlags) + " " +
         std::to_string(o.OrFlags) + " " + std::to_string(o.NotAndFlags) + " " +
         std::to_string(o.RemoveDoubles) + " sort " + std::to_string(c.Sort) + " json " +
         std::to_string(c.Json);
}

TEST(ListArguments, EverySwitchSetsItsOwnFieldAndNoOther) {
  const ListCommand plain = ParseList({});
  EXPECT_EQ(plain.From, DateFromParts(2008, 5, 1));
  EXPECT_EQ(plain.To, DateFromParts(2008, 6, 1) + 45000 / 86400.0);
  EXPECT_EQ(Describe(plain), Describe(ListCommand{}));  // the query's defaults

  const std::vector<std::pair<std::vector<std::string>, ListCommand>> cases = {
      {{"--no-separate-serials"}, {.Options = {.SeperateSerials = false}}},
      {{"--no-all-day"}, {.Options = {.AlsoAllDay = false}}},
      {{"--only-all-day"}, {.Options = {.OnlyAllDay = true}}},
      {{"--use-remind-time"}, {.Options = {.UseRemindTime = true}}},
      {{"--flags", "6"}, {.Options = {.Flags = 6}}},
      {{"--not-flags", "0"}, {.Options = {.NotFlags = 0}}},
      {{"--or-flags", "0x80000000"}, {.Options = {.OrFlags = INT32_MIN}}},
      {{"--not-and-flags", "-1"}, {.Options = {.NotAndFlags = -1}}},
      {{"--remove-doubles"}, {.Options = {.RemoveDoubles = true}}},
      {{"--sort"}, {.Sort = true}},
      {{"--json"}, {.Json = true}},
  };
  for (const auto& [args, expected] : cases)
    EXPECT_EQ(Describe(ParseList(args)), Describe(expected)) << args[0];
}

TEST(MaskArguments, DecimalOrHexThirtyTwoBitPatterns) {
  for (const auto& [text, value] :
       std::vector<std::pair<const char*, int32_t>>{{"17", 17},
                                                    {"-2147483648", INT32_MIN},
                                                    {"2147483648", INT32_MIN},
                                                    {"4294967295", -1},
                                                    {"0x1F", 31},
                                                    {"0XFFFFFFFF", -1}}) {
    EXPECT_EQ(ParseMask(text, "--flags"), value) << text;
  }
  for (const char* bad : {"", "0x", "0x123456789", "4294967296", "-2147483649", "1.5", "+1", " 1",
                          "0x-1", "-0x1", "1e3"}) {
    try {
      ParseMask(bad, "--or-flags");
      ADD_FAILURE() << "accepted: '" << bad << "'";
    } catch (const CommandError& e) {
      EXPECT_EQ(std::string(e.what()).rfind("--or-flags: invalid mask '" + std::string(bad), 0),
                0u);
    }
  }
}

TEST(ValueArguments, AppointmentsColoursAndWeekdays) {
  EXPECT_EQ(ParseAppointmentRef("200805/3").File, 200805);
  EXPECT_EQ(ParseAppointmentRef("10012/7").ID, 7);  // December of the year 100
  for (const char* bad : {"200805", "200813/1", "200805/0", "200805/-1", "2008/1", "0099012/1",
                          "200805/1x", "200805/3000000000", " 200805/1"}) {
    EXPECT_THROW(ParseAppointmentRef(bad), CommandError) << bad;
  }
  // The automation colour keeps red in its low byte.
  EXPECT_EQ(ParseColor("#FF8000", "--color"), 0x0080FF);
  EXPECT_EQ(ParseColor("0000ff", "--color"), 0xFF0000);
  EXPECT_EQ(ParseColor("NONE", "--color"), -1);
  EXPECT_EQ(FormatColor(0x0080FF), "#FF8000");
  EXPECT_EQ(FormatColor(-1), "");
  for (const char* bad : {"", "#FFF", "#GG0000", "#1234567", "red"})
    EXPECT_THROW(ParseColor(bad, "--color"), CommandError) << bad;
  EXPECT_EQ(ParseWeekdays("mon,Friday,sun", "--weekdays"), calMonday | calFriday | calSunday);
  for (const char* bad : {"", "mon,", "mo", "monday;tue"})
    EXPECT_THROW(ParseWeekdays(bad, "--weekdays"), CommandError) << bad;
}

// What add-series takes from --from when m, --in-month or --weekdays are
// not given, and what it refuses.
TEST(SeriesArguments, EachModeTakesItsDefaultsFromTheFirstDay) {
  const std::vector<std::string> base{"add-series", "S",      "--from",     "2008-05-14",
                                      "--eternal",  "--time", "10:00-11:00"};
  const auto series = [&](std::vector<std::string> extra) {
    std::vector<std::string> args = base;
    args.insert(args.end(), extra.begin(), extra.end());
    const auto c = std::get<AddSeriesCommand>(Parse(args));
    return std::to_string(c.Mode) + " n" + std::to_string(c.n) + " m" + std::to_string(c.m) +
           " in" + std::to_string(c.InMonth) + " w" + std::to_string(c.Weekdays);
  };
  // 14 May 2008 is the second Wednesday of May and day 135 of the year.
  EXPECT_EQ(series({"--mode", "daily", "--every", "3"}), "1 n3 m0 in0 w0");
  EXPECT_EQ(series({"--mode", "weekly"}), "2 n1 m0 in0 w4");
  EXPECT_EQ(series({"--mode", "monthly", "--m", "-1"}), "3 n1 m-1 in0 w0");
  EXPECT_EQ(series({"--mode", "yearly"}), "4 n1 m14 in5 w0");
  EXPECT_EQ(series({"--mode", "yearly-day"}), "5 n1 m135 in0 w0");
  EXPECT_EQ(series({"--mode", "weekday-in-month"}), "6 n1 m2 in0 w4");
  EXPECT_EQ(series({"--mode", "weekday-in-year"}), "7 n1 m20 in0 w4");
  EXPECT_EQ(series({"--mode", "weekday-in-year-month", "--weekdays", "fri", "--in-month", "12"}),
            "8 n1 m2 in12 w16");
  const auto refused = [&](std::vector<std::string> extra) {
    std::vector<std::string> args = base;
    args.insert(args.end(), extra.begin(), extra.end());
    std::vector<const char*> argv{"orncal"};
    for (const std::string& arg : args)
      argv.push_back(arg.c_str());
    try {
      ParseCommandLine(static_cast<int>(argv.size()), argv.data());
    } catch (const CommandError& e) {
      return std::string(e.what());
    }
    return std::string("accepted");
  };
  EXPECT_EQ(refused({"--mode", "weekly", "--m", "2"}), "--m: the mode weekly does not use it");
  EXPECT_EQ(refused({"--mode", "monthly", "--weekdays", "mon"}),
            "--weekdays: the mode monthly does not use it");
  EXPECT_EQ(refused({"--mode", "weekday-in-month", "--in-month", "3"}),
            "--in-month: the mode weekday-in-month does not use it");
  EXPECT_EQ(refused({"--mode", "monthly", "--m", "0"}),
            "--m: 0 names no day; 1 is the first, -1 the last");
  EXPECT_NE(refused({"--mode", "yearly", "--m", "-1"}).find("from 1 to 31"), std::string::npos);
  EXPECT_NE(refused({"--mode", "daily", "--every", "0"}).find("--every"), std::string::npos);
  EXPECT_NE(refused({"--mode", "fortnightly"}).find("the modes are"), std::string::npos);
  EXPECT_NE(refused({"--mode", "daily", "--all-day"}).find("--time or --all-day"),
            std::string::npos);
}

}  // namespace
}  // namespace orncal::cli
