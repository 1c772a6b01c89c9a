// The calendar's month files: the cache, links to earlier months, and
// filing appointments into the months their periods reach.
#include <gtest/gtest.h>

#include <set>
#include <tuple>

#include "core/shared_calendar.h"
#include "orncalendar/orncalendar.h"
#include "support/month_bytes.h"
#include "support/recording_notifier.h"

namespace orncal {
namespace {

using namespace testing;

// A recurring period that reaches exactly the months (FileLongs) it names,
// starts at `first` and, when `eternal`, never ends. It stands in for the
// recurrence walk wherever a test needs a series to reach given months.
class FakeSeries : public DateTime {
 public:
  FakeSeries(std::set<int32_t> months, Date first = 0, bool eternal = false)
      : months_(std::move(months)), first_(first), series_(DateTimeSerial::New()) {
    series_->SetEternal(eternal);
  }
  int16_t DateTimeType() const override { return 2; }
  bool OverLapsWith(const DateTimeNormal& Period, const OverlapOptions&) override {
    const Date start = Period.StartDateTime();
    return months_.count(YearOf(start) * 100 + MonthOf(start)) > 0;
  }
  Date GetFirstDate() override { return first_; }
  DateTimeSerialPtr Series() override { return series_; }

 private:
  std::set<int32_t> months_;
  Date first_;
  DateTimeSerialPtr series_;
};

// --- The cache ---

const Date kApril20 = DateFromParts(2008, 4, 20);
const Date kJune1 = DateFromParts(2008, 6, 1);

class MonthCacheTest : public RecordingCalendarTest {
 protected:
  // April: 1 reaches into June, 2 stays in April, 3 ends as June begins,
  // 4 reaches June too; 5 is a link, which is never linked again.
  CalendarPtr StartWithApril() {
    MonthBytes april;
    april.Long(10003).Real(1, "long", kApril20, kJune1 + 9).Real(2, "april", kApril20, kApril20);
    april.Real(3, "touching", kApril20, kJune1).Real(4, "also", kApril20, kJune1 + 0.5);
    PutDataFile("200804.xmf", april.Link(5, 200803, 1).Byte(0).str());
    return StartCalendar();
  }
  static AppointmentLink& LinkAt(const FilePtr& file, int32_t position) {
    return dynamic_cast<AppointmentLink&>(*file->Appointments()->Item(position));
  }
  static MonthRef June() { return {.Month = 6, .Year = 2008}; }
};

TEST_F(MonthCacheTest, AMonthIsFoundByMonthAndYearByKeyAndByFileLong) {
  CalendarPtr calendar = StartCalendar();
  MonthRef by_month{.Month = 12, .Year = 2008};
  FilePtr december = calendar->GetMonthFile(by_month);
  EXPECT_EQ(
      std::tuple(by_month.Key, december->FileLong(), december->FileName(), december->FilePath(),
                 december->Appointments()->Count()),
      std::tuple("200812", 200812, "200812", DataFile("200812.xmf"), 0));  // no earlier months
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
  CalendarPtr calendar = StartWithApril();
  FilePtr june = calendar->GetMonthFile(June());
  ASSERT_EQ(june->Appointments()->Count(), 2);
  for (int32_t i : {1, 2}) {
    AppointmentLink& link = LinkAt(june, i);
    EXPECT_EQ(std::tuple(link.OutsideID(), link.OutsideFile(), link.DestinationFile(),
                         link.DestinationID(), link.DestinationAppointment() == nullptr),
              std::tuple(i, 200806, 200804, i == 1 ? 1 : 4, true));
  }
  // Made for browsing, not the present month: not changed, but listed.
  EXPECT_EQ(std::tuple(june->Changed(), calendar->AllFiles()->Exists("200806")),
            std::tuple(false, true));
  // The present month is written even without a change of its own.
  EXPECT_TRUE(calendar->GetMonthFile(MonthRef{.Month = 5, .Year = 2008})->Changed());

  EXPECT_EQ(calendar->GetMonthFile(June()), june);
}

TEST_F(MonthCacheTest, LinksAreBoundAtOnceWhenAskedAndSurviveSavingAndLoading) {
  CalendarPtr calendar = StartWithApril();
  FilePtr june = calendar->GetMonthFile(June(), {.ResolveLinks = true});
  EXPECT_TRUE(june->LinksResolved());
  EXPECT_EQ(LinkAt(june, 1).DestinationAppointment(), calendar->GetAppointment(200804, 1));
  june->SetChanged(true);
  calendar->Save();

  core::ResetStartupForTesting();
  CalendarPtr later = StartCalendar();
  FilePtr reloaded = later->GetMonthFile(June());
  EXPECT_FALSE(reloaded->LinksResolved());
  EXPECT_EQ(LinkAt(reloaded, 1).DestinationID(), 1);
  later->GetMonthFile(June(), {.ResolveLinks = true});
  EXPECT_EQ(reloaded->Appointments()->Item(1)->Title(), "long");
}

TEST_F(MonthCacheTest, RecurringAppointmentsAreLinkedThroughTheirOverlapTest) {
  CalendarPtr calendar = StartWithApril();
  AppointmentsPtr april = calendar->GetMonthFile(MonthRef{.FileLong = 200804})->Appointments();
  april->ItemByID(1)->SetDateTime(std::make_shared<FakeSeries>(std::set{200809}));
  april->ItemByID(2)->SetDateTime(std::make_shared<FakeSeries>(std::set{200809}));
  april->ItemByID(4)->SetDateTime(std::make_shared<FakeSeries>(std::set{200810}));
  FilePtr september = calendar->GetMonthFile(MonthRef{.Month = 9, .Year = 2008});
  ASSERT_EQ(september->Appointments()->Count(), 2);  // one link per series reaching it
  EXPECT_EQ(september->Appointments()->Item(2)->ID(), 2);
}

TEST_F(MonthCacheTest, SaveWritesChangedFilesInCacheOrderAndReleaseSaves) {
  CalendarPtr calendar = StartCalendar();
  FilePtr july = calendar->GetMonthFile(MonthRef{.Month = 7, .Year = 2008});
  calendar->GetMonthFile(June());
  calendar->GetMonthFile(MonthRef{.Month = 5, .Year = 2008});  // the present month: changed
  july->SetChanged(true);
  calendar->Release();  // the shared calendar saves and keeps its cache
  EXPECT_EQ(notifier_->sent, (std::vector<std::string>{"Saved 200807", "Saved 200805"}));
  EXPECT_FALSE(PathExists(DataFile("200806.xmf")));
  EXPECT_EQ(calendar->Files()->Count(), 3);

  CalendarPtr other = Calendar::New();  // any other calendar drops its cache
  other->InitCalendar(temp_.path());
  other->GetMonthFile(MonthRef{.Month = 1, .Year = 2010});
  other->Release();
  EXPECT_EQ(other->Files()->Count(), 0);
}

TEST_F(MonthCacheTest, GetAppointmentFindsByFileAndNumberAndNeverRaises) {
  CalendarPtr calendar = StartWithApril();
  ASSERT_TRUE(calendar->GetAppointment(200804, 2));
  EXPECT_EQ(calendar->GetAppointment(200804, 2)->Title(), "april");
  for (auto [file, id] : {std::tuple(200804, 9), {200811, 1}, {-1, 1}, {2147483647, 1}})
    EXPECT_EQ(calendar->GetAppointment(file, id), nullptr) << file;
  EXPECT_TRUE(calendar->Files()->Exists("200811"));  // made in memory
  EXPECT_TRUE(messages_.messages.empty());
}

// --- Filing ---

const Date kMay20 = DateFromParts(2008, 5, 20);
const Date kJuly10 = DateFromParts(2008, 7, 10);

// May to July and September have files, each holding its appointment 1.
class FilingTest : public RecordingCalendarTest {
 protected:
  FilingTest() {
    for (int32_t month : {5, 6, 7, 9}) {
      const Date day = DateFromParts(2008, month, 2);
      PutDataFile(std::to_string(200800 + month) + ".xmf",
                  MonthBytes().Long(10003).Real(1, "own", day, day).str());
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
  EXPECT_EQ(std::tuple(stored->File(), stored->Changed(), stored->Title()),
            std::tuple(200805, true, "Reise"));

  for (int32_t month : {6, 7}) {
    SCOPED_TRACE(month);
    EXPECT_TRUE(Month(month)->Changed());
    auto& link = dynamic_cast<AppointmentLink&>(*Entry(month, 2));
    EXPECT_EQ(std::tuple(link.OutsideFile(), link.DestinationFile(), link.DestinationID()),
              std::tuple(200800 + month, 200805, 2));
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
  EXPECT_EQ(Entry(5, 2), stored);
  // The copy keeps its own (empty) project.
  EXPECT_EQ(std::tuple(moved->File(), moved->Title(), moved->Project()),
            std::tuple(200809, "Reise", ""));
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
    EXPECT_EQ(std::tuple(Entry(month, 1)->Title(), Month(month)->ReservedID()),
              std::tuple("own", 2));
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
  EXPECT_EQ(messages_.messages[0].Style, MessageStyle::kPlain);
  calendar_->DetachAppointment(stored, true);
  EXPECT_EQ(Entry(5, 2), nullptr);
  for (const std::string& message : notifier_->sent)
    EXPECT_NE(message.substr(0, 2), "Do") << message;
}

TEST_F(FilingTest, AnAppointmentHeldAlreadyOnlyGetsItsLinks) {
  AppointmentPtr own = Entry(5, 1);
  own->SetDateTime(std::make_shared<FakeSeries>(std::set{200805, 200807}, kMay20));
  AppointmentPtr same = own;
  calendar_->AttachAppointment(same, false);
  EXPECT_EQ(same, own);
  EXPECT_EQ(std::tuple(Month(5)->Appointments()->Count(), Month(6)->Appointments()->Count()),
            std::tuple(1, 1));
  EXPECT_EQ(Entry(7, 2)->ID(), 1);
  calendar_->DetachAppointment(own, false);
  EXPECT_EQ(std::tuple(Entry(7, 2), Entry(5, 1)), std::tuple(AppointmentPtr(), AppointmentPtr()));
}

TEST_F(FilingTest, MonthZeroCountsOnlyForAnEndlessSeries) {
  WriteBytes(DataFile("0.xmf"), MonthBytes().Long(10003).Link(1, 200805, 1).str());
  calendar_->ScanMonthFiles();
  FilePtr zero = calendar_->GetMonthFile(MonthRef{.FileLong = 0});
  AppointmentPtr own = Entry(5, 1);
  own->SetDateTime(std::make_shared<FakeSeries>(std::set{200806}, kMay20));
  calendar_->DetachAppointment(own, false);
  EXPECT_EQ(zero->Appointments()->Count(), 1);
  own->SetDateTime(std::make_shared<FakeSeries>(std::set{200806}, kMay20, true));
  calendar_->DetachAppointment(own, false);
  EXPECT_EQ(zero->Appointments()->Count(), 0);
}

}  // namespace
}  // namespace orncal
