#include <gtest/gtest.h>

#include "core/shared_calendar.h"
#include "orncalendar/orncalendar.h"
#include "support/month_bytes.h"
#include "support/recording_notifier.h"

namespace orncal {
namespace {

using testing::MonthBytes;
using testing::WriteBytes;

AppointmentRealPtr Real(int32_t id) {
  AppointmentRealPtr a = AppointmentReal::New();
  a->SetID(id);
  a->SetDateTime(DateTimeNormal::New());
  return a;
}

bool Contains(const std::vector<std::string>& sent, const std::string& message) {
  return std::find(sent.begin(), sent.end(), message) != sent.end();
}

TEST(FileNumbers, TheReservedNumberComesFirstThenTheLowestFreeOne) {
  FilePtr file = File::New();
  EXPECT_EQ(file->GetEmptyID(), 1);
  for (int32_t id : {1, 2, 4})
    file->Appointments()->AddKeyed(Real(id));
  EXPECT_EQ(file->GetEmptyID(), 3);
  EXPECT_TRUE(file->ItemExists(4));
  EXPECT_FALSE(file->ItemExists(3));
  file->SetReservedID(2);  // handed out even though it is in use
  EXPECT_EQ(file->GetEmptyID(), 2);
  EXPECT_EQ(file->ReservedID(), 0);
  EXPECT_EQ(file->GetEmptyID(), 3);
}

class FileTest : public testing::RecordingCalendarTest {
 protected:
  // April holds appointment 3; May links to it and to a missing number 9.
  void WriteAprilAndMay() {
    testing::MakeFolders(DataFolder());
    WriteBytes(DataFile("200804.xmf"),
               MonthBytes().Long(10003).Real(3, "April", 39540, 39541).Byte(0).str());
    WriteBytes(DataFile("200805.xmf"),
               MonthBytes().Long(10003).Link(1, 200804, 3).Link(2, 200804, 9).Byte(0).str());
    calendar_ = StartCalendar();
    may_ = calendar_->GetMonthFile(MonthRef{.Month = 5, .Year = 2008});
    april_ = calendar_->GetAppointment(200804, 3);
    ASSERT_TRUE(april_);
  }
  AppointmentLink& Link(int32_t id) {
    return dynamic_cast<AppointmentLink&>(*may_->Appointments()->ItemByID(id));
  }

  CalendarPtr calendar_;
  FilePtr may_;
  AppointmentPtr april_;
};

TEST_F(FileTest, LoadTellsTheNotifierAndGivesTheAppointmentsTheirCalendar) {
  WriteAprilAndMay();
  EXPECT_TRUE(Contains(notifier_->sent, "BeforeLoadFile 200805"));
  EXPECT_EQ(notifier_->last_path, calendar_->Path());
  EXPECT_EQ(dynamic_cast<AppointmentReal&>(*april_).OwnerCalendar(), calendar_);
  EXPECT_EQ(may_->Calendar(), calendar_);
  EXPECT_EQ(may_->FilePath(), DataFile("200805.xmf"));
  EXPECT_TRUE(messages_.messages().empty());
}

TEST_F(FileTest, ResolveLinksBindsStoredLinksOnceAndLeavesPartsAlone) {
  WriteAprilAndMay();
  AppointmentPtr marker = Real(99);
  AppointmentLinkPtr part = AppointmentLink::New();
  part->SetOutsideID(5);
  part->SetDestination(marker);
  part->SetPartPeriod(DateTimeNormal::New());
  may_->Appointments()->AddKeyed(part);
  EXPECT_FALSE(may_->LinksResolved());

  may_->ResolveLinks();
  EXPECT_TRUE(may_->LinksResolved());
  EXPECT_EQ(Link(1).DestinationAppointment(), april_);
  EXPECT_EQ(Link(2).DestinationAppointment(), nullptr);
  EXPECT_EQ(part->DestinationAppointment(), marker);

  Link(1).SetDestination(nullptr);
  may_->ResolveLinks();
  EXPECT_EQ(Link(1).DestinationAppointment(), nullptr);
}

TEST_F(FileTest, SaveIfChangedWritesForTheFileOrARealAppointmentButNotForALink) {
  WriteAprilAndMay();
  may_->ResolveLinks();
  may_->SetChanged(false);
  april_->SetChanged(true);  // seen through May's link, but not May's change
  may_->SaveIfChanged();
  EXPECT_FALSE(Contains(notifier_->sent, "Saved 200805"));

  AppointmentRealPtr own = Real(3);
  may_->Appointments()->AddKeyed(own);
  own->SetChanged(true);
  may_->SaveIfChanged();
  EXPECT_TRUE(Contains(notifier_->sent, "Saved 200805"));
  EXPECT_FALSE(may_->Changed());

  notifier_->sent.clear();
  own->SetChanged(false);
  may_->SetChanged(true);
  may_->SaveIfChanged();
  EXPECT_TRUE(Contains(notifier_->sent, "Saved 200805"));
}

TEST_F(FileTest, ResetChangedClearsTheEntriesAndTheDestinationsOfLinks) {
  WriteAprilAndMay();
  may_->ResolveLinks();  // link 2 stays without destination
  AppointmentRealPtr own = Real(3);
  may_->Appointments()->AddKeyed(own);
  own->SetChanged(true);
  april_->SetChanged(true);
  may_->SetChanged(true);
  may_->ResetChanged();
  EXPECT_FALSE(own->Changed());
  EXPECT_FALSE(april_->Changed());
  EXPECT_FALSE(may_->Changed());
}

TEST_F(FileTest, NewLoadedForgetsTheReservedNumberAndWritesPendingChanges) {
  WriteAprilAndMay();
  may_->SetReservedID(7);
  may_->SetChanged(true);
  may_->NewLoaded();
  EXPECT_EQ(may_->ReservedID(), 0);
  EXPECT_TRUE(Contains(notifier_->sent, "Saved 200805"));
}

TEST_F(FileTest, BackReferencesNeverHoldACalendarOtherThanTheSharedOne) {
  CalendarPtr shared = StartCalendar();
  CalendarPtr other = Calendar::New();
  FilePtr file = File::New();
  file->SetCalendar(other);
  EXPECT_EQ(file->Calendar(), shared);
  AppointmentRealPtr a = AppointmentReal::New();
  a->SetOwnerCalendar(other);
  EXPECT_EQ(a->OwnerCalendar(), shared);
  a->SetOwnerCalendar(shared);
  EXPECT_EQ(a->OwnerCalendar(), shared);
}

}  // namespace
}  // namespace orncal
