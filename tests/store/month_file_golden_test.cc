// Month files are the same bytes on every platform: the scenario below,
// written at a fixed time, gives the files in golden/ byte for byte, and
// those files read back as the scenario's appointments. The native and the
// Windows build both run this against the same files, so what one writes
// the other reads. To write the files again after a deliberate change of
// the format, run the native test with ORNCAL_WRITE_GOLDEN set to the
// folder tests/store/golden.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "orncalendar/orncalendar.h"
#include "support/test_env.h"

namespace orncal {
namespace {

using testing::Join;
using testing::ReadBytes;

constexpr const char* kGoldenFiles[] = {"200805.xmf", "200806.xmf"};

class MonthFileGoldenTest : public testing::CalendarTest {
 protected:
  // Every kind of record: texts outside ASCII, tags, reminders, flags, an
  // all-day appointment, one reaching into the next month (a link there)
  // and a series that ends in the next month.
  void WriteScenario() {
    CalendarPtr calendar = StartCalendar();
    AppointmentPtr dentist = calendar->Appointment(
        {.StartDateTime = DateFromParts(2008, 5, 14) + TimeFromParts(9, 0, 0),
         .EndDateTime = DateFromParts(2008, 5, 14) + TimeFromParts(10, 30, 0)});
    dentist->SetTitle("Zahnarzt Müller");
    dentist->SetNotes("Bohrer, ängstlich\r\nzweite Zeile");
    dentist->SetCategory("Privat");
    dentist->SetProject("Gesundheit");
    dentist->SetRemind(true);
    dentist->SetRemindAt(15);
    dentist->AddTag("Ort", "text", "Praxis am Öhrchen");
    dentist->NotifyChange();

    // June has an appointment of its own before the others reach into it.
    calendar
        ->Appointment({.StartDateTime = DateFromParts(2008, 6, 11) + TimeFromParts(14, 0, 0),
                       .EndDateTime = DateFromParts(2008, 6, 11) + TimeFromParts(15, 0, 0)})
        ->SetTitle("Sitzung");

    AppointmentPtr holiday = calendar->Appointment({.StartDateTime = DateFromParts(2008, 5, 20),
                                                    .EndDateTime = DateFromParts(2008, 5, 21),
                                                    .AllDay = true});
    holiday->SetTitle("Urlaub");
    holiday->SetFlags(calNoEdit | calInvisible);
    holiday->NotifyChange();

    AppointmentPtr trip = calendar->Appointment(
        {.StartDateTime = DateFromParts(2008, 5, 30) + TimeFromParts(22, 0, 0),
         .EndDateTime = DateFromParts(2008, 6, 2) + TimeFromParts(8, 0, 0)});
    trip->SetTitle("Reise");
    trip->NotifyChange();

    AppointmentPtr course = calendar->Appointment({.SaveNow = false});
    DateTimeSerialPtr series = DateTimeSerial::New();
    series->SetRepetitionMode(calWeekly);
    series->Setn(1);
    series->SetWeekdays(calMonday | calFriday);
    series->SetSeriesStartDateTime(DateFromParts(2008, 5, 5));
    series->SetSeriesEndDateTime(DateFromParts(2008, 6, 27));
    series->SetStartDateTime(TimeFromParts(18, 0, 0));
    series->SetEndDateTime(TimeFromParts(19, 30, 0));
    course->SetDateTime(series);
    course->SetTitle("Kurs");
    course->SetFlags(calTask);
    course->AfterDateTimeChange();
    calendar->Save();
  }
};

TEST_F(MonthFileGoldenTest, TheScenarioIsWrittenAsTheGoldenFilesByteForByte) {
  WriteScenario();
  const char* update = std::getenv("ORNCAL_WRITE_GOLDEN");
  for (const char* name : kGoldenFiles) {
    SCOPED_TRACE(name);
    const std::string written = ReadBytes(DataFile(name));
    ASSERT_FALSE(written.empty());
    if (update && *update) {
      testing::WriteBytes(Join(update, name), written);
      continue;
    }
    EXPECT_EQ(written, ReadBytes(Join("golden", name)));
  }
}

TEST_F(MonthFileGoldenTest, TheGoldenFilesReadAsTheScenario) {
  for (const char* name : kGoldenFiles)
    PutDataFile(name, ReadBytes(Join("golden", name)));
  CalendarPtr calendar = StartCalendar();
  AppointmentsPtr may = calendar->AllAppointmentsInPeriod(
      *DateTimeNormal::New(DateFromParts(2008, 5, 1), DateFromParts(2008, 6, 1)),
      {.SeperateSerials = false, .NotFlags = 0});
  may->Sort();
  std::string titles;
  for (int32_t i = 1; i <= may->Count(); ++i)
    titles += may->Item(i)->Title() + ";";
  EXPECT_EQ(titles, "Urlaub;Kurs;Zahnarzt Müller;Reise;");
  AppointmentPtr dentist = calendar->FindAppointment("Zahnarzt Müller", {.StartAt = 39569});
  ASSERT_TRUE(dentist);
  EXPECT_EQ(dentist->Notes(), "Bohrer, ängstlich\r\nzweite Zeile");
  EXPECT_EQ(dentist->TagData(1), "Praxis am Öhrchen");
  EXPECT_EQ(dentist->RemindAt(), 15);
  // June holds the trip's link and the series' last weeks.
  AppointmentsPtr june = calendar->AllAppointmentsInPeriod(
      *DateTimeNormal::New(DateFromParts(2008, 6, 1), DateFromParts(2008, 7, 1)));
  EXPECT_EQ(june->Count(), 2 + 8);
}

}  // namespace
}  // namespace orncal
