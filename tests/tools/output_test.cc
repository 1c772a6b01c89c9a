// What orncal prints for query results, month files and task files.
#include "output.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "orncalendar/orncalendar.h"
#include "support/month_bytes.h"
#include "support/test_env.h"

namespace orncal::cli {
namespace {

constexpr double kHour = 1.0 / 24;
const Date kMay5 = DateFromParts(2008, 5, 5);  // a Monday
const Date kMay14 = DateFromParts(2008, 5, 14);
const Date kJune1 = DateFromParts(2008, 6, 1);

// The named fields of a JSON object, as its text would give them back.
Json Pick(const Json& object, std::initializer_list<const char*> keys) {
  Json picked = Json::object();
  for (const char* key : keys)
    picked[key] = object.at(key);
  return Json::parse(ToJsonText(picked));
}

TEST(JsonText, ShortestRoundTripNumbersNullForNonFiniteUtf8Strings) {
  const double third = 39582 + 1.0 / 3;
  EXPECT_EQ(ToJsonText(Json{{"a", Number(39582)},
                            {"b", Number(NAN)},
                            {"c", Json::array({Number(39582.4375), Number(0.1), Number(-0.5)})},
                            {"d", "M\xC3\xBC\"\n"},
                            {"e", "a\xFF"}}),
            "{\n  \"a\": 39582,\n  \"b\": null,\n  \"c\": [\n    39582.4375,\n    0.1,\n"
            "    -0.5\n  ],\n  \"d\": \"M\xC3\xBC\\\"\\n\",\n  \"e\": \"a\xEF\xBF\xBD\"\n}\n");
  EXPECT_EQ(Json::parse(ToJsonText(Number(third))).get<double>(), third);
  // Written member by member and item by item, the same document.
  std::ostringstream out;
  JsonWriter writer(out);
  writer.Member("from", Number(1.5));
  writer.BeginArray("empty");
  writer.EndArray();
  writer.BeginArray("items");
  writer.Item(Json{{"x", Json::array({1, 2})}});
  writer.Item(Json(nullptr));
  writer.EndArray();
  writer.End();
  EXPECT_EQ(out.str(), ToJsonText(Json{{"from", 1.5},
                                       {"empty", Json::array()},
                                       {"items", Json::array({Json{{"x", {1, 2}}}, nullptr})}}));
}

// A timed appointment with every kind of field, an all-day one, one from
// May into June and a weekly series on Mondays, all filed in May.
class ListOutput : public testing::CalendarTest {
 protected:
  ListOutput() : calendar_(StartCalendar()) {
    AppointmentPtr dentist = calendar_->Appointment(
        {.StartDateTime = kMay14 + 36000 / 86400.0, .EndDateTime = kMay14 + 39600 / 86400.0});
    dentist->SetTitle("Zahnarzt M\xC3\xBCller");
    dentist->SetNotes("Bitte\r\n\"p\xC3\xBCnktlich\"");
    dentist->SetCategory("Arzt");
    dentist->SetProject("Gesundheit");
    dentist->SetRemind(true);
    dentist->SetRemindAt(-900);
    dentist->SetFlags(calNoEdit | INT32_MIN);
    dentist->AddTag("Ort", "text", "Praxis");
    dentist->AddTag("Tel", "", "040 123");
    calendar_->Appointment({.StartDateTime = kMay5 + 15, .EndDateTime = kMay5 + 17, .AllDay = true})
        ->SetTitle("Urlaub");
    calendar_->Appointment({.StartDateTime = kJune1 - 1.5, .EndDateTime = kJune1 + 1.75})
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
    weekly->SetStartDateTime(0.75);
    weekly->SetEndDateTime(0.8125);
    course_->SetDateTime(weekly);
    course_->AfterDateTimeChange();
  }

  AppointmentsPtr Query(Date from, Date to, const QueryOptions& options = {}) {
    return calendar_->AllAppointmentsInPeriod(*DateTimeNormal::New(from, to), options);
  }
  Json List(Date from, Date to, const QueryOptions& options = {}) {
    std::ostringstream out;
    WriteListJson(*Query(from, to, options), out);
    return Json::parse(out.str())["appointments"];
  }

