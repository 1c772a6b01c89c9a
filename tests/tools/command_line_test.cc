// Reading orncal's command line: the switches of `list` and the masks. What
// a user sees for bad arguments is tested on the built program.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "commands.h"
#include "orncalendar/ole_date.h"

namespace orncal::cli {
namespace {

ListCommand ParseList(std::vector<std::string> extra) {
  std::vector<const char*> argv{"orncal",     "list", "--from",
                                "2008-05-01", "--to", "2008-06-01T12:30"};
  for (const std::string& arg : extra)
    argv.push_back(arg.c_str());
  const CommandLine line = ParseCommandLine(static_cast<int>(argv.size()), argv.data());
  EXPECT_TRUE(line.List && !line.Dump && line.Help.empty());
  return line.List.value_or(ListCommand{});
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

}  // namespace
}  // namespace orncal::cli
