// Extra remind times of appointments (SpecialRemindTime) and SpRmdTim.ini.
#include <gtest/gtest.h>

#include <tuple>

#include "core/shared_calendar.h"
#include "orncalendar/orncalendar.h"
#include "support/month_bytes.h"
#include "support/recording_notifier.h"

namespace orncal {
namespace {

using testing::ReadBytes;

const Date kNow = DateFromParts(2008, 5, 14) + 10 / 24.0;  // the test clock

class SpecialRemindTimesTest : public testing::RecordingCalendarTest {
 protected:
  const std::string path_ = DataFile("SpRmdTim.ini");
};

TEST_F(SpecialRemindTimesTest, TheFileHoldsTheScanMomentThenTheRemindTimesStillToCome) {
  CalendarPtr calendar = StartCalendar();
  calendar->SaveSpecialRemindTimes();  // written even when empty
  EXPECT_EQ(ReadBytes(path_), "39582,416666666664\r\n");
  EXPECT_EQ(notifier_->sent.back(), "SRTChanged");

  AppointmentPtr a = calendar->Appointment({.StartDateTime = 39588, .EndDateTime = 39589});
  CollectionPtr<SpecialRemindTimePtr> special = calendar->SpecialRemindTimes();
  special->Add(SpecialRemindTime::New(39590.5, a));
  special->Add(SpecialRemindTime::New(kNow, a));  // due now: passed
  special->Add(SpecialRemindTime::New(kNow - 1, a));
  special->Add(SpecialRemindTime::New(kNow + 1.0 / 86400, a));
  calendar->Release();
  EXPECT_EQ(ReadBytes(path_),
            "39582,416666666664\r\n39590,5=200805/1\r\n39582,41667824074=200805/1\r\n");
  EXPECT_EQ(special->Count(), 4);  // the collection keeps them
}

TEST_F(SpecialRemindTimesTest, LoadingKeepsWhatItCanFindAndHandsOutWhatIsDue) {
  PutDataFile("200805.xmf", testing::MonthBytes()
                                .Long(10003)
                                .Real(1, "eins", 39588, 39589)
                                .Real(2, "zwei", 39590, 39591)
                                .str());
  const std::string file =
      "39582,25\r\n"
      "39590.5=200805/1\r\n"
      "\r\n"
      "  39582,3 = 200805 / 2 \r\n"
      "39592=200805/9\r\n"  // no such appointment
      "39593=200806/1\r\n"  // no such month
      "39594=200805/1\r\n"
      "39595=200805/x\r\n"
      "39596=200805/2\r\n";
  PutDataFile("SpRmdTim.ini", file);
  CalendarPtr calendar = StartCalendar();
  CollectionPtr<SpecialRemindTimePtr> special = calendar->SpecialRemindTimes();
  ASSERT_EQ(special->Count(), 3);  // the reading stops at the line it cannot read
  AppointmentPtr one = calendar->GetAppointment(200805, 1);
  AppointmentPtr two = calendar->GetAppointment(200805, 2);
  EXPECT_EQ(std::tuple(special->Item(1)->RemindAt(), special->Item(1)->Appointment(),
                       special->Item(2)->RemindAt(), special->Item(2)->Appointment(),
                       special->Item(3)->RemindAt()),
            std::tuple(39590.5, one, 39582.3, two, 39594.0));
  EXPECT_EQ(calendar->RemindScanFrom(), 39582.25);
  EXPECT_FALSE(calendar->Files()->Exists("200806"));
  EXPECT_TRUE(messages_.messages.empty());

  // The scan goes on from the moment in the file: what fell due since is
  // handed out at the first poll, once.
  CollectionPtr<AppointmentPtr> due;
  ASSERT_TRUE(calendar->GetRemindAppointments(due));
  ASSERT_EQ(due->Count(), 1);
  EXPECT_EQ(due->Item(1), two);
  EXPECT_EQ(special->Count(), 2);

  // The lines after the one that could not be read stay in the old file,
  // kept as the backup.
  calendar->SaveSpecialRemindTimes();
  EXPECT_EQ(ReadBytes(path_ + ".1"), file);
  EXPECT_EQ(ReadBytes(path_), "39582,416666666664\r\n39590,5=200805/1\r\n39594=200805/1\r\n");
}

TEST_F(SpecialRemindTimesTest, AScanMomentThatIsNoDateLeavesTheScanAtThePresent) {
  for (const char* first : {"kaputt", "1e308", "-1E+300", ""}) {
    core::ResetStartupForTesting();
    PutDataFile("SpRmdTim.ini", std::string(first) + "\r\n39590=200805/1\r\n");
    CalendarPtr calendar = StartCalendar();
    EXPECT_EQ(std::tuple(calendar->RemindScanFrom(), calendar->SpecialRemindTimes()->Count()),
              std::tuple(kNow, 0))
        << first;
    CollectionPtr<AppointmentPtr> due;
    EXPECT_FALSE(calendar->GetRemindAppointments(due));
  }
}

}  // namespace
}  // namespace orncal
