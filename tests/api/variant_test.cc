// The conversions of a late-bound value.
#include "api/variant.h"

#include <gtest/gtest.h>

#include <cmath>

#include "api/dispatch.h"
#include "support/test_env.h"

namespace orncal::api {
namespace {

using orncal::testing::ErrorOf;

const Date kMay14 = DateFromParts(2008, 5, 14);

TEST(Variant, NumbersBooleansAndTextConvertAsAutomationClientsExpect) {
  struct Case {
    Variant from;
    int32_t as_long;
    int32_t long_error;  // instead of as_long
    std::string as_text;
  };
  const Case cases[] = {
      {Variant(), 0, 0, ""},
      {Variant(true), -1, 0, "True"},
      {Variant(false), 0, 0, "False"},
      {Variant(int16_t{-7}), -7, 0, "-7"},
      {Variant(2.5), 2, 0, "2.5"},  // halves round to even
      {Variant(3.5), 4, 0, "3.5"},
      {Variant(-2.5), -2, 0, "-2.5"},
      {Variant(0.1), 0, 0, "0.1"},
      {Variant(3e9), 0, 6, "3000000000"},
      {Variant(1e300), 0, 6, "1e+300"},
      {Variant(" 12 "), 12, 0, " 12 "},
      {Variant("+1.5e1"), 15, 0, "+1.5e1"},
      {Variant("1,5"), 0, 13, "1,5"},  // the C locale: a point, no comma
      {Variant("zwölf"), 0, 13, "zwölf"},
      {Variant("True"), 0, 13, "True"},  // a Boolean's text is no number
      {Variant::FromDate(kMay14 + 0.4375), 39582, 0, "2008-05-14 10:30:00"},
      {Variant::FromDate(kMay14), 39582, 0, "2008-05-14"},
      {Variant::FromDate(0.75), 1, 0, "18:00:00"},
      {Variant(Variant::StringArray{"a"}), 0, 13, ""},
      {Variant(nullptr), 0, 13, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.as_text);
    if (c.long_error == 0) {
      EXPECT_EQ(c.from.ToInt32(), c.as_long);
    } else {
      EXPECT_EQ(ErrorOf([&] { c.from.ToInt32(); }), c.long_error);
    }
    const auto type = c.from.Type();
    if (type != VarType::kStringArray && type != VarType::kObject) {
      EXPECT_EQ(c.from.ToString(), c.as_text);
    } else {
      EXPECT_EQ(ErrorOf([&] { c.from.ToString(); }), 13);
    }
  }
  EXPECT_EQ(ErrorOf([] { Variant(40000).ToInt16(); }), 6);
  EXPECT_EQ(Variant("true ").ToBool(), true);
  EXPECT_EQ(Variant("0").ToBool(), false);
  EXPECT_EQ(Variant(0.5).ToBool(), true);
  EXPECT_EQ(ErrorOf([] { Variant("ja").ToBool(); }), 13);
  EXPECT_EQ(Variant(true).ToDouble(), -1.0);
}

TEST(Variant, DatesReadTheirTextFormsAndStayWithinTheOleRange) {
  EXPECT_EQ(Variant("2008-05-14 10:30").ToDate(), kMay14 + 0.4375);
  EXPECT_EQ(Variant("14.05.2008").ToDate(), kMay14);
  EXPECT_EQ(Variant("39582.5").ToDate(), kMay14 + 0.5);
  EXPECT_EQ(Variant(39582).ToDate(), kMay14);
  EXPECT_EQ(ErrorOf([] { Variant("morgen").ToDate(); }), 13);
  EXPECT_EQ(ErrorOf([] { Variant(1e7).ToDate(); }), 6);
  EXPECT_EQ(ErrorOf([] { Variant(std::nan("")).ToDate(); }), 6);
  // Round trip through the text, to the second.
  const Date when = DateFromParts(1800, 2, 3) + TimeFromParts(4, 5, 6);
  EXPECT_EQ(Variant(Variant::FromDate(when).ToString()).ToDate(), when);
}

TEST(Variant, ObjectsArraysAndEqualityByIdentity) {
  DispatchPtr a = CreateObject("OrnCalendar.DateTime");
  EXPECT_EQ(Variant().ToObject(), nullptr);
  EXPECT_EQ(ErrorOf([] { Variant(1).ToObject(); }), 13);
  EXPECT_EQ(ErrorOf([&] { Variant(a).ToBool(); }), 13);
  EXPECT_EQ(Variant(a), Variant(a));
  EXPECT_NE(Variant(a), Variant(CreateObject("OrnCalendar.DateTime")));
  EXPECT_EQ(Variant(nullptr), Variant(DispatchPtr()));
  EXPECT_NE(Variant(1), Variant(int16_t{1}));  // the type counts
  Variant mixed(Variant::VariantArray{Variant(1), Variant("b"), Variant(true)});
  EXPECT_EQ(mixed.ToStringArray(), (Variant::StringArray{"1", "b", "True"}));
  EXPECT_EQ(Variant().ToStringArray(), Variant::StringArray{});
}

}  // namespace
}  // namespace orncal::api
