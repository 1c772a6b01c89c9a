#include "store/month_file_format.h"

#include <gtest/gtest.h>

#include <tuple>

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

TEST(MonthFileReading, Version10000HasTheBaseFieldsAndLinks) {
  MonthBytes b;
  b.Long(10000);
  b.Byte(1).Long(7).Text("Zahnarzt").Text("").Text("Privat").Byte(0xFF).Byte(1).Long(15);
  b.Byte(1).Date(kStart).Date(kEnd);
  b.Link(8, 200804, 3).Byte(0);
  MonthFileContents m = DecodeMonthFile(b.str(), 200805);
  ASSERT_TRUE(m.Complete) << m.Problem;
  EXPECT_EQ(m.Version, 10000);
  ASSERT_EQ(m.Records->Count(), 2);
  AppointmentReal& a = RealAt(m, 1);
  // Any byte but 0 is true.
  EXPECT_EQ(std::tuple(a.ID(), a.File(), a.Title(), a.Notes(), a.Category(), a.AllDay(), a.Remind(),
                       a.RemindAt(), a.Flags(), a.TagsCount(), a.Changed()),
            std::tuple(7, 200805, "Zahnarzt", "", "Privat", true, true, 15, 0, 0, false));
  EXPECT_EQ(std::tuple(a.DateTime()->StartDateTime(), a.DateTime()->EndDateTime()),
            std::tuple(kStart, kEnd));
  auto& link = dynamic_cast<AppointmentLink&>(*m.Records->ItemByID(8));
  EXPECT_EQ(std::tuple(link.OutsideFile(), link.DestinationFile(), link.DestinationID()),
            std::tuple(200805, 200804, 3));
}

// A real appointment with flags, tags and a recurring period, as version
// `version` stores it.
MonthBytes SeriesRecord(int32_t version) {
  MonthBytes b;
  b.Byte(1).Long(1).Text("Kurs").Text("").Text("").Byte(0xFF).Byte(0).Long(0);
  b.Long(calTask).Long(2).Text("Ort").Text("text").Text("Hamburg").Text("Wer").Text("").Text("A");
  if (version >= 10003) b.Text("P");
  b.Byte(2).Date(0.375).Date(0.5).Date(39569).Date(39813).Byte(0xFF);
  b.Long(calWeekly).Long(3).Long(-1).Long(calMonday | calFriday);  // n, then m
  if (version >= 10002) b.Long(11);
  return b;
}

TEST(MonthFileReading, Versions10001And10002AddFlagsTagsAndInMonth) {
  for (int32_t version : {10001, 10002}) {
    SCOPED_TRACE(version);
    // No end mark: the end of the data ends the file.
    MonthFileContents m =
        DecodeMonthFile(MonthBytes().Long(version).str() + SeriesRecord(version).str(), 200805);
    ASSERT_TRUE(m.Complete) << m.Problem;
    AppointmentReal& a = RealAt(m, 1);
    ASSERT_EQ(std::tuple(a.Flags(), a.TagsCount()), std::tuple(int32_t{calTask}, 2));
    EXPECT_EQ(std::tuple(a.TagName(1), a.TagType(1), a.TagData(1), a.TagName(2), a.TagData(2)),
              std::tuple("Ort", "text", "Hamburg", "Wer", "A"));
    DateTimeSerialPtr s = a.DateTime()->Series();
    ASSERT_TRUE(s);
    EXPECT_EQ(std::tuple(s->StartDateTime(), s->EndDateTime(), s->SeriesStartDateTime(),
                         s->SeriesEndDateTime(), s->Eternal(), s->RepetitionMode(), s->n(), s->m(),
                         s->Weekdays(), s->InMonth()),
              std::tuple(0.375, 0.5, 39569.0, 39813.0, true, calWeekly, 3, -1,
                         calMonday | calFriday, version >= 10002 ? 11 : 0));
  }
}

