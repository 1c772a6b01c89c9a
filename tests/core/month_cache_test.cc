#include <gtest/gtest.h>

#include <set>

#include "core/shared_calendar.h"
#include "orncalendar/orncalendar.h"
#include "support/month_bytes.h"
#include "support/recording_notifier.h"
#include "support/test_helpers.h"

namespace orncal {
namespace {

using testing::ErrorOf;

using testing::MonthBytes;
using Sent = std::vector<std::string>;

const Date kApril20 = DateFromParts(2008, 4, 20);
const Date kJune1 = DateFromParts(2008, 6, 1);

class MonthCacheTest : public testing::RecordingCalendarTest {
 protected:
  // April: 1 reaches into June, 2 stays in April, 3 ends as June begins,
  // 4 reaches June too; 5 is a link, which is never linked again.
  void WriteApril() {
    MonthBytes april;
    april.Long(10003).Real(1, "long", kApril20, kJune1 + 9).Real(2, "april", kApril20, kApril20);
    april.Real(3, "touching", kApril20, kJune1).Real(4, "also", kApril20, kJune1 + 0.5);
    april.Link(5, 200803, 1).Byte(0);
    testing::MakeFolders(DataFolder());
    testing::WriteBytes(DataFile("200804.xmf"), april.str());
  }
  static AppointmentLink& LinkAt(const FilePtr& file, int32_t position) {
    return dynamic_cast<AppointmentLink&>(*file->Appointments()->Item(position));
  }
};

TEST_F(MonthCacheTest, AMonthIsFoundByMonthAndYearByKeyAndByFileLong) {
  CalendarPtr calendar = StartCalendar();
  MonthRef by_month{.Month = 12, .Year = 2008};
  FilePtr december = calendar->GetMonthFile(by_month);
  EXPECT_EQ(by_month.Key, "200812");
  EXPECT_EQ(december->FileLong(), 200812);
  EXPECT_EQ(december->FileName(), "200812");
  EXPECT_EQ(december->FilePath(), DataFile("200812.xmf"));
  EXPECT_EQ(december->Appointments()->Count(), 0);  // no earlier months
  MonthRef by_key{.Key = "200812"};
  EXPECT_EQ(calendar->GetMonthFile(by_key), december);
  EXPECT_EQ(by_key.Month * 10000 + by_key.Year, 122008);
  MonthRef by_long{.FileLong = 200812};
  EXPECT_EQ(calendar->GetMonthFile(by_long, {.OnlyLoaded = true}), december);
  EXPECT_EQ(by_long.Key, "200812");

  EXPECT_EQ(calendar->GetMonthFile(MonthRef{.FileLong = 200901}, {.OnlyLoaded = true}), nullptr);
  EXPECT_EQ(calendar->Files()->Count(), 1);
  EXPECT_EQ(ErrorOf([&] { calendar->GetMonthFile(MonthRef{.Key = "12ab"}); }), 13);
  EXPECT_EQ(ErrorOf([&] { calendar->GetMonthFile(MonthRef{.Month = 1, .Year = 30000000}); }), 6);
}

TEST_F(MonthCacheTest, AMonthWithoutFileLinksEveryEarlierAppointmentReachingIt) {
  WriteApril();
  CalendarPtr calendar = StartCalendar();
  FilePtr june = calendar->GetMonthFile(MonthRef{.Month = 6, .Year = 2008});
  ASSERT_EQ(june->Appointments()->Count(), 2);
  for (int32_t i : {1, 2}) {
    AppointmentLink& link = LinkAt(june, i);
    EXPECT_EQ(link.OutsideID(), i);
    EXPECT_EQ(link.OutsideFile(), 200806);
    EXPECT_EQ(link.DestinationFile(), 200804);
    EXPECT_EQ(link.DestinationID(), i == 1 ? 1 : 4);
    EXPECT_EQ(link.DestinationAppointment(), nullptr);
  }
  EXPECT_FALSE(june->Changed());  // made for browsing, not the present month
  EXPECT_TRUE(calendar->AllFiles()->Exists("200806"));
  EXPECT_EQ(calendar->GetMonthFile(MonthRef{.Month = 6, .Year = 2008}), june);

  // The present month is written even without a change of its own.
  EXPECT_TRUE(calendar->GetMonthFile(MonthRef{.Month = 5, .Year = 2008})->Changed());
}

TEST_F(MonthCacheTest, LinksAreBoundAtOnceWhenAskedAndSurviveSavingAndLoading) {
  WriteApril();
  CalendarPtr calendar = StartCalendar();
  FilePtr june = calendar->GetMonthFile(MonthRef{.Month = 6, .Year = 2008}, {.ResolveLinks = true});
  EXPECT_TRUE(june->LinksResolved());
  EXPECT_EQ(LinkAt(june, 1).DestinationAppointment(), calendar->GetAppointment(200804, 1));
  june->SetChanged(true);
  calendar->Save();

  core::ResetStartupForTesting();
  CalendarPtr later = StartCalendar();
  FilePtr reloaded = later->GetMonthFile(MonthRef{.Month = 6, .Year = 2008});
  EXPECT_FALSE(reloaded->LinksResolved());
  EXPECT_EQ(LinkAt(reloaded, 1).DestinationID(), 1);
  later->GetMonthFile(MonthRef{.Month = 6, .Year = 2008}, {.ResolveLinks = true});
  EXPECT_EQ(reloaded->Appointments()->Item(1)->Title(), "long");
}

TEST_F(MonthCacheTest, RecurringAppointmentsAreLinkedThroughTheirOverlapTest) {
  WriteApril();
  CalendarPtr calendar = StartCalendar();
  AppointmentsPtr april = calendar->GetMonthFile(MonthRef{.FileLong = 200804})->Appointments();
  april->ItemByID(1)->SetDateTime(std::make_shared<testing::FakeSeries>(std::set{200809}));
  april->ItemByID(2)->SetDateTime(std::make_shared<testing::FakeSeries>(std::set{200809}));
  april->ItemByID(4)->SetDateTime(std::make_shared<testing::FakeSeries>(std::set{200810}));
  FilePtr september = calendar->GetMonthFile(MonthRef{.Month = 9, .Year = 2008});
  ASSERT_EQ(september->Appointments()->Count(), 2);  // one link per series reaching it
  EXPECT_EQ(september->Appointments()->Item(2)->ID(), 2);
}

TEST_F(MonthCacheTest, SaveWritesChangedFilesInCacheOrderAndReleaseSaves) {
  CalendarPtr calendar = StartCalendar();
  FilePtr july = calendar->GetMonthFile(MonthRef{.Month = 7, .Year = 2008});
  calendar->GetMonthFile(MonthRef{.Month = 6, .Year = 2008});
  calendar->GetMonthFile(MonthRef{.Month = 5, .Year = 2008});  // the present month: changed
  july->SetChanged(true);
  calendar->Release();  // the shared calendar saves and keeps its cache
  EXPECT_EQ(notifier_->sent, (Sent{"Saved 200807", "Saved 200805"}));
  EXPECT_FALSE(testing::PathExists(DataFile("200806.xmf")));
  EXPECT_EQ(calendar->Files()->Count(), 3);

  testing::TempDir folder;
  CalendarPtr other = Calendar::New();
  other->InitCalendar(folder.path());
  other->GetMonthFile(MonthRef{.Month = 1, .Year = 2010});
  other->Release();
  EXPECT_EQ(other->Files()->Count(), 0);
}

TEST_F(MonthCacheTest, GetAppointmentFindsByFileAndNumberAndNeverRaises) {
  WriteApril();
  CalendarPtr calendar = StartCalendar();
  ASSERT_TRUE(calendar->GetAppointment(200804, 2));
  EXPECT_EQ(calendar->GetAppointment(200804, 2)->Title(), "april");
  EXPECT_EQ(calendar->GetAppointment(200804, 9), nullptr);
  EXPECT_EQ(calendar->GetAppointment(200811, 1), nullptr);
  EXPECT_TRUE(calendar->Files()->Exists("200811"));  // made in memory
  EXPECT_EQ(calendar->GetAppointment(-1, 1), nullptr);
  EXPECT_EQ(calendar->GetAppointment(2147483647, 1), nullptr);
  EXPECT_TRUE(messages_.messages().empty());
}

}  // namespace
}  // namespace orncal