  CalendarPtr calendar_;
  AppointmentPtr course_;
};

TEST_F(ListOutput, AnEntryCarriesEveryFieldUnderItsName) {
  EXPECT_EQ(List(kMay14, kMay14 + 1), Json::parse(R"([{
    "type": 1, "file": 200805, "id": 1, "outside_file": 200805, "outside_id": 1,
    "title": "Zahnarzt M\u00fcller", "notes": "Bitte\r\n\"p\u00fcnktlich\"", "category": "Arzt",
    "project": "Gesundheit", "all_day": false, "remind": true, "remind_at": -900,
    "flags": -2147483646, "color": -1, "date_time_type": 1,
    "start": 39582.416666666664, "end": 39582.458333333336, "series": null,
    "tags": [["Ort", "text", "Praxis"], ["Tel", "", "040 123"]]}])"));
}

TEST_F(ListOutput, OccurrencesArePartsWithTheirOwnPeriodAndTheSeriesFields) {
  const Json series = Json::parse(R"({"start": 0.75, "end": 0.8125, "series_start": 39573,
    "series_end": 39938, "mode": 2, "m": 2, "n": 1, "in_month": 7, "weekdays": 1,
    "eternal": false})");
  const Json parts = List(kMay5 + 7, kMay5 + 14);  // 12 to 19 May
  ASSERT_EQ(parts.size(), 2u) << parts;
  Json expected = {{"type", 3},           {"id", course_->ID()},   {"title", "Kurs"},
                   {"date_time_type", 1}, {"start", kMay5 + 7.75}, {"end", kMay5 + 7.8125},
                   {"series", series}};
  EXPECT_EQ(Pick(parts[1], {"type", "id", "title", "date_time_type", "start", "end", "series"}),
            expected);
  // Not separated, the series stands once with its recurring period.
  const Json whole = List(kMay5 + 7, kMay5 + 14, {.SeperateSerials = false});
  EXPECT_EQ(Pick(whole[1], {"type", "date_time_type", "start", "series"}),
            Json({{"type", 1}, {"date_time_type", 2}, {"start", 0.75}, {"series", series}}));
}

TEST_F(ListOutput, LinksShowTheirOwnPlaceAndTheirAppointmentsPlace) {
  // June has no file: the query makes it with links to the trip and series.
  const auto place = {"type", "title", "file", "id", "outside_file", "outside_id"};
  EXPECT_EQ(Pick(List(kJune1, kJune1 + 1)[0], place), Json::parse(R"({"type": 1, "title": "Reise",
    "file": 200805, "id": 3, "outside_file": 200805, "outside_id": 3})"));
  EXPECT_EQ(Pick(List(kJune1, kJune1 + 1, {.RemoveDoubles = true})[0], place),
            Json::parse(R"({"type": 2, "title": "Reise", "file": 200805, "id": 3,
                            "outside_file": 200806, "outside_id": 1})"));
}

TEST_F(ListOutput, TheTableHasOneAlignedLinePerEntryAllDayOnesByTheirDays) {
  AppointmentsPtr result = Query(kMay5 + 7, kJune1, {.SeperateSerials = false});
  std::ostringstream out;
  WriteAppointmentTable(*result, out);
  EXPECT_EQ(out.str(),
            "START             END               TITLE            FLAGS\n"
            "2008-05-14 10:00  2008-05-14 11:00  Zahnarzt M\xC3\xBCller  -2147483646\n"
            "2008-05-20        2008-05-22        Urlaub           0\n"
            "2008-05-30 12:00  2008-06-02 18:00  Reise            0\n"
            "2008-05-05 18:00  2009-05-05 19:30  Kurs             0\n");
  course_->SetTitle("Kurs\tneu");
  course_->DateTime()->Series()->SetEternal(true);
  out.str("");
  WriteAppointmentTable(*result, out);
  EXPECT_NE(out.str().find("2008-05-05 18:00  open              Kurs neu"), std::string::npos);
}