TEST(MonthFileReading, Version10003AddsProjectAndTextsAreWindows1252) {
  MonthBytes b;
  b.Long(10003);
  b.Byte(1).Long(2).Text("\xC4rger \x80").Text("").Text("").Byte(0).Byte(0).Long(0);
  b.Long(0).Long(-3);                                   // a negative tag count: no tags
  b.Text("Stra\337e").Byte(7).Date(kStart).Date(kEnd);  // "Straße", period type 7
  b.Byte(0).Byte(9);                                    // what follows the end mark is not read
  MonthFileContents m = DecodeMonthFile(b.str(), 200805);
  ASSERT_TRUE(m.Complete) << m.Problem;
  AppointmentReal& a = RealAt(m, 1);
  EXPECT_EQ(a.Title(), "\xC3\x84rger \xE2\x82\xAC");  // "Ärger €"
  EXPECT_EQ(a.TagsCount(), 0);
  EXPECT_EQ(a.Project(), "Stra\303\237e");
  EXPECT_EQ(a.DateTime()->DateTimeType(), 1);  // any type but 2 is a single period
}

// Whatever version was read, 10003 is written.
TEST(MonthFileWriting, WritesVersion10003FieldByField) {
  EXPECT_EQ(store::EncodeMonthFile(*Appointments::New()), std::string("\x13\x27\0\0\0", 5));
  // The records read field by field above are written back to the same bytes.
  MonthBytes b;
  b.Long(10003).Raw(SeriesRecord(10003).str()).Real(2, "", 1, 2).Link(3, 200804, 7).Byte(0);
  EXPECT_EQ(store::EncodeMonthFile(*DecodeMonthFile(b.str(), 200805).Records), b.str());

  // Beyond Windows-1252 a character is written "?"; a part writes its type
  // and number only.
  AppointmentRealPtr a = AppointmentReal::New();
  a->SetTitle("\xC3\x9C \xE2\x82\xAC \xE4\xB8\xAD");  // "Ü € 中"
  a->SetDateTime(DateTimeNormal::New(1, 2));
  AppointmentLinkPtr part = AppointmentLink::New();
  part->SetOutsideID(6);
  part->SetPartPeriod(DateTimeNormal::New());
  AppointmentsPtr list = Appointments::New();
  list->AddKeyed(a);
  list->AddKeyed(part);
  MonthBytes c;
  c.Long(10003)
      .Byte(1)
      .Long(0)
      .Text("\xDC \x80 ?")
      .Raw(MonthBytes().Real(0, "", 1, 2).str().substr(9));
  c.Byte(3).Long(6).Byte(0);
  EXPECT_EQ(store::EncodeMonthFile(*list), c.str());
}

TEST(MonthFileReading, MalformedDataStopsTheReadingAndKeepsWhatCameBefore) {
  const std::pair<const char*, std::string> cases[] = {
      {"unknown record type", MonthBytes().Byte(3).Long(2).str()},
      {"number used twice", MonthBytes().Link(1, 200804, 1).str()},
      {"text beyond the end", MonthBytes().Byte(1).Long(2).Long(20).Raw("short").str()},
      {"length of 2 GB", MonthBytes().Byte(1).Long(2).Long(0x7FFFFFFF).str()},
      {"record cut short", MonthBytes().Link(2, 200804, 1).str().substr(0, 7)},
      {"period cut short", MonthBytes().Real(2, "x", 1, 2).str().substr(0, 50)},
      {"tags beyond the end",
       MonthBytes().Real(2, "", 1, 2).str().substr(0, 27) + MonthBytes().Long(0x7FFFFFFF).str()},
  };
  for (const auto& [name, tail] : cases) {
    SCOPED_TRACE(name);
    const std::string bytes = MonthBytes().Long(10003).Real(1, "kept", 1, 2).str() + tail;
    MonthFileContents m = DecodeMonthFile(bytes, 200805);
    EXPECT_FALSE(m.Complete);
    EXPECT_FALSE(m.Problem.empty());
    ASSERT_EQ(m.Records->Count(), 1);
    EXPECT_EQ(m.Records->Item(1)->Title(), "kept");
  }
  EXPECT_FALSE(DecodeMonthFile(std::string("\x13\x27\0", 3), 200805).Complete);
}

}  // namespace
}  // namespace orncal
