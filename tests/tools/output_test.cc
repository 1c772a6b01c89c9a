// What orncal prints for query results and month files.
#include "output.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

#include "commands.h"
#include "orncalendar/orncalendar.h"
#include "support/month_bytes.h"
#include "support/test_env.h"

namespace orncal::cli {
namespace {

constexpr double kHour = 1.0 / 24;
const Date kMay5 = DateFromParts(2008, 5, 5);  // a Monday
const Date kMay12 = DateFromParts(2008, 5, 12);
const Date kMay14 = DateFromParts(2008, 5, 14);
const Date kMay20 = DateFromParts(2008, 5, 20);
const Date kMay30 = DateFromParts(2008, 5, 30);
const Date kJune1 = DateFromParts(2008, 6, 1);
const Date kJune2 = DateFromParts(2008, 6, 2);

Json Parsed(const Json& value) { return Json::parse(ToJsonText(value)); }

TEST(JsonText, NumbersAreShortestRoundTripAndOnlyFiniteOnes) {
  EXPECT_EQ(ShortestNumber(39582.4375), "39582.4375");
  EXPECT_EQ(ShortestNumber(39582), "39582");
  EXPECT_EQ(ShortestNumber(0.1), "0.1");
  EXPECT_EQ(ShortestNumber(-1.25), "-1.25");
  const double day_and_a_third = 39582 + 1.0 / 3;
  EXPECT_EQ(std::stod(ShortestNumber(day_and_a_third)), day_and_a_third);

  const Json doc{{"a", 39582.0},
                 {"b", std::numeric_limits<double>::quiet_NaN()},
                 {"c", -std::numeric_limits<double>::infinity()},
                 {"d", Json::array({1, 2.5, "x"})},
                 {"e", Json::array()},
                 {"f", Json::object()}};
  EXPECT_EQ(ToJsonText(doc),
            "{\n  \"a\": 39582,\n  \"b\": null,\n  \"c\": null,\n  \"d\": [1, 2.5, \"x\"],\n"
            "  \"e\": [],\n  \"f\": {}\n}\n");
}

TEST(JsonText, StringsStayUtf8AndAreEscaped) {
  const Json doc{{"t", "Gr\xC3\xBC\xC3\x9F" "e \"A\"\n\t\\"}, {"bad", "a\xFF" "b"}};
  const std::string text = ToJsonText(doc);
  EXPECT_NE(text.find("\"Gr\xC3\xBC\xC3\x9F" "e \\\"A\\\"\\n\\t\\\\\""), std::string::npos)
      << text;
  EXPECT_EQ(Json::parse(text)["bad"], "a\xEF\xBF\xBD" "b");  // replaced, still valid JSON
}

// A calendar with a timed appointment carrying every kind of field, an
// all-day one, one from May into June and a weekly series on Mondays, all
// filed in May.
class ListOutput : public testing::CalendarTest {
 protected:
  ListOutput() : calendar_(StartCalendar()) {
    AppointmentPtr dentist = calendar_->Appointment(
        {.StartDateTime = kMay14 + 10 * kHour, .EndDateTime = kMay14 + 11 * kHour});
    dentist->SetTitle("Zahnarzt M\xC3\xBCller");
    dentist->SetNotes("Bitte\r\n\"p\xC3\xBCnktlich\"");
    dentist->SetCategory("Arzt");
    dentist->SetProject("Gesundheit");
    dentist->SetRemind(true);
    dentist->SetRemindAt(-900);
    dentist->SetFlags(calNoEdit | INT32_MIN);
    dentist->AddTag("Ort", "text", "Praxis");
    dentist->AddTag("Tel", "", "040 123");
    calendar_->Appointment({.StartDateTime = kMay20, .EndDateTime = kMay20 + 2, .AllDay = true})
        ->SetTitle("Urlaub");
    calendar_->Appointment({.StartDateTime = kMay30 + 8 * kHour, .EndDateTime = kJune2 + 18 * kHour})
        ->SetTitle("Reise");
    course_ = calendar_->Appointment();
    course_->SetTitle("Kurs");
    DateTimeSerialPtr weekly = DateTimeSerial::New();
    weekly->SetRepetitionMode(calWeekly);
    weekly->SetWeekdays(calMonday);
    weekly->Setn(1);
    weekly->Setm(2);
    weekly->SetInMonth(7);
    weekly->SetSeriesStartDateTime(kMay5);
    weekly->SetSeriesEndDateTime(kMay5 + 365);
    weekly->SetStartDateTime(18 * kHour);
    weekly->SetEndDateTime(19.5 * kHour);
    course_->SetDateTime(weekly);
    course_->AfterDateTimeChange();
  }