// Version 10002: a series record (flags, tags and InMonth, no project) and
// a link.
std::string SeriesAndLinkFile() {
  testing::MonthBytes b;
  b.Long(10002);
  b.Byte(1).Long(4).Text("Kurs").Text("N").Text("K").Byte(0xFF).Byte(1).Long(-60);
  b.Long(calTask).Long(1).Text("Ort").Text("text").Text("Halle");
  b.Byte(2).Date(0.75).Date(0.8125).Date(kMay5).Date(kMay5 + 70).Byte(0);
  b.Long(calWeekdayInMonth).Long(3).Long(-1).Long(calFriday).Long(11);  // n before m
  return b.Link(9, 200804, 2).Byte(0).str();
}

TEST(DumpOutput, RecordsAreShownAsStored) {
  const MonthFileContents contents = DecodeMonthFile(SeriesAndLinkFile(), 200805);
  ASSERT_TRUE(contents.Complete) << contents.Problem;
  EXPECT_EQ(Json::parse(ToJsonText(DumpJson(contents))), Json::parse(R"({"version": 10002,
    "records": [{"record_type": 1, "outside_id": 4, "title": "Kurs", "notes": "N",
      "category": "K", "all_day": true, "remind": true, "remind_at": -60, "flags": 16,
      "tags": [["Ort", "text", "Halle"]], "project": "", "period_type": 2, "start": 0.75,
      "end": 0.8125, "series_start": 39573, "series_end": 39643, "mode": 6, "m": -1, "n": 3,
      "in_month": 11, "weekdays": 16, "eternal": false, "series": {"start": 0.75, "end": 0.8125, "series_start": 39573,
      "series_end": 39643, "mode": 6, "m": -1, "n": 3, "in_month": 11, "weekdays": 16,
      "eternal": false}},
     {"record_type": 2, "outside_id": 9, "dest_file": 200804, "dest_id": 2}]})"));
  std::ostringstream out;
  WriteRecordTable(contents, out);
  EXPECT_EQ(out.str(),
            "version 10002, 2 records\n"
            "ID  TYPE  START         END         TITLE  FLAGS\n"
            "4   real  2008-05-05    2008-07-14  Kurs   16\n"
            "9   link  -> 200804 #2\n");
}

TEST(DumpOutput, TasksAreShownAsStored) {
  testing::MonthBytes b;
  b.Long(10001).Long(-7).Text("Steuer").Text("Belege\r\n").Text("B\xFCro");
  b.Date(kMay14 + 0.375).Date(kMay14 + 6).Long(200805).Long(3);
  b.Long(12).Text("").Text("").Text("").Date(0.5).Date(NAN).Long(0).Long(0).Long(0);
  const TaskFileContents contents = DecodeTaskFile(b.str());
  ASSERT_TRUE(contents.Complete) << contents.Problem;
  EXPECT_EQ(Json::parse(ToJsonText(TaskDumpJson(contents))), Json::parse(R"({"version": 10001,
    "tasks": [{"id": -7, "title": "Steuer", "notes": "Belege\r\n", "project": "B\u00fcro",
               "start": 39582.375, "planned_end": 39588, "reminder_file": 200805, "reminder_id": 3},
              {"id": 12, "title": "", "notes": "", "project": "", "start": 0.5,
               "planned_end": null, "reminder_file": 0, "reminder_id": 0}]})"));
  std::ostringstream out;
  WriteTaskTable(contents, out);
  EXPECT_EQ(out.str(),
            "version 10001, 2 tasks\n"
            "ID  START             PLANNED END       TITLE   REMINDER\n"
            "-7  2008-05-14 09:00  2008-05-20 00:00  Steuer  200805 #3\n"
            "12  1899-12-30 12:00  ole:nan                   -\n");
}

}  // namespace
}  // namespace orncal::cli
