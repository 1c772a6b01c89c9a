// The calendar's month files: the cache, links to earlier months, and
// filing appointments into the months their periods reach.
#include <gtest/gtest.h>

#include <set>
#include <sstream>
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

// The entries of a month file in order: "1 own" for a real appointment,
// "2@200806 -> 200804/1" for a link (its own number and file, then its
// destination), with " bound" once the link holds its destination.
std::string Entries(const FilePtr& file) {
  std::ostringstream out;
  const char* separator = "";
  for (const AppointmentPtr& e : *file->Appointments()) {
    out << separator << e->OutsideID();
    separator = ", ";
    if (auto* link = dynamic_cast<AppointmentLink*>(e.get())) {
      out << '@' << link->OutsideFile() << " -> " << link->DestinationFile() << '/'
          << link->DestinationID() << (link->DestinationAppointment() ? " bound" : "");
    } else {
      out << ' ' << e->Title();
    }
  }
  return out.str();
}

// --- The cache ---

class MonthCacheTest : public RecordingCalendarTest {
 protected:
  // April: 1 reaches into June, 2 stays in April, 3 ends as June begins,
  // 4 reaches June too; 5 is a link, which is never linked again.
  CalendarPtr StartWithApril() {
    const Date april20 = DateFromParts(2008, 4, 20), june1 = DateFromParts(2008, 6, 1);
    MonthBytes april;
    april.Long(10003).Real(1, "long", april20, june1 + 9).Real(2, "april", april20, april20);
    april.Real(3, "touching", april20, june1).Real(4, "also", april20, june1 + 0.5);
    PutDataFile("200804.xmf", april.Link(5, 200803, 1).Byte(0).str());
    return StartCalendar();
  }
  static MonthRef June() { return {.Month = 6, .Year = 2008}; }
};

TEST_F(MonthCacheTest, AMonthIsFoundByMonthAndYearByKeyAndByFileLong) {
  CalendarPtr calendar = StartCalendar();
  MonthRef by_month{.Month = 12, .Year = 2008}, by_key{.Key = "200812"},
      by_long{.FileLong = 200812};
  FilePtr december = calendar->GetMonthFile(by_month);
  EXPECT_EQ(std::tuple(by_month.Key, december->FileLong(), december->FileName(),
                       december->FilePath(), Entries(december)),
            std::tuple("200812", 200812, "200812", DataFile("200812.xmf"), ""));
  EXPECT_EQ(calendar->GetMonthFile(by_key), december);
  EXPECT_EQ(std::tuple(by_key.Month, by_key.Year), std::tuple(12, 2008));
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
  EXPECT_EQ(Entries(june), "1@200806 -> 200804/1, 2@200806 -> 200804/4");
  // Made for browsing, not the present month: not changed, but listed.
  EXPECT_EQ(std::tuple(june->Changed(), calendar->AllFiles()->Exists("200806")),
            std::tuple(false, true));
  EXPECT_EQ(calendar->GetMonthFile(June()), june);
  // The present month is written even without a change of its own.
  EXPECT_TRUE(calendar->GetMonthFile(MonthRef{.Month = 5, .Year = 2008})->Changed());
}

TEST_F(MonthCacheTest, LinksAreBoundAtOnceWhenAskedAndSurviveSavingAndLoading) {
  CalendarPtr calendar = StartWithApril();
  FilePtr june = calendar->GetMonthFile(June(), {.ResolveLinks = true});
  EXPECT_TRUE(june->LinksResolved());
  EXPECT_EQ(Entries(june), "1@200806 -> 200804/1 bound, 2@200806 -> 200804/4 bound");
  EXPECT_EQ(june->Appointments()->Item(1)->Target(), calendar->GetAppointment(200804, 1));
  june->SetChanged(true);
  calendar->Save();

  core::ResetStartupForTesting();
  CalendarPtr later = StartCalendar();
  FilePtr reloaded = later->GetMonthFile(June());
  EXPECT_FALSE(reloaded->LinksResolved());
  EXPECT_EQ(Entries(reloaded), "1@200806 -> 200804/1, 2@200806 -> 200804/4");
  later->GetMonthFile(June(), {.ResolveLinks = true});
  EXPECT_EQ(reloaded->Appointments()->Item(1)->Title(), "long");
}

TEST_F(MonthCacheTest, RecurringAppointmentsAreLinkedThroughTheirOverlapTest) {
  CalendarPtr calendar = StartWithApril();
  AppointmentsPtr april = calendar->GetMonthFile(MonthRef{.FileLong = 200804})->Appointments();
  for (auto [id, month] : {std::tuple(1, 200809), {2, 200809}, {4, 200810}})
    april->ItemByID(id)->SetDateTime(std::make_shared<FakeSeries>(std::set{month}));
  EXPECT_EQ(Entries(calendar->GetMonthFile(MonthRef{.Month = 9, .Year = 2008})),
            "1@200809 -> 200804/1, 2@200809 -> 200804/2");
}