  Json List(Date from, Date to, QueryOptions options = {}) {
    return Parsed(ListJson(*calendar_->AllAppointmentsInPeriod(*DateTimeNormal::New(from, to),
                                                               options)));
  }

  static Json CourseSeries() {
    return Json{{"start", 0.75},       {"end", 19.5 / 24},     {"series_start", kMay5},
                {"series_end", kMay5 + 365}, {"mode", 2}, {"m", 2},
                {"n", 1},              {"in_month", 7},        {"weekdays", 1},
                {"eternal", false}};
  }

  CalendarPtr calendar_;
  AppointmentPtr course_;
};

TEST_F(ListOutput, AnEntryCarriesEveryFieldUnderItsName) {
  const Json list = List(kMay14, kMay14 + 1);
  ASSERT_EQ(list["appointments"].size(), 1u) << list;
  const Json expected{
      {"type", 1},
      {"file", 200805},
      {"id", 1},
      {"outside_file", 200805},
      {"outside_id", 1},
      {"title", "Zahnarzt M\xC3\xBCller"},
      {"notes", "Bitte\r\n\"p\xC3\xBCnktlich\""},
      {"category", "Arzt"},
      {"project", "Gesundheit"},
      {"all_day", false},
      {"remind", true},
      {"remind_at", -900},
      {"flags", calNoEdit | INT32_MIN},
      {"color", -1},
      {"date_time_type", 1},
      {"start", kMay14 + 10 * kHour},
      {"end", kMay14 + 11 * kHour},
      {"series", nullptr},
      {"tags", Json::array({Json::array({"Ort", "text", "Praxis"}),
                            Json::array({"Tel", "", "040 123"})})},
  };
  EXPECT_EQ(list["appointments"][0], expected);
}

TEST_F(ListOutput, OccurrencesArePartsWithTheirOwnPeriodAndTheSeriesFields) {
  const Json parts = List(kMay12, kMay12 + 7)["appointments"];
  ASSERT_EQ(parts.size(), 2u) << parts;
  EXPECT_EQ(parts[0]["title"], "Zahnarzt M\xC3\xBCller");
  const Json& part = parts[1];
  EXPECT_EQ(part["type"], 3);
  EXPECT_EQ(part["title"], "Kurs");
  EXPECT_EQ(part["file"], 200805);
  EXPECT_EQ(part["id"], course_->ID());
  EXPECT_EQ(part["date_time_type"], 1);
  EXPECT_EQ(part["start"], kMay12 + 0.75);
  EXPECT_EQ(part["end"], kMay12 + 19.5 * kHour);
  EXPECT_EQ(part["series"], CourseSeries());

  // Not separated, the series stands once with its own recurring period.
  const Json whole = List(kMay12, kMay12 + 7, {.SeperateSerials = false})["appointments"];
  ASSERT_EQ(whole.size(), 2u);
  EXPECT_EQ(whole[1]["type"], 1);
  EXPECT_EQ(whole[1]["date_time_type"], 2);
  EXPECT_EQ(whole[1]["start"], 0.75);
  EXPECT_EQ(whole[1]["series"], CourseSeries());
}

TEST_F(ListOutput, LinksShowTheirOwnPlaceAndTheirAppointmentsPlace) {
  // June has no file: the query makes it, linking May's trip (and series).
  const Json replaced = List(kJune1, kJune1 + 1)["appointments"];
  ASSERT_EQ(replaced.size(), 1u) << replaced;
  EXPECT_EQ(replaced[0]["type"], 1);
  EXPECT_EQ(replaced[0]["outside_file"], 200805);

  const Json kept = List(kJune1, kJune1 + 1, {.RemoveDoubles = true})["appointments"];
  ASSERT_EQ(kept.size(), 1u);
  EXPECT_EQ(kept[0]["type"], 2);
  EXPECT_EQ(kept[0]["title"], "Reise");
  EXPECT_EQ(kept[0]["file"], 200805);
  EXPECT_EQ(kept[0]["id"], replaced[0]["id"]);
  EXPECT_EQ(kept[0]["outside_file"], 200806);
  EXPECT_EQ(kept[0]["outside_id"], 1);
  EXPECT_EQ(kept[0]["start"], kMay30 + 8 * kHour);
}

TEST_F(ListOutput, TheTableHasOneAlignedLinePerEntryAllDayOnesByTheirDays) {
  AppointmentsPtr result = calendar_->AllAppointmentsInPeriod(*DateTimeNormal::New(kMay12, kJune1),
                                                              {.SeperateSerials = false});
  std::ostringstream out;
  WriteAppointmentTable(*result, out);
  EXPECT_EQ(out.str(),
            "START             END               TITLE            FLAGS\n"
            "2008-05-14 10:00  2008-05-14 11:00  Zahnarzt M\xC3\xBCller  -2147483646\n"
            "2008-05-20        2008-05-22        Urlaub           0\n"
            "2008-05-30 08:00  2008-06-02 18:00  Reise            0\n"
            "2008-05-05 18:00  2009-05-05 19:30  Kurs             0\n");

  course_->SetTitle("Kurs\nneu");
  course_->DateTime()->Series()->SetEternal(true);
  out.str("");
  WriteAppointmentTable(*result, out);
  EXPECT_NE(out.str().find("2008-05-05 18:00  open              Kurs neu"), std::string::npos)
      << out.str();
}

TEST(WhenText, DatesOutsideTheCalendarsRangeShowTheirNumber) {
  EXPECT_EQ(FormatWhen(kMay14 + 10.5 * kHour, false), "2008-05-14 10:30");
  EXPECT_EQ(FormatWhen(kMay14 + 10.5 * kHour, true), "2008-05-14");
  EXPECT_EQ(FormatWhen(kMaxDate + 2, false), "ole:2958467");
  EXPECT_EQ(FormatWhen(std::nan(""), true).substr(0, 4), "ole:");
}

// A version-10002 month file: a series record (Flags, tags and InMonth, no
// Project) and a link.
std::string SeriesAndLinkFile() {
  testing::MonthBytes b;
  b.Long(10002);
  b.Byte(1).Long(4).Text("Kurs").Text("N").Text("K").Byte(0xFF).Byte(1).Long(-60);
  b.Long(calTask).Long(1).Text("Ort").Text("text").Text("Halle");
  b.Byte(2).Date(0.75).Date(0.8125).Date(kMay5).Date(kMay5 + 70).Byte(0);
  b.Long(calWeekdayInMonth).Long(3).Long(-1).Long(calFriday).Long(11);  // n before m
  b.Link(9, 200804, 2).Byte(0);
  return b.str();
}

TEST(DumpOutput, RecordsAreShownAsStored) {
  const MonthFileContents contents = DecodeMonthFile(SeriesAndLinkFile(), 200805);
  ASSERT_TRUE(contents.Complete) << contents.Problem;
  const Json expected{
      {"version", 10002},
      {"records",
       Json::array(
           {Json{{"record_type", 1},
                 {"outside_id", 4},
                 {"title", "Kurs"},
                 {"notes", "N"},
                 {"category", "K"},
                 {"all_day", true},
                 {"remind", true},
                 {"remind_at", -60},
                 {"flags", calTask},
                 {"tags", Json::array({Json::array({"Ort", "text", "Halle"})})},
                 {"project", ""},
                 {"period_type", 2},
                 {"start", 0.75},
                 {"end", 0.8125},
                 {"series",
                  Json{{"start", 0.75},
                       {"end", 0.8125},
                       {"series_start", kMay5},
                       {"series_end", kMay5 + 70},
                       {"mode", calWeekdayInMonth},
                       {"m", -1},
                       {"n", 3},
                       {"in_month", 11},
                       {"weekdays", calFriday},
                       {"eternal", false}}}},
            Json{{"record_type", 2}, {"outside_id", 9}, {"dest_file", 200804}, {"dest_id", 2}}})}};
  EXPECT_EQ(Parsed(DumpJson(contents)), expected);

  std::ostringstream out;
  WriteRecordTable(contents, out);
  EXPECT_EQ(out.str(),
            "version 10002, 2 records\n"
            "ID  TYPE  START         END         TITLE  FLAGS\n"
            "4   real  2008-05-05    2008-07-14  Kurs   16\n"
            "9   link  -> 200804 #2\n");
}

TEST(DumpOutput, AFileThatDoesNotDecodeFullyPrintsNothing) {
  testing::TempDir temp;
  const std::string good = testing::Join(temp.path(), "200805.xmf");
  testing::WriteBytes(good, SeriesAndLinkFile());
  std::ostringstream out;
  RunDump({good, true}, out);
  EXPECT_EQ(Json::parse(out.str())["records"].size(), 2u);

  const std::string cut = testing::Join(temp.path(), "200806.xmf");
  const std::string bytes = SeriesAndLinkFile();
  testing::WriteBytes(cut, bytes.substr(0, bytes.size() - 5));  // the link cut short
  for (bool json : {true, false}) {
    out.str("");
    try {
      RunDump({cut, json}, out);
      ADD_FAILURE() << "a cut file was accepted";
    } catch (const CommandError& e) {
      EXPECT_NE(std::string(e.what()).find("200806.xmf"), std::string::npos) << e.what();
    }
    EXPECT_EQ(out.str(), "");
  }
}

}  // namespace
}  // namespace orncal::cli
