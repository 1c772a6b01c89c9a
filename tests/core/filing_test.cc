// Filing appointments into the months their periods reach, and taking them
// out again.
#include <gtest/gtest.h>

#include <set>

#include "orncalendar/orncalendar.h"
#include "support/month_bytes.h"
#include "support/recording_notifier.h"
#include "support/test_helpers.h"

namespace orncal {
namespace {

const Date kMay20 = DateFromParts(2008, 5, 20);
const Date kJuly10 = DateFromParts(2008, 7, 10);

// May to July and September have files, each holding its appointment 1.
class FilingTest : public testing::RecordingCalendarTest {
 protected:
  FilingTest() {
    testing::MakeFolders(DataFolder());
    for (int32_t month : {5, 6, 7, 9}) {
      const Date day = DateFromParts(2008, month, 2);
      testing::WriteBytes(DataFile(std::to_string(200800 + month) + ".xmf"),
                          testing::MonthBytes().Long(10003).Real(1, "own", day, day).str());
    }
    calendar_ = StartCalendar();
  }
  FilePtr Month(int32_t month) {
    return calendar_->GetMonthFile(MonthRef{.FileLong = 200800 + month});
  }
  AppointmentPtr Entry(int32_t month, int32_t id) {
    return Month(month)->Appointments()->ItemByID(id);
  }
  static AppointmentRealPtr Trip() {
    AppointmentRealPtr trip = AppointmentReal::New();
    trip->SetTitle("Reise");
    trip->SetDateTime(DateTimeNormal::New(kMay20, kJuly10));
    return trip;
  }

