// GetRemindAppointments: reminders handed out once each, hour by hour.
#include <gtest/gtest.h>

#include "core/calendar_fixture.h"

namespace orncal {
namespace {

using testing::At;
using testing::Day;

class RemindersTest : public testing::CalendarOpsTest {
 protected:
  RemindersTest() { clock_.clock().Set(At(2008, 5, 14, 10)); }

  AppointmentPtr Reminding(const std::string& title, Date start, int32_t remindAt) {
    AppointmentPtr a = Make(title, start, start + 1.0 / 24);
    a->SetRemind(true);
    a->SetRemindAt(remindAt);
    return a;
  }
  void PollAt(Date now) {
    clock_.clock().Set(now);
    due_ = nullptr;
    found_ = calendar_->GetRemindAppointments(due_);
  }
  std::vector<std::string> Due() const {
    std::vector<std::string> titles;
    if (due_) {
      for (const AppointmentPtr& a : *due_)
        titles.push_back(a->Title());
    }
    return titles;
  }

  CollectionPtr<AppointmentPtr> due_;
  bool found_ = false;
};

TEST_F(RemindersTest, AReminderComesAtTheFirstPollAfterItsMomentAndOnlyOnce) {
  Reminding("meeting", At(2008, 5, 14, 11), -900);  // reminds at 10:45
  PollAt(At(2008, 5, 14, 10, 30));
  EXPECT_FALSE(found_);
  PollAt(At(2008, 5, 14, 10, 45));  // exactly at the moment: not yet
  EXPECT_FALSE(found_);
  PollAt(At(2008, 5, 14, 10, 45) + 1.0 / 86400);
  EXPECT_TRUE(found_);
  EXPECT_EQ(Due(), std::vector<std::string>{"meeting"});
  PollAt(At(2008, 5, 14, 10, 50));
  EXPECT_FALSE(found_);
}

TEST_F(RemindersTest, NothingDueLeavesTheCallersCollectionAsItWas) {
  Make("silent", At(2008, 5, 14, 10, 30), At(2008, 5, 14, 11));  // Remind is false
  auto mine = std::make_shared<Collection<AppointmentPtr>>();
  clock_.clock().Set(At(2008, 5, 14, 10, 59));
  CollectionPtr<AppointmentPtr> out = mine;
  EXPECT_FALSE(calendar_->GetRemindAppointments(out));
  EXPECT_EQ(out, mine);
}

TEST_F(RemindersTest, TheMonthsAreQueriedOncePerHour) {
  PollAt(At(2008, 5, 14, 10, 5));
  // Filed behind the calendar's back (no change event), reminding within
  // this hour: the hour's cache, filled at the first poll, does not see it.
  AppointmentRealPtr quiet = AppointmentReal::New();
  quiet->SetTitle("quiet");
  quiet->SetRemind(true);
  quiet->SetDateTime(DateTimeNormal::New(At(2008, 5, 14, 10, 45), At(2008, 5, 14, 11)));
  quiet->SetID(50);
  calendar_->GetMonthFile(MonthRef{.FileLong = 200805})->Appointments()->AddKeyed(quiet);
  PollAt(At(2008, 5, 14, 10, 50));
  EXPECT_FALSE(found_);
  // The first poll of the next hour fills the cache anew.
  quiet->DateTime()->SetStartDateTime(At(2008, 5, 14, 11, 30));
  PollAt(At(2008, 5, 14, 11, 40));
  EXPECT_EQ(Due(), std::vector<std::string>{"quiet"});
}

TEST_F(RemindersTest, AChangeRestartsTheScanFromThatMoment) {
  Reminding("missed", At(2008, 5, 14, 10, 20), 0);
  clock_.clock().Set(At(2008, 5, 14, 10, 30));
  calendar_->Notificator()->RaiseChange({.AllInstances = false});
  PollAt(At(2008, 5, 14, 10, 40));
  EXPECT_FALSE(found_);  // its moment lay before the restart
}

TEST_F(RemindersTest, EveryOccurrenceOfASeriesReminds) {
  AppointmentPtr series = MakeWeekly("standup", Day(2008, 5, 12), calWednesday | calThursday);
  series->SetRemind(true);
  series->SetRemindAt(-300);
  clock_.clock().Set(At(2008, 5, 14, 8));
  calendar_->ResetRemindScan();
  PollAt(At(2008, 5, 14, 9));
  ASSERT_EQ(Due(), std::vector<std::string>{"standup"});
  EXPECT_EQ(due_->Item(1)->DateTime()->StartDateTime(), At(2008, 5, 14, 9));
  // The next day, in the same hour of the clock.
  PollAt(At(2008, 5, 15, 9));
  ASSERT_TRUE(found_);
  EXPECT_EQ(due_->Item(1)->DateTime()->StartDateTime(), At(2008, 5, 15, 9));
}

TEST_F(RemindersTest, SpecialRemindTimesComeOnceAndLeaveTheCollection) {
  AppointmentPtr a = Make("extra", At(2008, 5, 20, 9), At(2008, 5, 20, 10));
  CollectionPtr<SpecialRemindTimePtr> special = calendar_->SpecialRemindTimes();
  special->Add(SpecialRemindTime::New(At(2008, 5, 14, 10, 30), a));
  special->Add(SpecialRemindTime::New(At(2008, 5, 15, 10, 30), a));
  PollAt(At(2008, 5, 14, 10, 31));
  ASSERT_EQ(due_->Count(), 1);
  EXPECT_EQ(due_->Item(1), a);
  EXPECT_EQ(special->Count(), 1);
  PollAt(At(2008, 5, 14, 10, 32));
  EXPECT_FALSE(found_);
}

}  // namespace
}  // namespace orncal
