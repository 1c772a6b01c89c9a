// Reading orncal's command line.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "commands.h"
#include "orncalendar/ole_date.h"

namespace orncal::cli {
namespace {

CommandLine Parse(std::vector<std::string> args) {
  args.insert(args.begin(), "orncal");
  std::vector<const char*> argv;
  for (const std::string& arg : args)
    argv.push_back(arg.c_str());
  return ParseCommandLine(static_cast<int>(argv.size()), argv.data());
}

// The message of the usage error, or "" when the arguments are accepted.
std::string UsageError(std::vector<std::string> args) {
  try {
    Parse(std::move(args));
  } catch (const CommandError& e) {
    return std::string("error: ") + e.what();
  }
  return "";
}

std::string Describe(const QueryOptions& o) {
  return std::to_string(o.SeperateSerials) + std::to_string(o.AlsoAllDay) +
         std::to_string(o.OnlyAllDay) + std::to_string(o.UseRemindTime) + " " +
         std::to_string(o.Flags) + " " + std::to_string(o.NotFlags) + " " +
         std::to_string(o.OrFlags) + " " + std::to_string(o.NotAndFlags) + " " +
         std::to_string(o.RemoveDoubles);
}

const std::vector<std::string> kPeriod = {"list", "--from", "2008-05-01", "--to",
                                          "2008-06-01T12:30"};

std::vector<std::string> With(std::vector<std::string> extra) {
  std::vector<std::string> args = kPeriod;
  args.insert(args.end(), extra.begin(), extra.end());
  return args;
}

TEST(ListArguments, DefaultsAreThoseOfTheQuery) {
  const CommandLine line = Parse(kPeriod);
  ASSERT_TRUE(line.List);
  EXPECT_FALSE(line.Dump);
  EXPECT_FALSE(line.DataHome);
  EXPECT_EQ(line.List->From, DateFromParts(2008, 5, 1));
  EXPECT_EQ(line.List->To, DateFromParts(2008, 6, 1) + 45000 / 86400.0);
  EXPECT_EQ(Describe(line.List->Options), Describe(QueryOptions{}));
  EXPECT_FALSE(line.List->Sort);
  EXPECT_FALSE(line.List->Json);
}

TEST(ListArguments, EverySwitchSetsItsOwnFieldAndNoOther) {
  struct Case {
    std::vector<std::string> args;
    QueryOptions expected;
  };
  const std::vector<Case> cases = {
      {{"--no-separate-serials"}, {.SeperateSerials = false}},
      {{"--no-all-day"}, {.AlsoAllDay = false}},
      {{"--only-all-day"}, {.OnlyAllDay = true}},
      {{"--use-remind-time"}, {.UseRemindTime = true}},
      {{"--flags", "6"}, {.Flags = 6}},
      {{"--not-flags", "0"}, {.NotFlags = 0}},
      {{"--or-flags", "0x80000000"}, {.OrFlags = INT32_MIN}},
      {{"--not-and-flags", "-1"}, {.NotAndFlags = -1}},
      {{"--remove-doubles"}, {.RemoveDoubles = true}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args[0]);
    const CommandLine line = Parse(With(c.args));
    ASSERT_TRUE(line.List);
    EXPECT_EQ(Describe(line.List->Options), Describe(c.expected));
    EXPECT_FALSE(line.List->Sort || line.List->Json);
  }
  const CommandLine both = Parse(With({"--json", "--sort"}));
  EXPECT_TRUE(both.List->Sort && both.List->Json);
  EXPECT_EQ(Describe(both.List->Options), Describe(QueryOptions{}));
}

TEST(ListArguments, APeriodEndingBeforeItStartsIsNoError) {
  const CommandLine line = Parse({"list", "--from", "2008-06-01", "--to", "ole:39000.5"});
  ASSERT_TRUE(line.List);
  EXPECT_EQ(line.List->To, 39000.5);
}

TEST(MaskArguments, DecimalOrHexThirtyTwoBitPatterns) {
  EXPECT_EQ(ParseMask("0", "--flags"), 0);
  EXPECT_EQ(ParseMask("17", "--flags"), 17);
  EXPECT_EQ(ParseMask("-2147483648", "--flags"), INT32_MIN);
  EXPECT_EQ(ParseMask("2147483648", "--flags"), INT32_MIN);
  EXPECT_EQ(ParseMask("4294967295", "--flags"), -1);
  EXPECT_EQ(ParseMask("0x1F", "--flags"), 31);
  EXPECT_EQ(ParseMask("0XFFFFFFFF", "--flags"), -1);
  for (const char* bad : {"", "0x", "0x123456789", "4294967296", "-2147483649", "1.5", "+1", " 1",
                          "1 ", "0x-1", "-0x1", "six", "1e3"}) {
    try {
      ParseMask(bad, "--or-flags");
      ADD_FAILURE() << "accepted: '" << bad << "'";
    } catch (const CommandError& e) {
      EXPECT_EQ(std::string(e.what()).rfind("--or-flags: invalid mask '" + std::string(bad) + "'", 0),
                0u)
          << e.what();
    }
  }
}

TEST(GlobalArguments, DataHomeBeforeOrAfterTheCommandAndDumpsPath) {
  EXPECT_EQ(Parse({"--data-home", "d 1", "list", "--from", "2008-05-01", "--to", "2008-05-02"})
                .DataHome,
            "d 1");
  EXPECT_EQ(Parse(With({"--data-home", "/x"})).DataHome, "/x");
  const CommandLine dump = Parse({"dump", "200805.xmf", "--json"});
  ASSERT_TRUE(dump.Dump);
  EXPECT_FALSE(dump.List);
  EXPECT_EQ(dump.Dump->Path, "200805.xmf");
  EXPECT_TRUE(dump.Dump->Json);
  EXPECT_FALSE(Parse({"dump", "-"}).Dump->Json);
}

TEST(GlobalArguments, HelpIsTextNotACommand) {
  const CommandLine top = Parse({"--help"});
  EXPECT_NE(top.Help.find("dump"), std::string::npos);
  EXPECT_NE(top.Help.find("--data-home"), std::string::npos);
  EXPECT_FALSE(top.List || top.Dump);
  // A subcommand's help, even without its required arguments.
  EXPECT_NE(Parse({"list", "--help"}).Help.find("--not-and-flags"), std::string::npos);
  EXPECT_NE(Parse({"dump", "-h"}).Help.find("PATH"), std::string::npos);
}

TEST(GlobalArguments, UsageErrorsAreOneLineEach) {
  const std::vector<std::vector<std::string>> bad = {
      {},
      {"frobnicate"},
      {"list"},
      {"list", "--from", "2008-05-01"},
      {"list", "--from", "2008-05-01", "--to", "morgen"},
      {"list", "--from", "2008-02-30", "--to", "2008-03-01"},
      With({"--bogus"}),
      With({"--flags"}),
      With({"--flags", "x"}),
      With({"--from", "2008-05-02"}),
      With({"stray"}),
      {"--data-home", "", "dump", "a"},
      {"--data-home"},
      {"dump"},
      {"dump", "a", "b"},
  };
  for (const std::vector<std::string>& args : bad) {
    const std::string message = UsageError(args);
    EXPECT_EQ(message.rfind("error: ", 0), 0u) << "accepted: " << ::testing::PrintToString(args);
    EXPECT_GT(message.size(), 12u) << message;
    EXPECT_EQ(message.find('\n'), std::string::npos) << message;
  }
  EXPECT_NE(UsageError({"list", "--from", "2008-05-01", "--to", "morgen"}).find("--to"),
            std::string::npos);
}

}  // namespace
}  // namespace orncal::cli