TEST_F(MonthCacheTest, OddMonthsAndChangedPeriodsGetTheLinksOfTheFullWalk) {
  CalendarPtr calendar = StartWithApril();
  // Month 0 of 2008 is December 2007: nothing of April reaches it. Month 0
  // of 2009 is December 2008, which April's long entry does not reach either,
  // but a December appointment does, though its month number is higher.
  AppointmentPtr december = calendar->Appointment(
      {.StartDateTime = DateFromParts(2008, 12, 10), .EndDateTime = DateFromParts(2008, 12, 12)});
  EXPECT_EQ(Entries(calendar->GetMonthFile(MonthRef{.FileLong = 200900})), "1@200900 -> 200812/1");
  // A period lengthened in place and then reported changed reaches months
  // made afterwards, even when the month before was looked at already.
  calendar->GetMonthFile(MonthRef{.FileLong = 200901});
  december->DateTime()->SetEndDateTime(DateFromParts(2009, 3, 2));
  december->NotifyChange();
  EXPECT_EQ(Entries(calendar->GetMonthFile(MonthRef{.FileLong = 200903})), "1@200903 -> 200812/1");
}

TEST_F(MonthCacheTest, ALinkToALinkActsAsADirectLinkAndCirclesStayUnbound) {
  // January stores a weekly series, Mondays 09:00 to 10:00 until 28 March;
  // February's file links it directly.
  AppointmentPtr weekly = StartCalendar()->Appointment({.SaveNow = false});
  DateTimeSerialPtr mondays = DateTimeSerial::New();
  mondays->SetRepetitionMode(calWeekly);
  mondays->Setn(1);
  mondays->SetWeekdays(calMonday);
  mondays->SetSeriesStartDateTime(DateFromParts(2008, 1, 7));
  mondays->SetSeriesEndDateTime(DateFromParts(2008, 3, 28));
  mondays->SetStartDateTime(TimeFromParts(9, 0, 0));
  mondays->SetEndDateTime(TimeFromParts(10, 0, 0));
  weekly->SetDateTime(mondays);
  weekly->SetTitle("weekly");
  weekly->AfterDateTimeChange();
  StartCalendar()->Save();
  PutDataFile("200802.xmf", MonthBytes().Long(10003).Link(1, 200801, 1).Byte(0).str());
  // April's link and March's third form a circle; March's second names itself.
  PutDataFile("200804.xmf", MonthBytes().Long(10003).Link(1, 200803, 3).Byte(0).str());

  // March's first link names February's link, or January's appointment.
  const auto march_through = [&](int32_t destinationFile) {
    PutDataFile("200803.xmf", MonthBytes()
                                  .Long(10003)
                                  .Link(1, destinationFile, 1)
                                  .Link(2, 200803, 2)
                                  .Link(3, 200804, 1)
                                  .Byte(0)
                                  .str());
    core::ResetStartupForTesting();
    CalendarPtr calendar = StartCalendar();
    const AppointmentPtr series = calendar->GetAppointment(200801, 1);
    const AppointmentsPtr march = calendar->AllAppointmentsInPeriod(
        *DateTimeNormal::New(DateFromParts(2008, 3, 1), DateFromParts(2008, 4, 1)));
    // Without parts, of two links to one appointment the earlier goes.
    const AppointmentsPtr single = calendar->AllAppointmentsInPeriod(
        *DateTimeNormal::New(DateFromParts(2008, 2, 1), DateFromParts(2008, 5, 1)),
        {.SeperateSerials = false, .RemoveDoubles = true});
    std::ostringstream seen;
    seen << "March:";
    for (const AppointmentPtr& a : *march) {
      seen << ' ' << a->AppointmentType() << '/' << DayOf(a->DateTime()->StartDateTime())
           << (a->Series() && a->Series()->Target() == series ? "" : " elsewhere");
    }
    seen << "; without doubles:";
    for (const AppointmentPtr& a : *single)
      seen << ' ' << a->OutsideFile() << ' ' << a->Title();
    seen << "; " << Entries(calendar->GetMonthFile(MonthRef{.FileLong = 200803})) << "; "
         << Entries(calendar->GetMonthFile(MonthRef{.FileLong = 200804}));
    return seen.str();
  };
  const std::string chained = march_through(200802);
  EXPECT_EQ(chained,
            "March: 3/3 3/10 3/17 3/24; without doubles: 200803 weekly; "
            "1@200803 -> 200801/1 bound, 2@200803 -> 200803/2, 3@200803 -> 200804/1; "
            "1@200804 -> 200803/3");
  EXPECT_EQ(march_through(200801), chained);
}

