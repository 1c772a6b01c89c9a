#include <gtest/gtest.h>

#include "orncalendar/orncalendar.h"
#include "support/month_bytes.h"
#include "support/recording_notifier.h"

namespace orncal {
namespace {

using testing::MonthBytes;
using Sent = std::vector<std::string>;

AppointmentRealPtr Real(int32_t id) {
  AppointmentRealPtr a = AppointmentReal::New();
  a->SetID(id);
  a->SetDateTime(DateTimeNormal::New());
  return a;
}

TEST(FileNumbers, TheReservedNumberComesFirstThenTheLowestFreeOne) {
  FilePtr file = File::New();
  EXPECT_EQ(file->GetEmptyID(), 1);
  for (int32_t id : {1, 2, 4})
    file->Appointments()->AddKeyed(Real(id));
  EXPECT_EQ(file->GetEmptyID(), 3);
  EXPECT_TRUE(file->ItemExists(4));
  file->SetReservedID(2);  // handed out even though it is in use
  EXPECT_EQ(file->GetEmptyID(), 2);
  EXPECT_EQ(file->GetEmptyID(), 3);
}

// April holds appointment 3; May links to it and to a missing number 9.
class FileTest : public testing::RecordingCalendarTest {
 protected:
  FileTest() {
    testing::MakeFolders(DataFolder());
    testing::WriteBytes(DataFile("200804.xmf"),
                        MonthBytes().Long(10003).Real(3, "April", 39540, 39541).Byte(0).str());
    testing::WriteBytes(DataFile("200805.xmf"),
                        MonthBytes().Long(10003).Link(1, 200804, 3).Link(2, 200804, 9).str());
    calendar_ = StartCalendar();
    may_ = calendar_->GetMonthFile(MonthRef{.Month = 5, .Year = 2008});
    april_ = calendar_->GetAppointment(200804, 3);
  }
  AppointmentLink& Link(int32_t id) {
    return dynamic_cast<AppointmentLink&>(*may_->Appointments()->ItemByID(id));
  }

  CalendarPtr calendar_;
  FilePtr may_;
  AppointmentPtr april_;
};

TEST_F(FileTest, ResolveLinksBindsStoredLinksOnceAndLeavesPartsAlone) {
  EXPECT_EQ(notifier_->sent, (Sent{"BeforeLoadFile 200805", "BeforeLoadFile 200804"}));
  EXPECT_EQ(notifier_->last_path, calendar_->Path());
  AppointmentPtr marker = Real(99);
  AppointmentLinkPtr part = AppointmentLink::New();
  part->SetOutsideID(5);
  part->SetDestination(marker);
  part->SetPartPeriod(DateTimeNormal::New());
  may_->Appointments()->AddKeyed(part);

  may_->SetCalendar(Calendar::New());  // only the shared calendar is ever held
  may_->ResolveLinks();
  EXPECT_TRUE(may_->LinksResolved());
  ASSERT_TRUE(april_);
  EXPECT_EQ(Link(1).DestinationAppointment(), april_);
  EXPECT_EQ(Link(2).DestinationAppointment(), nullptr);
  EXPECT_EQ(part->DestinationAppointment(), marker);
  Link(1).SetDestination(nullptr);
  may_->ResolveLinks();
  EXPECT_EQ(Link(1).DestinationAppointment(), nullptr);
}

TEST_F(FileTest, SavesWhenItOrARealAppointmentIsChangedButNotForALink) {
  may_->ResolveLinks();
  april_->SetChanged(true);  // seen through May's link, but not May's change
  may_->SaveIfChanged();
  EXPECT_EQ(notifier_->sent.back(), "BeforeLoadFile 200804");

  AppointmentRealPtr own = Real(3);
  may_->Appointments()->AddKeyed(own);
  own->SetChanged(true);
  may_->SaveIfChanged();
  EXPECT_EQ(notifier_->sent.back(), "Saved 200805");

  // Another process is about to read May: the reserved number goes and
  // pending changes are written.
  notifier_->sent.clear();
  may_->SetReservedID(7);
  may_->SetChanged(true);
  may_->NewLoaded();
  EXPECT_EQ(may_->ReservedID(), 0);
  EXPECT_EQ(notifier_->sent, Sent{"Saved 200805"});
}

TEST_F(FileTest, ResetChangedClearsTheEntriesAndTheDestinationsOfLinks) {
  may_->ResolveLinks();  // link 2 stays without destination
  AppointmentRealPtr own = Real(3);
  may_->Appointments()->AddKeyed(own);
  own->SetChanged(true);
  april_->SetChanged(true);
  may_->SetChanged(true);
  may_->ResetChanged();
  EXPECT_FALSE(own->Changed() || april_->Changed() || may_->Changed());
}

}  // namespace
}  // namespace orncal
