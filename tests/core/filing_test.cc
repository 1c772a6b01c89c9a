// Filing appointments into the months their periods reach, and taking them
// out again.
#include <gtest/gtest.h>

#include <set>

#include "orncalendar/orncalendar.h"
#include "support/month_bytes.h"
#include "support/recording_notifier.h"

namespace orncal {
namespace {

using testing::MonthBytes;
using Sent = std::vector<std::string>;

const Date kMay20 = DateFromParts(2008, 5, 20);
const Date kJuly10 = DateFromParts(2008, 7, 10);

// A recurring period that reaches exactly the months it names; with
// `eternal` its series never ends.
class FakeSeries : public DateTime {
 public:
  FakeSeries(std::set<int32_t> months, bool eternal)
      : months_(std::move(months)), series_(DateTimeSerial::New()) {
    series_->SetEternal(eternal);
  }
  int16_t DateTimeType() const override { return 2; }
  bool OverLapsWith(const DateTimeNormal& Period, const OverlapOptions&) override {
    const Date start = Period.StartDateTime();
    return months_.count(YearOf(start) * 100 + MonthOf(start)) > 0;
  }
  Date GetFirstDate() override { return kMay20; }
  DateTimeSerialPtr Series() override { return series_; }

 private:
  std::set<int32_t> months_;
  DateTimeSerialPtr series_;
};

// May to July and September have files, each holding appointment 1 of
// that month.
class FilingTest : public testing::RecordingCalendarTest {
 protected:
  FilingTest() {
    testing::MakeFolders(DataFolder());
    for (int32_t month : {5, 6, 7, 9}) {
      const Date first = DateFromParts(2008, month, 2);
      testing::WriteBytes(DataFile("20080" + std::to_string(month) + ".xmf"),
                          MonthBytes().Long(10003).Real(1, "own", first, first).Byte(0).str());
    }
    calendar_ = StartCalendar();
  }

  FilePtr Month(int32_t month) {
    return calendar_->GetMonthFile(MonthRef{.Month = month, .Year = 2008});
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

TEST_F(FilingTest, AttachStoresACopyInTheFirstMonthAndLinksTheOthersItReaches) {
  Month(7)->ResolveLinks();
  AppointmentRealPtr trip = Trip();
  AppointmentPtr stored = trip;
  calendar_->AttachAppointment(stored, false);

  EXPECT_EQ(notifier_->sent.back(), "DoWrite 200805/2");
  ASSERT_NE(stored, trip);  // the caller goes on with what May holds
  EXPECT_EQ(Entry(5, 2), stored);
  EXPECT_EQ(stored->ID(), 2);
  EXPECT_EQ(stored->File(), 200805);
  EXPECT_EQ(stored->Title(), "Reise");
  EXPECT_TRUE(stored->Changed());
  EXPECT_EQ(trip->ID(), 0);

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
  EXPECT_FALSE(Month(9)->Changed());
}

TEST_F(FilingTest, DetachTakesOutTheAppointmentAndItsLinksAndKeepsTheirNumbers) {
  AppointmentPtr stored = Trip();
  calendar_->AttachAppointment(stored, false);
  for (int32_t month : {5, 6, 7})
    Month(month)->SetChanged(false);

  calendar_->DetachAppointment(stored, false);
  EXPECT_EQ(notifier_->sent.back(), "DoDelete 200805/2");
  for (int32_t month : {5, 6, 7}) {
    SCOPED_TRACE(month);
    EXPECT_EQ(Entry(month, 2), nullptr);
    EXPECT_EQ(Entry(month, 1)->Title(), "own");
    EXPECT_EQ(Month(month)->ReservedID(), 2);
    EXPECT_TRUE(Month(month)->Changed());
  }

  // Filed again, it gets its number back even though a lower one is free.
  Month(5)->Appointments()->RemoveByID(1);
  calendar_->AttachAppointment(stored, false);
  EXPECT_EQ(stored->ID(), 2);
  EXPECT_EQ(Entry(5, 2), stored);
}

TEST_F(FilingTest, TheAppointmentsOwnMembersFileAndUnfileIt) {
  Month(6)->ResolveLinks();
  AppointmentRealPtr trip = Trip();
  const size_t sent = notifier_->sent.size();
  trip->BeforeDateTimeChange();  // not filed yet: nothing to take out
  EXPECT_EQ(notifier_->sent.size(), sent);
  trip->AfterDateTimeChange();
  EXPECT_TRUE(trip->Changed());
  AppointmentPtr stored = Entry(5, 2);
  ASSERT_TRUE(stored);
  EXPECT_TRUE(stored->Exists());

  stored->SetChanged(false);
  stored->NotifyChange();
  EXPECT_TRUE(stored->Changed());
  EXPECT_EQ(notifier_->sent.back(), "DoChange 200805/2");

  // A link forwards the removal to its destination.
  Entry(6, 2)->Remove();
  EXPECT_EQ(notifier_->sent.back(), "DoDelete 200805/2");
  EXPECT_FALSE(stored->Exists());
  EXPECT_EQ(Entry(6, 2), nullptr);
}

TEST_F(FilingTest, RemoteFilingSendsNothingAndReportsDisagreeingNumbers) {
  AppointmentRealPtr trip = Trip();
  trip->SetID(5);  // the number the other process gave it
  AppointmentPtr stored = trip;
  notifier_->sent.clear();
  calendar_->AttachAppointment(stored, true);
  EXPECT_EQ(stored->ID(), 2);
  ASSERT_EQ(messages_.messages().size(), 1u);
  EXPECT_EQ(messages_.messages()[0].Text, "UNSTIMMIGKEIT!!!");
  EXPECT_EQ(messages_.messages()[0].Style, MessageStyle::kPlain);

  calendar_->DetachAppointment(stored, true);
  EXPECT_EQ(Entry(5, 2), nullptr);
  for (const std::string& message : notifier_->sent)
    EXPECT_EQ(message.rfind("Do", 0), std::string::npos) << message;
}

TEST_F(FilingTest, AnAppointmentHeldAlreadyOnlyGetsItsLinks) {
  AppointmentPtr own = Entry(5, 1);
  own->SetDateTime(std::make_shared<FakeSeries>(std::set{200805, 200807}, false));
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
  testing::WriteBytes(DataFile("0.xmf"), MonthBytes().Long(10003).Link(1, 200805, 1).str());
  calendar_->ScanMonthFiles();
  FilePtr zero = calendar_->GetMonthFile(MonthRef{.FileLong = 0});
  AppointmentPtr own = Entry(5, 1);
  own->SetDateTime(std::make_shared<FakeSeries>(std::set{200806}, false));
  calendar_->DetachAppointment(own, false);
  EXPECT_EQ(zero->Appointments()->Count(), 1);

  own->SetDateTime(std::make_shared<FakeSeries>(std::set{200806}, true));
  calendar_->DetachAppointment(own, false);
  EXPECT_EQ(zero->Appointments()->Count(), 0);
  EXPECT_TRUE(zero->Changed());
}

}  // namespace
}  // namespace orncal
