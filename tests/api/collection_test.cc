#include "orncalendar/collection.h"

#include <gtest/gtest.h>

#include <vector>

#include "orncalendar/calendar.h"
#include "orncalendar/enums.h"
#include "support/test_env.h"

namespace orncal {
namespace {

using testing::ErrorOf;

TEST(Collection, PositionsAreOneBasedAndKeysOptional) {
  Collection<int32_t> c;
  c.Add(10);
  c.Add(20, "200805");
  c.Add(30);
  EXPECT_EQ(c.Count(), 3);
  EXPECT_EQ(c.Item(1), 10);
  EXPECT_EQ(c.Item(3), 30);
  EXPECT_EQ(c.Item("200805"), 20);
  EXPECT_EQ(c.PositionOf("200805"), 2);
  EXPECT_EQ(std::vector<int32_t>(c.begin(), c.end()), (std::vector<int32_t>{10, 20, 30}));
}

TEST(Collection, KeysIgnoreLetterCaseAndMustBeUnique) {
  Collection<int32_t> c;
  c.Add(1, "Work");
  EXPECT_TRUE(c.Exists("WORK"));
  EXPECT_EQ(ErrorOf([&] { c.Add(2, "work"); }), 457);
  EXPECT_EQ(c.Count(), 1);
}

TEST(Collection, BadPositionsAndKeysRaiseTheirErrors) {
  Collection<int32_t> c;
  c.Add(1, "a");
  EXPECT_EQ(ErrorOf([&] { c.Item(0); }), 9);
  EXPECT_EQ(ErrorOf([&] { c.Item(2); }), 9);
  EXPECT_EQ(ErrorOf([&] { c.Item("b"); }), 5);
  EXPECT_EQ(ErrorOf([&] { c.Remove(2); }), 9);
  EXPECT_EQ(ErrorOf([&] { c.Remove("b"); }), 5);
  EXPECT_EQ(c.Find("b"), nullptr);
}

TEST(Collection, RemovingKeepsTheOtherKeysPointingAtTheirEntries) {
  Collection<int32_t> c;
  for (int i = 1; i <= 5; ++i)
    c.Add(i * 10, std::to_string(i));
  c.Remove(2);
  c.Remove("4");
  EXPECT_EQ(c.Count(), 3);
  EXPECT_EQ(c.Item("1"), 10);
  EXPECT_EQ(c.Item("3"), 30);
  EXPECT_EQ(c.Item("5"), 50);
  EXPECT_EQ(c.PositionOf("5"), 3);
  EXPECT_FALSE(c.Exists("2"));
  c.Add(20, "2");  // a removed key is free again
  EXPECT_EQ(c.Item(4), 20);
}

TEST(Collection, SharedCollectionsAreLive) {
  auto shared = std::make_shared<Collection<int32_t>>();
  auto alias = shared;
  alias->Add(7, "7");
  EXPECT_EQ(shared->Count(), 1);
}

TEST(CollectionItemExists, NeverRaises) {
  Collection<int32_t> c;
  c.Add(1, "key");
  EXPECT_TRUE(CalendarMain::CollectionItemExists(c, "KEY"));
  EXPECT_FALSE(CalendarMain::CollectionItemExists(c, "other"));
  EXPECT_FALSE(CalendarMain::CollectionItemExists(c, ""));
  EXPECT_TRUE(CalendarMain::CollectionItemExists(c, 1));
  EXPECT_FALSE(CalendarMain::CollectionItemExists(c, 2));
}

TEST(Enumerations, CarryTheirValues) {
  EXPECT_EQ(calWeekdayInYear2, 8);
  EXPECT_EQ(calSunday | calOnlyAtOne, 192);
  EXPECT_EQ(calInvisible + calNoEdit + calNoDTChange + calOnlyRemind + calTask, 31);
  EXPECT_EQ(Error(ErrorNumber::kObjectNotSet).Number(), 91);
}

}  // namespace
}  // namespace orncal
