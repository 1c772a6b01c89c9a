#include <gtest/gtest.h>

#include <set>

#include "core/shared_calendar.h"
#include "orncalendar/orncalendar.h"
#include "support/month_bytes.h"
#include "support/recording_notifier.h"

namespace orncal {
namespace {

using testing::MonthBytes;

int32_t ErrorOf(auto&& call) {
  try {
    call();
  } catch (const Error& e) {
    return e.Number();
  }
  return 0;
}

const Date kApril20 = DateFromParts(2008, 4, 20);
const Date kJune1 = DateFromParts(2008, 6, 1);
const Date kJune10 = DateFromParts(2008, 6, 10);

// A recurring period that reaches exactly the months it names.
class FakeSeries : public DateTime {
 public:
  explicit FakeSeries(std::set<int32_t> months) : months_(std::move(months)) {}
  int16_t DateTimeType() const override { return 2; }
  bool OverLapsWith(const DateTimeNormal& Period, const OverlapOptions&) override {
    const Date start = Period.StartDateTime();
    return months_.count(YearOf(start) * 100 + MonthOf(start)) > 0;
  }

 private:
  std::set<int32_t> months_;
};

class MonthCacheTest : public testing::RecordingCalendarTest {
 protected:
  void Write(std::string_view name, const MonthBytes& bytes) {
    testing::MakeFolders(DataFolder());
    testing::WriteBytes(DataFile(name), bytes.str());
  }
  // April: 1 reaches into June, 2 stays in April, 3 ends as June begins,
  // 4 reaches June too; 5 is a link, which never gets links of its own.
  void WriteApril() {
    MonthBytes april;
    april.Long(10003).Real(1, "long", kApril20, kJune10).Real(2, "april", kApril20, kApril20 + 1);
    april.Real(3, "touching", kApril20, kJune1).Real(4, "also", kApril20, kJune1 + 0.5);
    april.Link(5, 200803, 1).Byte(0);
    Write("200804.xmf", april);
  }
  static AppointmentLink& LinkAt(const FilePtr& file, int32_t position) {
    return dynamic_cast<AppointmentLink&>(*file->Appointments()->Item(position));
  }
};

TEST_F(MonthCacheTest, AMonthIsFoundByMonthAndYearByKeyAndByFileLong) {
  CalendarPtr calendar = StartCalendar();
  MonthRef by_month{.Month = 12, .Year = 2008};
  FilePtr december = calendar->GetMonthFile(by_month);
  EXPECT_EQ(by_month.FileLong, 200812);
  EXPECT_EQ(by_month.Key, "200812");
  EXPECT_EQ(december->FileLong(), 200812);
  EXPECT_EQ(december->FileName(), "200812");
  EXPECT_EQ(december->FilePath(), DataFile("200812.xmf"));
  EXPECT_EQ(december->Month(), 12);
  EXPECT_EQ(december->Year(), 2008);

  MonthRef by_key{.Key = "200812"};
  EXPECT_EQ(calendar->GetMonthFile(by_key), december);
  EXPECT_EQ(by_key.Month, 12);
  EXPECT_EQ(by_key.Year, 2008);
  MonthRef by_long{.FileLong = 200812};
  EXPECT_EQ(calendar->GetMonthFile(by_long), december);
  EXPECT_EQ(by_long.Key, "200812");
  EXPECT_EQ(calendar->Files()->Item("200812"), december);

  EXPECT_EQ(calendar->GetMonthFile(MonthRef{.FileLong = 200901}, {.OnlyLoaded = true}), nullptr);
  EXPECT_EQ(calendar->Files()->Count(), 1);
  EXPECT_EQ(calendar->GetMonthFile(MonthRef{.Key = "200812"}, {.OnlyLoaded = true}), december);

  EXPECT_EQ(ErrorOf([&] { calendar->GetMonthFile(MonthRef{.Key = "12ab"}); }), 13);
  EXPECT_EQ(ErrorOf([&] { calendar->GetMonthFile(MonthRef{.Month = 1, .Year = 30000000}); }), 6);
}

TEST_F(MonthCacheTest, AFileOnDiskIsLoadedOnceAndResolvedWhenAsked) {
  WriteApril();
  Write("200805.xmf", MonthBytes().Long(10003).Link(1, 200804, 1).Byte(0));
  CalendarPtr calendar = StartCalendar();
  FilePtr may = calendar->GetMonthFile(MonthRef{.Month = 5, .Year = 2008});
  ASSERT_EQ(may->Appointments()->Count(), 1);
  EXPECT_FALSE(may->LinksResolved());
  EXPECT_FALSE(may->Changed());

  EXPECT_EQ(calendar->GetMonthFile(MonthRef{.FileLong = 200805}, {.ResolveLinks = true}), may);
  EXPECT_TRUE(may->LinksResolved());
  EXPECT_EQ(LinkAt(may, 1).DestinationAppointment(), calendar->GetAppointment(200804, 1));
  EXPECT_EQ(calendar->Files()->Count(), 2);
}

TEST_F(MonthCacheTest, AMonthWithoutFileLinksEveryEarlierAppointmentReachingIt) {
  WriteApril();
  CalendarPtr calendar = StartCalendar();
  FilePtr june = calendar->GetMonthFile(MonthRef{.Month = 6, .Year = 2008});
  ASSERT_EQ(june->Appointments()->Count(), 2);
  const int32_t expected[][2] = {{1, 1}, {2, 4}};  // own number, destination number
  for (int32_t i = 0; i < 2; ++i) {
    AppointmentLink& link = LinkAt(june, i + 1);
    EXPECT_EQ(link.OutsideID(), expected[i][0]);
    EXPECT_EQ(link.OutsideFile(), 200806);
    EXPECT_EQ(link.DestinationFile(), 200804);
    EXPECT_EQ(link.DestinationID(), expected[i][1]);
    EXPECT_EQ(link.DestinationAppointment(), nullptr);
  }
  EXPECT_EQ(june->Appointments()->ItemByID(2)->ID(), 4);
  EXPECT_FALSE(june->Changed());  // not the present month
  EXPECT_TRUE(calendar->AllFiles()->Exists("200806"));

  FilePtr july = calendar->GetMonthFile(MonthRef{.Month = 7, .Year = 2008}, {.ResolveLinks = true});
  EXPECT_TRUE(july->LinksResolved());
  // June is listed now, but holds links only.
  EXPECT_EQ(july->Appointments()->Count(), 0);
  FilePtr june_again = calendar->GetMonthFile(MonthRef{.Month = 6, .Year = 2008});
  EXPECT_EQ(june_again, june);
}

TEST_F(MonthCacheTest, ALinkMadeForAMonthIsBoundAtOnceWhenAskedAndSurvivesSaving) {
  WriteApril();
  CalendarPtr calendar = StartCalendar();
  FilePtr june = calendar->GetMonthFile(MonthRef{.Month = 6, .Year = 2008}, {.ResolveLinks = true});
  AppointmentPtr long_one = calendar->GetAppointment(200804, 1);
  EXPECT_EQ(LinkAt(june, 1).DestinationAppointment(), long_one);
  EXPECT_EQ(june->Appointments()->Item(1)->Title(), "long");
  june->SetChanged(true);
  calendar->Save();

  MonthFileContents stored = DecodeMonthFile(testing::ReadBytes(DataFile("200806.xmf")), 200806);
  ASSERT_TRUE(stored.Complete);
  auto& link = dynamic_cast<AppointmentLink&>(*stored.Records->Item(1));
  EXPECT_EQ(link.OutsideID(), 1);
  EXPECT_EQ(link.DestinationFile(), 200804);
  EXPECT_EQ(link.DestinationID(), 1);

  core::ResetStartupForTesting();
  CalendarPtr later = StartCalendar();
  FilePtr reloaded =
      later->GetMonthFile(MonthRef{.Month = 6, .Year = 2008}, {.ResolveLinks = true});
  EXPECT_EQ(reloaded->Appointments()->Item(1)->Title(), "long");
}

TEST_F(MonthCacheTest, RecurringAppointmentsAreLinkedThroughTheirOverlapTest) {
  WriteApril();
  CalendarPtr calendar = StartCalendar();
  FilePtr april = calendar->GetMonthFile(MonthRef{.Month = 4, .Year = 2008});
  april->Appointments()->ItemByID(1)->SetDateTime(std::make_shared<FakeSeries>(std::set{200809}));
  april->Appointments()->ItemByID(2)->SetDateTime(std::make_shared<FakeSeries>(std::set{200809}));
  april->Appointments()->ItemByID(4)->SetDateTime(std::make_shared<FakeSeries>(std::set{200810}));
  FilePtr september = calendar->GetMonthFile(MonthRef{.Month = 9, .Year = 2008});
  ASSERT_EQ(september->Appointments()->Count(), 2);  // one link per series reaching it
  EXPECT_EQ(september->Appointments()->Item(1)->ID(), 1);
  EXPECT_EQ(september->Appointments()->Item(2)->ID(), 2);
}

TEST_F(MonthCacheTest, OnlyAnEmptyFileForThePresentMonthIsChanged) {
  CalendarPtr calendar = StartCalendar();
  FilePtr may = calendar->GetMonthFile(MonthRef{.Month = 5, .Year = 2008});
  EXPECT_EQ(may->Appointments()->Count(), 0);
  EXPECT_TRUE(may->Changed());
  EXPECT_FALSE(calendar->GetMonthFile(MonthRef{.Month = 5, .Year = 2009})->Changed());
}

TEST_F(MonthCacheTest, SaveWritesTheChangedFilesInCacheOrder) {
  CalendarPtr calendar = StartCalendar();
  FilePtr july = calendar->GetMonthFile(MonthRef{.Month = 7, .Year = 2008});
  calendar->GetMonthFile(MonthRef{.Month = 6, .Year = 2008});
  calendar->GetMonthFile(MonthRef{.Month = 5, .Year = 2008});  // the present month: changed
  july->SetChanged(true);
  calendar->Save();
  EXPECT_EQ(notifier_->sent, (std::vector<std::string>{"Saved 200807", "Saved 200805"}));
  EXPECT_TRUE(testing::PathExists(DataFile("200807.xmf")));
  EXPECT_FALSE(testing::PathExists(DataFile("200806.xmf")));
}

TEST_F(MonthCacheTest, ReleaseSavesAndOnlyAnotherCalendarDropsItsCache) {
  CalendarPtr shared = StartCalendar();
  shared->GetMonthFile(MonthRef{.Month = 5, .Year = 2008});
  shared->Release();
  EXPECT_EQ(notifier_->sent, std::vector<std::string>{"Saved 200805"});
  EXPECT_EQ(shared->Files()->Count(), 1);

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
  AppointmentPtr found = calendar->GetAppointment(200804, 2);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->Title(), "april");
  EXPECT_EQ(calendar->GetAppointment(200804, 9), nullptr);
  EXPECT_EQ(calendar->GetAppointment(200811, 1), nullptr);
  EXPECT_TRUE(calendar->Files()->Exists("200811"));  // made in memory
  EXPECT_EQ(calendar->GetAppointment(-1, 1), nullptr);
  EXPECT_EQ(calendar->GetAppointment(2147483647, 1), nullptr);
  EXPECT_TRUE(messages_.messages().empty());
}

}  // namespace
}  // namespace orncal
