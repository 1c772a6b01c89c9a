#include "orncalendar/collection.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "orncalendar/calendar.h"
#include "support/test_env.h"

namespace orncal {
namespace {

using testing::ErrorOf;

TEST(Collection, PositionsAreOneBasedAndKeysOptionalUniqueAndBlindToCase) {
  Collection<int32_t> c;
  c.Add(10);
  c.Add(20, "Work");
  c.Add(30);
  EXPECT_EQ(std::vector<int32_t>(c.begin(), c.end()), (std::vector<int32_t>{10, 20, 30}));
  EXPECT_EQ(ErrorOf([&] { c.Add(2, "work"); }), 457);
  EXPECT_EQ(std::tuple(c.Item(3), c.Item("WORK"), c.Count()), std::tuple(30, 20, 3));
  // Bad positions are error 9, unknown keys error 5.
  for (int32_t position : {0, 4}) {
    EXPECT_EQ(ErrorOf([&] { c.Item(position); }), 9);
    EXPECT_EQ(ErrorOf([&] { c.Remove(position); }), 9);
  }
  EXPECT_EQ(ErrorOf([&] { c.Item("b"); }), 5);
  EXPECT_EQ(ErrorOf([&] { c.Remove("b"); }), 5);
  EXPECT_EQ(c.Find("b"), nullptr);
  // CollectionItemExists never raises.
  const auto exists = [&](auto key) { return CalendarMain::CollectionItemExists(c, key); };
  EXPECT_EQ(std::tuple(exists("work"), exists("other"), exists(""), exists(3), exists(4)),
            std::tuple(true, false, false, true, false));
}

TEST(Collection, RemovingKeepsTheOtherKeysPointingAtTheirEntries) {
  Collection<int32_t> c;
  for (int i = 1; i <= 5; ++i)
    c.Add(i * 10, std::to_string(i));
  c.Remove(2);
  c.Remove("4");
  EXPECT_EQ(std::vector<int32_t>(c.begin(), c.end()), (std::vector<int32_t>{10, 30, 50}));
  EXPECT_EQ(std::tuple(c.Item("1"), c.Item("3"), c.Item("5")), std::tuple(10, 30, 50));
  EXPECT_FALSE(c.Exists("2"));
  c.Add(20, "2");  // a removed key is free again
  EXPECT_EQ(c.Item(4), 20);
}

}  // namespace
}  // namespace orncal