  CalendarPtr calendar_;
};

TEST_F(FilingTest, AttachFilesAFreeAppointmentInItsFirstMonthAndLinksTheOthersItReaches) {
  Month(7)->ResolveLinks();
  AppointmentRealPtr trip = Trip();
  AppointmentPtr stored = trip;
  calendar_->AttachAppointment(stored, false);
  EXPECT_EQ(notifier_->sent.back(), "DoWrite 200805/2");
  EXPECT_EQ(stored, trip);  // the caller's object is the one May holds
  EXPECT_EQ(Entry(5, 2), stored);
  EXPECT_EQ(stored->File(), 200805);
  EXPECT_TRUE(stored->Changed());
  EXPECT_EQ(stored->Title(), "Reise");

  for (int32_t month : {6, 7}) {
    SCOPED_TRACE(month);
    EXPECT_TRUE(Month(month)->Changed());
    auto& link = dynamic_cast<AppointmentLink&>(*Entry(month, 2));
    EXPECT_EQ(link.OutsideFile(), 200800 + month);
    EXPECT_EQ(link.DestinationFile(), 200805);
    EXPECT_EQ(link.DestinationID(), 2);
    // Bound only where the month's links are resolved already.
    EXPECT_EQ(link.DestinationAppointment(), month == 7 ? stored : nullptr);
  }
  EXPECT_EQ(Month(9)->Appointments()->Count(), 1);
}

TEST_F(FilingTest, AnAppointmentAnotherMonthHoldsIsFiledAsACopy) {
  AppointmentPtr stored = Trip();
  calendar_->AttachAppointment(stored, false);
  stored->SetProject("Kunde A");
  // Moved without being taken out first: May keeps it, September gets a copy.
  AppointmentPtr moved = stored;
  moved->SetDateTime(DateTimeNormal::New(kMay20 + 120, kMay20 + 121));
  calendar_->AttachAppointment(moved, false);
  ASSERT_NE(moved, stored);
  EXPECT_EQ(moved->File(), 200809);
  EXPECT_EQ(Entry(5, 2), stored);
  EXPECT_EQ(moved->Title(), "Reise");
  EXPECT_EQ(moved->Project(), "");  // the copy keeps its own (empty) project
}

TEST_F(FilingTest, DetachTakesOutTheAppointmentAndItsLinksAndKeepsTheirNumbers) {
  AppointmentPtr stored = Trip();
  calendar_->AttachAppointment(stored, false);
  Month(6)->SetChanged(false);
  calendar_->DetachAppointment(stored, false);
  EXPECT_EQ(notifier_->sent.back(), "DoDelete 200805/2");
  for (int32_t month : {5, 6, 7}) {
    SCOPED_TRACE(month);
    EXPECT_EQ(Entry(month, 2), nullptr);
    EXPECT_EQ(Entry(month, 1)->Title(), "own");
    EXPECT_EQ(Month(month)->ReservedID(), 2);
  }
  EXPECT_TRUE(Month(6)->Changed());

  // Filed again, it gets its number back although a lower one is free.
  Month(5)->Appointments()->RemoveByID(1);
  calendar_->AttachAppointment(stored, false);
  EXPECT_EQ(stored->ID(), 2);
}

TEST_F(FilingTest, TheAppointmentsOwnMembersFileAndUnfileIt) {
  Month(6)->ResolveLinks();
  AppointmentRealPtr trip = Trip();
  const size_t unfiled = notifier_->sent.size();
  trip->BeforeDateTimeChange();  // not filed yet: nothing to take out
  EXPECT_EQ(notifier_->sent.size(), unfiled);
  trip->AfterDateTimeChange();
  AppointmentPtr stored = Entry(5, 2);
  ASSERT_EQ(stored, trip);
  EXPECT_TRUE(stored->Exists());
  using V = std::vector<std::string>;
  auto sent_since = [&](size_t from) {
    return V(notifier_->sent.begin() + from, notifier_->sent.end());
  };
  // Every change is also announced to the clients of every process.
  EXPECT_EQ(sent_since(notifier_->sent.size() - 2), (V{"DoWrite 200805/2", "AnythingChanged"}));
  stored->SetChanged(false);
  size_t before = notifier_->sent.size();
  stored->NotifyChange();
  EXPECT_TRUE(stored->Changed());
  EXPECT_EQ(sent_since(before), (V{"DoChange 200805/2", "AnythingChanged"}));

  before = notifier_->sent.size();
  Entry(6, 2)->Remove();  // a link forwards the removal
  EXPECT_EQ(sent_since(before), (V{"DoDelete 200805/2", "AnythingChanged"}));
  EXPECT_FALSE(stored->Exists());
  EXPECT_EQ(Entry(6, 2), nullptr);
}

TEST_F(FilingTest, RemoteFilingSendsNothingAndReportsDisagreeingNumbers) {
  AppointmentRealPtr trip = Trip();
  trip->SetID(5);  // the number the other process gave it
  AppointmentPtr stored = trip;
  calendar_->AttachAppointment(stored, true);
  EXPECT_EQ(stored->ID(), 2);
  ASSERT_EQ(messages_.texts(), std::vector<std::string>{"UNSTIMMIGKEIT!!!"});
  EXPECT_EQ(messages_.messages()[0].Style, MessageStyle::kPlain);
  calendar_->DetachAppointment(stored, true);
  EXPECT_EQ(Entry(5, 2), nullptr);
  for (const std::string& message : notifier_->sent)
    EXPECT_NE(message.substr(0, 2), "Do") << message;
}

TEST_F(FilingTest, AnAppointmentHeldAlreadyOnlyGetsItsLinks) {
  AppointmentPtr own = Entry(5, 1);
  own->SetDateTime(std::make_shared<testing::FakeSeries>(std::set{200805, 200807}, kMay20));
  AppointmentPtr same = own;
  calendar_->AttachAppointment(same, false);
  EXPECT_EQ(same, own);
  EXPECT_EQ(Month(5)->Appointments()->Count(), 1);
  EXPECT_EQ(Month(6)->Appointments()->Count(), 1);
  EXPECT_EQ(Entry(7, 2)->ID(), 1);
  calendar_->DetachAppointment(own, false);
  EXPECT_EQ(Entry(7, 2), nullptr);
  EXPECT_EQ(Entry(5, 1), nullptr);
}

TEST_F(FilingTest, MonthZeroCountsOnlyForAnEndlessSeries) {
  testing::WriteBytes(DataFile("0.xmf"),
                      testing::MonthBytes().Long(10003).Link(1, 200805, 1).str());
  calendar_->ScanMonthFiles();
  FilePtr zero = calendar_->GetMonthFile(MonthRef{.FileLong = 0});
  AppointmentPtr own = Entry(5, 1);
  own->SetDateTime(std::make_shared<testing::FakeSeries>(std::set{200806}, kMay20));
  calendar_->DetachAppointment(own, false);
  EXPECT_EQ(zero->Appointments()->Count(), 1);
  own->SetDateTime(std::make_shared<testing::FakeSeries>(std::set{200806}, kMay20, true));
  calendar_->DetachAppointment(own, false);
  EXPECT_EQ(zero->Appointments()->Count(), 0);
}

}  // namespace
}  // namespace orncal