TEST_F(MonthCacheTest, APeriodThatFailsToAnswerReachesNoMonthMadeLater) {
  // A period that raises is left out of a month made in memory; the month is
  // made with the links of the others.
  class Failing : public FakeSeries {
   public:
    Failing() : FakeSeries({}) {}
    bool OverLapsWith(const DateTimeNormal&, const OverlapOptions&) override {
      throw Error(ErrorNumber::kDivisionByZero);
    }
  };
  CalendarPtr calendar = StartWithApril();
  calendar->GetAppointment(200804, 1)->SetDateTime(std::make_shared<Failing>());
  EXPECT_EQ(Entries(calendar->GetMonthFile(June())), "1@200806 -> 200804/4");
}

TEST_F(MonthCacheTest, SaveWritesChangedFilesInCacheOrderAndReleaseSaves) {
  CalendarPtr calendar = StartCalendar();
  FilePtr july = calendar->GetMonthFile(MonthRef{.Month = 7, .Year = 2008});
  calendar->GetMonthFile(June());
  calendar->GetMonthFile(MonthRef{.Month = 5, .Year = 2008});  // the present month: changed
  july->SetChanged(true);
  calendar->Release();  // the shared calendar saves and keeps its cache
  // Before a month is made in memory, the others are asked to write theirs.
  EXPECT_EQ(notifier_->sent,
            (std::vector<std::string>{"BeforeLoadFile 200807", "BeforeLoadFile 200806",
                                      "BeforeLoadFile 200805", "Saved 200807", "Saved 200805",
                                      "SRTChanged"}));
  EXPECT_FALSE(PathExists(DataFile("200806.xmf")));
  EXPECT_TRUE(PathExists(DataFile("SpRmdTim.ini")));
  EXPECT_EQ(calendar->Files()->Count(), 3);

  // Any other calendar drops its cache, tasks, categories and extra remind
  // times.
  CalendarPtr other = Calendar::New();
  other->InitCalendar(temp_.path());
  other->GetMonthFile(MonthRef{.Month = 1, .Year = 2010});
  const CategoriesPtr categories = other->Categories();
  other->IncompleteTasks();
  other->SpecialRemindTimes()->Add(SpecialRemindTime::New());
  other->Release();
  EXPECT_EQ(other->Files()->Count(), 0);
  EXPECT_FALSE(other->TasksLoaded());
  EXPECT_NE(other->Categories(), categories);
  EXPECT_EQ(other->SpecialRemindTimes()->Count(), 0);
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
  std::string EntriesOf(int32_t month) { return Entries(Month(month)); }
  // A trip from 20 May to 10 July, filed.
  AppointmentPtr Trip(int32_t id = 0, bool remote = false) {
    AppointmentRealPtr trip = AppointmentReal::New();
    trip->SetID(id);
    trip->SetTitle("Reise");
    trip->SetDateTime(DateTimeNormal::New(kMay20, DateFromParts(2008, 7, 10)));
    AppointmentPtr stored = trip;
    calendar_->AttachAppointment(stored, remote);
    return stored;
  }

  CalendarPtr calendar_;
};

TEST_F(FilingTest, AttachFilesAFreeAppointmentInItsFirstMonthAndLinksTheOthersItReaches) {
  Month(7)->ResolveLinks();
  AppointmentPtr stored = Trip();
  EXPECT_EQ(notifier_->sent.back(), "DoWrite 200805/2");
  EXPECT_EQ(std::tuple(stored->File(), stored->Changed(), EntriesOf(5)),
            std::tuple(200805, true, "1 own, 2 Reise"));
  EXPECT_EQ(Month(5)->Appointments()->ItemByID(2), stored);  // the caller's object
  // Bound only where the month's links are resolved already.
  EXPECT_EQ(EntriesOf(6), "1 own, 2@200806 -> 200805/2");
  EXPECT_EQ(EntriesOf(7), "1 own, 2@200807 -> 200805/2 bound");
  EXPECT_EQ(EntriesOf(9), "1 own");
  EXPECT_EQ(std::tuple(Month(6)->Changed(), Month(7)->Changed()), std::tuple(true, true));
}

TEST_F(FilingTest, AnAppointmentAnotherMonthHoldsIsFiledAsACopy) {
  AppointmentPtr stored = Trip();
  stored->SetProject("Kunde A");
  // Moved without being taken out first: May keeps it, September gets a copy
  // with its own (empty) project.
  AppointmentPtr moved = stored;
  moved->SetDateTime(DateTimeNormal::New(kMay20 + 120, kMay20 + 121));
  calendar_->AttachAppointment(moved, false);
  ASSERT_NE(moved, stored);
  EXPECT_EQ(Month(5)->Appointments()->ItemByID(2), stored);
  EXPECT_EQ(std::tuple(moved->File(), moved->Title(), moved->Project()),
            std::tuple(200809, "Reise", ""));
}

