// Making, moving and removing appointments through the calendar.
#include <gtest/gtest.h>

#include "core/calendar_fixture.h"
#include "core/shared_calendar.h"

namespace orncal {
namespace {

using testing::At;
using testing::Day;

class NewAppointmentTest : public testing::CalendarOpsTest {};

TEST_F(NewAppointmentTest, IsFiledInItsFirstMonthAndIsTheObjectTheFileHolds) {
  AppointmentPtr a = calendar_->Appointment(
      {.StartDateTime = At(2008, 5, 20, 9), .EndDateTime = At(2008, 5, 20, 10)});
  EXPECT_EQ(a->File(), 200805);
  EXPECT_EQ(a->ID(), 1);
  EXPECT_EQ(calendar_->GetAppointment(200805, 1), a);
  EXPECT_TRUE(a->Changed());
  // Edits through the returned object reach what is saved.
  a->SetTitle("Zahnarzt");
  calendar_->Save();
  EXPECT_NE(testing::ReadBytes(DataFile("200805.xmf")).find("Zahnarzt"), std::string::npos);
}

TEST_F(NewAppointmentTest, DatesFollowTheAllDayAndZeroRules) {
  auto period = [&](const NewAppointmentOptions& o) {
    DateTimePtr p = calendar_->Appointment(o)->DateTime();
    return std::pair(p->StartDateTime(), p->EndDateTime());
  };
  const Date d1 = Day(2008, 5, 20), d2 = Day(2008, 5, 22);
  EXPECT_EQ(period({.StartDateTime = d1, .EndDateTime = d2, .AllDay = true}),
            std::pair(d1, d2 + 1));
  EXPECT_EQ(period({.StartDateTime = d1, .EndDateTime = d2}), std::pair(d1, d2));
  EXPECT_EQ(period({.StartDateTime = d1, .AllDay = true}), std::pair(d1, d1));
  EXPECT_EQ(period({.EndDateTime = d2}), std::pair(Date{0}, d2));
}

TEST_F(NewAppointmentTest, WithoutAStartOrWithoutSaveNowNothingIsFiled) {
  AppointmentPtr empty = calendar_->Appointment();
  EXPECT_EQ(empty->ID(), 0);
  EXPECT_EQ(empty->DateTime()->DateTimeType(), 1);
  AppointmentPtr later =
      calendar_->Appointment({.StartDateTime = Day(2008, 5, 20), .SaveNow = false});
  EXPECT_EQ(later->ID(), 0);
  EXPECT_EQ(calendar_->Files()->Count(), 0);
  EXPECT_TRUE(notifier_->sent.empty());
  // CalendarMain forwards to the shared calendar.
  EXPECT_EQ(CalendarMain().Appointment({.StartDateTime = Day(2008, 5, 20)})->File(), 200805);
}

TEST_F(NewAppointmentTest, AMoveRefilesTheSameObjectWithItsNumberAndItsLinks) {
  Make("other", At(2008, 6, 1, 9), At(2008, 6, 1, 10));  // June exists
  AppointmentPtr a = Make("move me", At(2008, 5, 20, 9), At(2008, 5, 20, 10));
  a->SetProject("Projekt");
  const int32_t id = a->ID();
  a->BeforeDateTimeChange();
  a->DateTime()->SetStartDateTime(At(2008, 5, 30, 9));
  a->DateTime()->SetEndDateTime(At(2008, 6, 2, 10));
  a->AfterDateTimeChange();
  EXPECT_EQ(a->ID(), id);  // its number was kept for it
  EXPECT_EQ(calendar_->GetAppointment(200805, id), a);
  EXPECT_EQ(a->Project(), "Projekt");
  AppointmentsPtr june = Query(Day(2008, 6, 1), Day(2008, 7, 1));
  EXPECT_EQ(Titles(june), (std::vector<std::string>{"other", "move me"}));
  EXPECT_EQ(june->Item(2), a);
}

TEST_F(NewAppointmentTest, RemovingTakesItsLinksAndExtraRemindersAlong) {
  Make("other", At(2008, 6, 1, 9), At(2008, 6, 1, 10));
  AppointmentPtr a = Make("gone", At(2008, 5, 30, 9), At(2008, 6, 2, 10));
  AppointmentPtr keep = Make("kept", At(2008, 5, 3, 9), At(2008, 5, 3, 10));
  auto special = calendar_->SpecialRemindTimes();
  special->Add(SpecialRemindTime::New(At(2008, 5, 29, 9), a));
  special->Add(SpecialRemindTime::New(At(2008, 5, 29, 9), keep));
  a->Remove();
  EXPECT_FALSE(a->Exists());
  EXPECT_EQ(Titles(Query(Day(2008, 5, 1), Day(2008, 7, 1))),
            (std::vector<std::string>{"kept", "other"}));
  ASSERT_EQ(special->Count(), 1);
  EXPECT_EQ(special->Item(1)->Appointment(), keep);
}

TEST_F(NewAppointmentTest, ChangesRaiseChangeHereAndRestartTheReminderScan) {
  int changes = 0;
  ScopedSubscription watch(calendar_->Notificator(), Notificator::Event::kChange,
                           [&] { ++changes; });
  AppointmentPtr a = Make("x", At(2008, 5, 20, 9), At(2008, 5, 20, 10));
  EXPECT_EQ(changes, 1);
  clock_.clock().Advance(600);
  a->NotifyChange();
  EXPECT_EQ(changes, 2);
  EXPECT_EQ(calendar_->RemindScanFrom(), clock_.clock().Now());
  EXPECT_EQ(calendar_->RemindScanHour(), -1);
  // A local-only raise sends nothing to the other processes.
  const size_t sent = notifier_->sent.size();
  calendar_->Notificator()->RaiseChange({.AllInstances = false});
  EXPECT_EQ(changes, 3);
  EXPECT_EQ(notifier_->sent.size(), sent);
}

TEST_F(NewAppointmentTest, SavedMonthsReadBackInANewCalendarWithTheirLinks) {
  Make("june", At(2008, 6, 5, 9), At(2008, 6, 5, 10));
  Make("long", Day(2008, 5, 30), Day(2008, 6, 3));
  MakeWeekly("weekly", Day(2008, 5, 5), calMonday);
  calendar_->Save();
  const auto before = Titles(Query(Day(2008, 5, 1), Day(2008, 7, 1)));

  core::ResetStartupForTesting();
  CalendarPtr reopened = StartCalendar();
  ASSERT_NE(reopened, calendar_);
  AppointmentsPtr after =
      reopened->AllAppointmentsInPeriod(*DateTimeNormal::New(Day(2008, 5, 1), Day(2008, 7, 1)));
  EXPECT_EQ(Titles(after), before);
  FilePtr june = reopened->GetMonthFile(MonthRef{.FileLong = 200806});
  int32_t links = 0;
  for (const AppointmentPtr& entry : *june->Appointments())
    links += entry->AppointmentType() == 2;
  EXPECT_EQ(links, 2);  // to the long appointment and to the series
}

}  // namespace
}  // namespace orncal
