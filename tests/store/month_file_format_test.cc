#include "store/month_file_format.h"

#include <gtest/gtest.h>

#include "orncalendar/orncalendar.h"
#include "support/month_bytes.h"

namespace orncal {
namespace {

using testing::MonthBytes;

constexpr Date kStart = 39582.375;  // 2008-05-14 09:00
constexpr Date kEnd = 39582.5;

AppointmentReal& RealAt(const MonthFileContents& m, int32_t position) {
  return dynamic_cast<AppointmentReal&>(*m.Records->Item(position));
}

// Fields every version carries, and a link.
TEST(MonthFileReading, Version10000HasTheBaseFieldsOnly) {
  MonthBytes b;
  b.Long(10000);
  b.Byte(1).Long(7).Text("Zahnarzt").Text("").Text("Privat").Byte(0xFF).Byte(1).Long(15);
  b.Byte(1).Date(kStart).Date(kEnd);
  b.Link(8, 200804, 3);
  b.Byte(0);
  MonthFileContents m = DecodeMonthFile(b.str(), 200805);
  ASSERT_TRUE(m.Complete) << m.Problem;
  EXPECT_EQ(m.Version, 10000);
  ASSERT_EQ(m.Records->Count(), 2);

  AppointmentReal& a = RealAt(m, 1);
  EXPECT_EQ(a.ID(), 7);
  EXPECT_EQ(a.File(), 200805);
  EXPECT_EQ(a.Title(), "Zahnarzt");
  EXPECT_EQ(a.Notes(), "");
  EXPECT_EQ(a.Category(), "Privat");
  EXPECT_TRUE(a.AllDay());
  EXPECT_TRUE(a.Remind());  // any byte but 0 is true
  EXPECT_EQ(a.RemindAt(), 15);
  EXPECT_EQ(a.Flags(), 0);
  EXPECT_EQ(a.TagsCount(), 0);
  EXPECT_EQ(a.Project(), "");
  EXPECT_FALSE(a.Changed());
  ASSERT_EQ(a.DateTime()->DateTimeType(), 1);
  EXPECT_EQ(a.DateTime()->StartDateTime(), kStart);
  EXPECT_EQ(a.DateTime()->EndDateTime(), kEnd);

  auto& link = dynamic_cast<AppointmentLink&>(*m.Records->ItemByID(8));
  EXPECT_EQ(link.OutsideID(), 8);
  EXPECT_EQ(link.OutsideFile(), 200805);
  EXPECT_EQ(link.DestinationFile(), 200804);
  EXPECT_EQ(link.DestinationID(), 3);
  EXPECT_EQ(link.DestinationAppointment(), nullptr);
}

// A recurring period as 10001 and 10002 store it; the tail differs.
MonthBytes SeriesFile(int32_t version, bool withInMonth) {
  MonthBytes b;
  b.Long(version);
  b.Byte(1).Long(1).Text("Kurs").Text("Raum 4").Text("").Byte(0).Byte(0).Long(0);
  b.Long(calInvisible | calTask).Long(2);
  b.Text("Ort").Text("text").Text("Hamburg").Text("Wer").Text("").Text("Anna");
  b.Byte(2).Date(0.375).Date(0.5).Date(39569).Date(39813).Byte(0);
  b.Long(calWeekly).Long(3).Long(-1).Long(calMonday | calFriday);
  if (withInMonth) b.Long(11);
  return b;
}

TEST(MonthFileReading, Versions10001And10002AddFlagsTagsAndInMonth) {
  for (int32_t version : {10001, 10002}) {
    SCOPED_TRACE(version);
    // No end mark: the end of the data ends the file.
    MonthFileContents m = DecodeMonthFile(SeriesFile(version, version >= 10002).str(), 200805);
    ASSERT_TRUE(m.Complete) << m.Problem;
    ASSERT_EQ(m.Records->Count(), 1);
    AppointmentReal& a = RealAt(m, 1);
    EXPECT_EQ(a.Notes(), "Raum 4");
    EXPECT_EQ(a.Flags(), calInvisible | calTask);
    ASSERT_EQ(a.TagsCount(), 2);
    EXPECT_EQ(a.TagName(1), "Ort");
    EXPECT_EQ(a.TagType(1), "text");
    EXPECT_EQ(a.TagData(1), "Hamburg");
    EXPECT_EQ(a.TagType(2), "");
    EXPECT_EQ(a.TagData(2), "Anna");
    DateTimeSerialPtr s = a.DateTime()->Series();
    ASSERT_TRUE(s);
    EXPECT_EQ(s->StartDateTime(), 0.375);
    EXPECT_EQ(s->EndDateTime(), 0.5);
    EXPECT_EQ(s->SeriesStartDateTime(), 39569);
    EXPECT_EQ(s->SeriesEndDateTime(), 39813);
    EXPECT_FALSE(s->Eternal());
    EXPECT_EQ(s->RepetitionMode(), calWeekly);
    EXPECT_EQ(s->n(), 3);
    EXPECT_EQ(s->m(), -1);
    EXPECT_EQ(s->Weekdays(), calMonday | calFriday);
    EXPECT_EQ(s->InMonth(), version >= 10002 ? 11 : 0);
    EXPECT_EQ(a.Project(), "");
  }
}

TEST(MonthFileReading, Version10003AddsProjectAndTextsAreWindows1252) {
  MonthBytes b;
  b.Long(10003);
  b.Byte(1).Long(2).Text("\xC4rger \x80").Text("").Text("").Byte(0).Byte(0).Long(-5);
  b.Long(0).Long(-3);  // a negative tag count means no tags
  b.Text(
       "Stra\xDF"
       "e")
      .Byte(7)
      .Date(kStart)
      .Date(kEnd);
  b.Byte(0);
  b.Byte(9);  // whatever follows the end mark is not read
  MonthFileContents m = DecodeMonthFile(b.str(), 200805);
  ASSERT_TRUE(m.Complete) << m.Problem;
  AppointmentReal& a = RealAt(m, 1);
  EXPECT_EQ(a.Title(), "\xC3\x84rger \xE2\x82\xAC");  // "Ärger €"
  EXPECT_EQ(a.RemindAt(), -5);
  EXPECT_EQ(a.TagsCount(), 0);
  EXPECT_EQ(a.Project(),
            "Stra\xC3\x9F"
            "e");
  EXPECT_EQ(a.DateTime()->DateTimeType(), 1);  // any type but 2 is a single period
}

TEST(MonthFileWriting, AnEmptyMonthIsTheVersionAndTheEndMark) {
  EXPECT_EQ(store::EncodeMonthFile(*Appointments::New()), std::string("\x13\x27\0\0\0", 5));
}

TEST(MonthFileWriting, WritesEveryFieldOfVersion10003) {
  AppointmentRealPtr a = AppointmentReal::New();
  a->SetID(4);
  a->SetTitle(
      "\xC3\x9C"
      "ber \xE2\x82\xAC \xE4\xB8\xAD");  // "Über € 中"
  a->SetCategory("Job");
  a->SetAllDay(true);
  a->SetRemindAt(30);
  a->SetFlags(calNoEdit);
  a->AddTag("k", "", "v");
  a->SetProject("P");
  DateTimeSerialPtr s = DateTimeSerial::New();
  s->SetStartDateTime(0.25);
  s->SetEndDateTime(0.5);
  s->SetSeriesStartDateTime(39569);
  s->SetSeriesEndDateTime(39600);
  s->SetEternal(true);
  s->SetRepetitionMode(calWeekdayInYear2);
  s->Setn(2);
  s->Setm(-1);
  s->SetWeekdays(calSunday);
  s->SetInMonth(12);
  a->SetDateTime(s);
  AppointmentLinkPtr link = AppointmentLink::New();
  link->SetOutsideID(5);
  link->SetDestinationFile(200804);
  link->SetDestinationID(1);
  AppointmentLinkPtr part = AppointmentLink::New();
  part->SetOutsideID(6);
  part->SetPartPeriod(DateTimeNormal::New());
  AppointmentsPtr list = Appointments::New();
  list->AddKeyed(a);
  list->AddKeyed(link);
  list->AddKeyed(part);

  MonthBytes b;
  b.Long(10003);
  b.Byte(1)
      .Long(4)
      .Text(
          "\xDC"
          "ber \x80 ?")
      .Text("")
      .Text("Job")
      .Byte(0xFF)
      .Byte(0)
      .Long(30);
  b.Long(calNoEdit).Long(1).Text("k").Text("").Text("v").Text("P");
  b.Byte(2).Date(0.25).Date(0.5).Date(39569).Date(39600).Byte(0xFF);
  b.Long(calWeekdayInYear2).Long(2).Long(-1).Long(calSunday).Long(12);  // n before m
  b.Link(5, 200804, 1);
  b.Byte(3).Long(6);  // a part: its type and number only
  b.Byte(0);
  EXPECT_EQ(store::EncodeMonthFile(*list), b.str());
}

TEST(MonthFileWriting, AnOldFileIsWrittenBackAsVersion10003) {
  MonthBytes old;
  old.Long(10000).Byte(1).Long(1).Text("T").Text("").Text("").Byte(0).Byte(0).Long(0);
  old.Byte(1).Date(kStart).Date(kEnd).Byte(0);
  MonthFileContents m = DecodeMonthFile(old.str(), 200805);
  MonthBytes now;
  now.Long(10003).Real(1, "T", kStart, kEnd).Byte(0);
  EXPECT_EQ(store::EncodeMonthFile(*m.Records), now.str());
}

TEST(MonthFileWriting, ARealAppointmentWithoutPeriodCannotBeWritten) {
  AppointmentsPtr list = Appointments::New();
  list->AddKeyed(AppointmentReal::New());
  EXPECT_THROW(store::EncodeMonthFile(*list), Error);
}

struct MalformedCase {
  const char* name;
  std::string tail;  // follows one good record
};

TEST(MonthFileReading, MalformedDataStopsTheReadingAndKeepsWhatCameBefore) {
  const std::vector<MalformedCase> cases = {
      {"unknown record type", MonthBytes().Byte(3).Long(2).str()},
      {"number used twice", MonthBytes().Link(1, 200804, 1).str()},
      {"text beyond the end", MonthBytes().Byte(1).Long(2).Long(20).Raw("short").str()},
      {"length of 2 GB", MonthBytes().Byte(1).Long(2).Long(0x7FFFFFFF).str()},
      {"record cut short", MonthBytes().Link(2, 200804, 1).str().substr(0, 7)},
      {"period cut short", MonthBytes().Real(2, "x", 1, 2).str().substr(0, 50)},
  };
  for (const MalformedCase& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string bytes = MonthBytes().Long(10003).Real(1, "kept", 1, 2).str() + c.tail;
    MonthFileContents m = DecodeMonthFile(bytes, 200805);
    EXPECT_FALSE(m.Complete);
    EXPECT_FALSE(m.Problem.empty());
    ASSERT_EQ(m.Records->Count(), 1);
    EXPECT_EQ(m.Records->Item(1)->Title(), "kept");
  }
  EXPECT_FALSE(DecodeMonthFile("", 200805).Complete);
  EXPECT_FALSE(DecodeMonthFile(std::string("\x13\x27\0", 3), 200805).Complete);
  MonthBytes tags;
  tags.Long(10003).Byte(1).Long(1).Text("").Text("").Text("").Byte(0).Byte(0).Long(0);
  tags.Long(0).Long(0x7FFFFFFF);
  EXPECT_FALSE(DecodeMonthFile(tags.str(), 200805).Complete);
}

}  // namespace
}  // namespace orncal