TEST_F(FilingTest, DetachTakesOutTheAppointmentAndItsLinksAndKeepsTheirNumbers) {
  AppointmentPtr stored = Trip();
  Month(6)->SetChanged(false);
  calendar_->DetachAppointment(stored, false);
  EXPECT_EQ(notifier_->sent.back(), "DoDelete 200805/2");
  for (int32_t month : {5, 6, 7}) {
    EXPECT_EQ(std::tuple(EntriesOf(month), Month(month)->ReservedID()), std::tuple("1 own", 2))
        << month;
  }
  EXPECT_TRUE(Month(6)->Changed());
  // Filed again, it gets its number back although a lower one is free.
  Month(5)->Appointments()->RemoveByID(1);
  calendar_->AttachAppointment(stored, false);
  EXPECT_EQ(stored->ID(), 2);
}

TEST_F(FilingTest, TheAppointmentsOwnMembersFileAndUnfileIt) {
  Month(5);
  Month(6)->ResolveLinks();
  AppointmentRealPtr trip = AppointmentReal::New();
  trip->SetDateTime(DateTimeNormal::New(kMay20, kMay20 + 15));
  notifier_->sent.clear();
  trip->BeforeDateTimeChange();  // not filed yet: nothing to take out
  EXPECT_TRUE(notifier_->sent.empty());
  trip->AfterDateTimeChange();
  ASSERT_EQ(Month(5)->Appointments()->ItemByID(2), trip);
  EXPECT_TRUE(trip->Exists());
  // Every change is also announced to the clients of every process.
  using Sent = std::vector<std::string>;
  EXPECT_EQ(notifier_->sent, (Sent{"DoWrite 200805/2", "AnythingChanged"}));
  trip->SetChanged(false);
  trip->NotifyChange();
  EXPECT_TRUE(trip->Changed());
  Month(6)->Appointments()->ItemByID(2)->Remove();  // a link forwards the removal
  EXPECT_EQ(notifier_->sent, (Sent{"DoWrite 200805/2", "AnythingChanged", "DoChange 200805/2",
                                   "AnythingChanged", "DoDelete 200805/2", "AnythingChanged"}));
  EXPECT_FALSE(trip->Exists());
  EXPECT_EQ(EntriesOf(6), "1 own");
}

TEST_F(FilingTest, RemoteFilingSendsNothingAndReportsDisagreeingNumbers) {
  AppointmentPtr stored = Trip(5, true);  // the number the other process gave it
  EXPECT_EQ(stored->ID(), 2);
  ASSERT_EQ(messages_.texts(), std::vector<std::string>{"UNSTIMMIGKEIT!!!"});
  EXPECT_EQ(messages_.messages[0].Style, MessageStyle::kPlain);
  calendar_->DetachAppointment(stored, true);
  EXPECT_EQ(EntriesOf(5), "1 own");
  for (const std::string& message : notifier_->sent)
    EXPECT_NE(message.substr(0, 2), "Do") << message;
}

TEST_F(FilingTest, AnAppointmentHeldAlreadyOnlyGetsItsLinks) {
  AppointmentPtr own = Month(5)->Appointments()->ItemByID(1);
  own->SetDateTime(std::make_shared<FakeSeries>(std::set{200805, 200807}, kMay20));
  AppointmentPtr same = own;
  calendar_->AttachAppointment(same, false);
  EXPECT_EQ(same, own);
  EXPECT_EQ(std::tuple(EntriesOf(5), EntriesOf(6), EntriesOf(7)),
            std::tuple("1 own", "1 own", "1 own, 2@200807 -> 200805/1"));
  calendar_->DetachAppointment(own, false);
  EXPECT_EQ(std::tuple(EntriesOf(5), EntriesOf(7)), std::tuple("", "1 own"));
}

TEST_F(FilingTest, MonthZeroCountsOnlyForAnEndlessSeries) {
  WriteBytes(DataFile("0.xmf"), MonthBytes().Long(10003).Link(1, 200805, 1).str());
  calendar_->ScanMonthFiles();
  FilePtr zero = calendar_->GetMonthFile(MonthRef{.FileLong = 0});
  AppointmentPtr own = Month(5)->Appointments()->ItemByID(1);
  own->SetDateTime(std::make_shared<FakeSeries>(std::set{200806}, kMay20));
  calendar_->DetachAppointment(own, false);
  EXPECT_EQ(zero->Appointments()->Count(), 1);
  own->SetDateTime(std::make_shared<FakeSeries>(std::set{200806}, kMay20, true));
  calendar_->DetachAppointment(own, false);
  EXPECT_EQ(zero->Appointments()->Count(), 0);
}

}  // namespace
}  // namespace orncal
