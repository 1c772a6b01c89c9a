// Calendar operations on a started calendar: new appointments, period
// queries, search and reminders.
#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "orncalendar/orncalendar.h"
#include "support/recording_notifier.h"

namespace orncal {
namespace {

Date Day(int32_t y, int32_t m, int32_t d) { return DateFromParts(y, m, d); }
Date At(int32_t y, int32_t m, int32_t d, int32_t h, int32_t min = 0) {
  return DateFromParts(y, m, d) + TimeFromParts(h, min, 0);
}

class CalendarOpsTest : public testing::RecordingCalendarTest {
 protected:
  CalendarOpsTest() : calendar_(StartCalendar()) {}

  // A filed appointment from `start` to `end`.
  AppointmentPtr Make(const std::string& title, Date start, Date end, int32_t flags = 0,
                      bool allDay = false) {
    AppointmentPtr a = calendar_->Appointment(
        {.StartDateTime = start, .EndDateTime = end, .AllDay = allDay, .SaveNow = false});
    a->SetTitle(title);
    a->SetFlags(flags);
    a->AfterDateTimeChange();
    return a;
  }
  // A filed, eternal weekly series from `first` (a Monday) on the given
  // weekdays, 09:00 to 10:00.
  AppointmentPtr MakeWeekly(const std::string& title, Date first, int32_t weekdays) {
    AppointmentPtr a = calendar_->Appointment({.SaveNow = false});
    DateTimeSerialPtr series = DateTimeSerial::New();
    series->SetRepetitionMode(calWeekly);
    series->Setn(1);
    series->SetWeekdays(weekdays);
    series->SetSeriesStartDateTime(first);
    series->SetEternal(true);
    series->SetStartDateTime(TimeFromParts(9, 0, 0));
    series->SetEndDateTime(TimeFromParts(10, 0, 0));
    a->SetDateTime(series);
    a->SetTitle(title);
    a->AfterDateTimeChange();
    return a;
  }
  AppointmentPtr Reminding(const std::string& title, Date start, int32_t remindAt) {
    AppointmentPtr a = Make(title, start, start + 1.0 / 24);
    a->SetRemind(true);
    a->SetRemindAt(remindAt);
    return a;
  }
  AppointmentsPtr Query(Date start, Date end, const QueryOptions& options = {}) {
    return calendar_->AllAppointmentsInPeriod(*DateTimeNormal::New(start, end), options);
  }
  // The titles of a list, as "a, b, c".
  template <class List>
  static std::string Titles(const List& list) {
    std::string titles;
    for (const AppointmentPtr& a : *list)
      titles += (titles.empty() ? "" : ", ") + a->Title();
    return titles;
  }
  std::string May(const QueryOptions& options = {}) {
    return Titles(Query(Day(2008, 5, 1), Day(2008, 6, 1), options));
  }
  bool Loaded(int32_t fileLong) const {
    return calendar_->Files()->Exists(std::to_string(fileLong));
  }

  CalendarPtr calendar_;
};

// --- New appointments ---

using NewAppointmentTest = CalendarOpsTest;

TEST_F(NewAppointmentTest, IsFiledInItsFirstMonthAndIsTheObjectTheFileHolds) {
  AppointmentPtr a = calendar_->Appointment(
      {.StartDateTime = At(2008, 5, 20, 9), .EndDateTime = At(2008, 5, 20, 10)});
  EXPECT_EQ(std::tuple(a->File(), a->ID()), std::tuple(200805, 1));
  EXPECT_EQ(calendar_->GetAppointment(200805, 1), a);
  EXPECT_TRUE(a->Changed());
  // Edits through the returned object reach what is saved.
  a->SetTitle("Zahnarzt");
  calendar_->Save();
  EXPECT_NE(testing::ReadBytes(DataFile("200805.xmf")).find("Zahnarzt"), std::string::npos);
}

TEST_F(NewAppointmentTest, DatesFollowTheAllDayAndZeroRulesAndWithoutAStartNothingIsFiled) {
  auto period = [&](const NewAppointmentOptions& o) {
    DateTimePtr p = calendar_->Appointment(o)->DateTime();
    return std::tuple(p->StartDateTime(), p->EndDateTime());
  };
  const Date d1 = Day(2008, 5, 20), d2 = Day(2008, 5, 22);
  EXPECT_EQ(period({.StartDateTime = d1, .EndDateTime = d2, .AllDay = true}),
            std::tuple(d1, d2 + 1));
  EXPECT_EQ(period({.StartDateTime = d1, .EndDateTime = d2}), std::tuple(d1, d2));
  EXPECT_EQ(period({.StartDateTime = d1, .AllDay = true}), std::tuple(d1, d1));
  const auto before = std::tuple(calendar_->Files()->Count(), notifier_->sent.size());
  EXPECT_EQ(period({.EndDateTime = d2}), std::tuple(Date{0}, d2));
  AppointmentPtr empty = calendar_->Appointment();
  EXPECT_EQ(std::tuple(empty->ID(), empty->DateTime()->DateTimeType()), std::tuple(0, int16_t{1}));
  EXPECT_EQ(calendar_->Appointment({.StartDateTime = d1, .SaveNow = false})->ID(), 0);
  EXPECT_EQ(std::tuple(calendar_->Files()->Count(), notifier_->sent.size()), before);
  // CalendarMain forwards to the shared calendar.
  EXPECT_EQ(CalendarMain().Appointment({.StartDateTime = Day(2008, 7, 20)})->File(), 200807);
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
  EXPECT_EQ(Titles(june), "other, move me");
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
  EXPECT_EQ(Titles(Query(Day(2008, 5, 1), Day(2008, 7, 1))), "kept, other");
  ASSERT_EQ(special->Count(), 1);
  EXPECT_EQ(special->Item(1)->Appointment(), keep);
}

TEST_F(NewAppointmentTest, ASeriesLeavesTheMonthThatStoresItEvenWhenItHasNoOccurrenceThere) {
  // A birthday on 20 July, anchored on 1 January: January stores it.
  AppointmentPtr birthday = calendar_->Appointment({.SaveNow = false});
  DateTimeSerialPtr yearly = DateTimeSerial::New();
  yearly->SetRepetitionMode(calYearly);
  yearly->Setn(1);
  yearly->SetInMonth(7);
  yearly->Setm(20);
  yearly->SetEternal(true);
  yearly->SetSeriesStartDateTime(Day(2008, 1, 1));
  yearly->SetEndDateTime(1);
  birthday->SetDateTime(yearly);
  birthday->SetTitle("birthday");
  birthday->AfterDateTimeChange();
  ASSERT_EQ(birthday->File(), 200801);
  birthday->Remove();
  EXPECT_FALSE(birthday->Exists());
  EXPECT_EQ(Titles(Query(Day(2030, 7, 1), Day(2030, 8, 1))), "");
}

// --- Period queries ---

using QueryTest = CalendarOpsTest;

TEST_F(QueryTest, AQueryEndingAtMidnightOfTheFirstDoesNotVisitTheNextMonth) {
  Make("may", At(2008, 5, 10, 9), At(2008, 5, 10, 10));
  EXPECT_EQ(May(), "may");
  EXPECT_FALSE(Loaded(200806));
  Query(Day(2008, 5, 1), Day(2008, 6, 1) + TimeFromParts(0, 1, 0));
  EXPECT_EQ(std::tuple(Loaded(200806), Loaded(200804)), std::tuple(true, false));
}

TEST_F(QueryTest, FlagMasksSelectByTheirSignedBitTestsAndAllDaySwitchesByTheDay) {
  const Date s = At(2008, 5, 10, 9), e = At(2008, 5, 10, 10);
  Make("none", s, e, 0);
  Make("invisible", s, e, calInvisible);
  Make("noedit", s, e, calNoEdit);
  Make("nodt", s, e, calNoDTChange);
  Make("both", s, e, calNoEdit | calNoDTChange);
  Make("bit31", s, e, INT32_MIN);
  Make("bit31+invisible", s, e, INT32_MIN | calInvisible);
  const std::string all = "none, invisible, noedit, nodt, both, bit31, bit31+invisible";
  EXPECT_EQ(May(), "none, noedit, nodt, both, bit31");
  EXPECT_EQ(May({.NotFlags = 0}), all);
  EXPECT_EQ(May({.Flags = 6}), "both");
  EXPECT_EQ(May({.OrFlags = 6}), "noedit, nodt, both");
  EXPECT_EQ(May({.NotFlags = 0, .NotAndFlags = 6}),
            "none, invisible, noedit, nodt, bit31, bit31+invisible");
  // Bit 31 alone counts as zero: it neither excludes nor selects.
  EXPECT_EQ(May({.NotFlags = INT32_MIN}), all);
  EXPECT_EQ(May({.NotFlags = 0, .OrFlags = INT32_MIN}), "");

  Make("whole day", Day(2008, 5, 11), Day(2008, 5, 11), 0, true);
  EXPECT_EQ(May(), "none, noedit, nodt, both, bit31, whole day");
  EXPECT_EQ(May({.AlsoAllDay = false}), "none, noedit, nodt, both, bit31");
  EXPECT_EQ(May({.OnlyAllDay = true}), "whole day");
}

TEST_F(QueryTest, ASeriesYieldsOnePartPerOccurrenceOrItselfOncePerMonth) {
  AppointmentPtr series = MakeWeekly("gym", Day(2008, 4, 28), calMonday);
  AppointmentsPtr parts = Query(Day(2008, 5, 1), Day(2008, 6, 1));
  ASSERT_EQ(parts->Count(), 4);  // the Mondays 5, 12, 19 and 26 May
  for (int32_t i = 1; i <= 4; ++i) {
    const AppointmentPtr& part = parts->Item(i);
    EXPECT_EQ(std::tuple(part->AppointmentType(), part->DateTime()->StartDateTime(), part->Title()),
              std::tuple(int16_t{3}, At(2008, 5, 5 + 7 * (i - 1), 9), "gym"));
    EXPECT_EQ(part->PartDateTime(), part->DateTime());
  }
  // The parts of May stand for the link May holds to April's series.
  EXPECT_EQ(parts->Item(1)->Series()->Target(), series);

  AppointmentsPtr whole = Query(Day(2008, 4, 1), Day(2008, 6, 1), {.SeperateSerials = false});
  ASSERT_EQ(whole->Count(), 2);  // April's own entry and May's link, turned into the series
  EXPECT_EQ(std::tuple(whole->Item(1), whole->Item(2)), std::tuple(series, series));
}

TEST_F(QueryTest, LinksBecomeTheirAppointmentUnlessDoublesAreRemoved) {
  AppointmentPtr trip = Make("trip", Day(2008, 5, 30), Day(2008, 6, 2));
  Make("june", At(2008, 6, 5, 9), At(2008, 6, 5, 10));
  AppointmentsPtr plain = Query(Day(2008, 5, 1), Day(2008, 7, 1));
  EXPECT_EQ(Titles(plain), "trip, trip, june");
  EXPECT_EQ(plain->Item(2), trip);
  EXPECT_EQ(Titles(Query(Day(2008, 5, 1), Day(2008, 7, 1), {.RemoveDoubles = true})), "trip, june");
  // Asked for June alone, the link stands in as itself.
  AppointmentsPtr june = Query(Day(2008, 6, 1), Day(2008, 7, 1), {.RemoveDoubles = true});
  EXPECT_EQ(std::tuple(june->Item(1)->AppointmentType(), june->Item(1)->Target()),
            std::tuple(int16_t{2}, trip));
}

TEST_F(QueryTest, RemindTimeSelectsByTheMomentOfTheReminder) {
  Reminding("the day before", At(2008, 5, 2, 9), -86400 + 3600);  // 1 May 10:00
  Make("no reminder", At(2008, 5, 1, 11), At(2008, 5, 1, 12));
  Reminding("outside", At(2008, 5, 1, 11), -13 * 3600);  // 30 April 22:00, before the query
  // A reminder counts only within the month that lists its appointment:
  // April's appointment reminding on 1 May is not found.
  Reminding("april", At(2008, 4, 30, 23), 3 * 3600);
  EXPECT_EQ(Titles(Query(At(2008, 5, 1, 0), At(2008, 5, 1, 12), {.UseRemindTime = true})),
            "the day before");
  // The parts of a series remind each by its own occurrence.
  AppointmentPtr series = MakeWeekly("gym", Day(2008, 5, 5), calMonday | calWednesday);
  series->SetRemind(true);
  series->SetRemindAt(-600);
  AppointmentsPtr due = Query(At(2008, 5, 7, 8), At(2008, 5, 7, 9), {.UseRemindTime = true});
  ASSERT_EQ(due->Count(), 1);
  EXPECT_EQ(due->Item(1)->DateTime()->StartDateTime(), At(2008, 5, 7, 9));
}

TEST_F(QueryTest, AFailingAppointmentIsLeftOutAndTheRestStands) {
  Make("good", At(2008, 5, 10, 9), At(2008, 5, 10, 10));
  AppointmentRealPtr broken = AppointmentReal::New();  // no period at all
  broken->SetID(99);
  calendar_->GetMonthFile(MonthRef{.FileLong = 200805})->Appointments()->AddKeyed(broken);
  EXPECT_EQ(May(), "good");
  // A query that is no date at all gives an empty result, not an error.
  EXPECT_EQ(Query(std::nan(""), Day(2008, 6, 1))->Count(), 0);
}

TEST_F(QueryTest, AMonthMadeInMemoryPassesOnWhatIsFiledIntoItLater) {
  Query(Day(2008, 6, 1), Day(2008, 7, 1));  // June is made, holding nothing
  AppointmentPtr trip = Make("trip", Day(2008, 6, 20), Day(2008, 8, 10));
  Make("short", At(2008, 6, 21, 9), At(2008, 6, 21, 10));
  // July and August are made after the trip was filed into June.
  AppointmentsPtr later = Query(Day(2008, 7, 1), Day(2008, 9, 1));
  EXPECT_EQ(Titles(later), "trip, trip");
  EXPECT_EQ(later->Item(2), trip);
  // A long walk over months without files ends, holding only what reaches.
  EXPECT_EQ(Titles(Query(Day(2008, 9, 1), Day(2108, 9, 1))), "");
}

// --- Search ---

class SearchTest : public CalendarOpsTest {
 protected:
  AppointmentPtr Find(std::string_view name, const FindOptions& options = {}) {
    return calendar_->FindAppointment(name, options);
  }
};

TEST_F(SearchTest, TheWholeTitleMatchesBlindToCaseAndSurroundingSpacesButNotInvisibles) {
  AppointmentPtr meeting = Make(" Meeting ", At(2008, 5, 20, 9), At(2008, 5, 20, 10));
  Make("Übung", At(2008, 5, 21, 9), At(2008, 5, 21, 10));
  EXPECT_EQ(Find("meeting"), meeting);
  EXPECT_EQ(Find("MEETING "), meeting);
  EXPECT_EQ(Find("meet"), nullptr);
  EXPECT_EQ(Find("ÜBUNG")->Title(), "Übung");
  Make("hidden", At(2008, 5, 14, 11), At(2008, 5, 14, 12), calInvisible);
  EXPECT_EQ(Find("hidden"), nullptr);
  EXPECT_EQ(Find("hidden", {.NotFlags = 0})->Title(), "hidden");
}

TEST_F(SearchTest, TheNearestHitWinsForwardByItsStartBackwardByItsEndFirstFoundOnATie) {
  const Date noon = At(2008, 5, 20, 12);
  // A call from 11:59 to 12:00 ends where the forward span starts.
  AppointmentPtr early = Make("call", At(2008, 5, 20, 11, 59), noon);
  EXPECT_EQ(Find("call", {.Direction = 1, .StartAt = noon}), nullptr);
  EXPECT_EQ(Find("call", {.Direction = -1, .StartAt = noon}), early);
  // Both ways, the nearer one wins: the end of `early` lies at StartAt, the
  // start of `later` two hours after it.
  AppointmentPtr later = Make("call", At(2008, 5, 20, 14), At(2008, 5, 20, 15));
  EXPECT_EQ(Find("call", {.StartAt = noon}), early);
  EXPECT_EQ(Find("call", {.Direction = 1, .StartAt = noon}), later);
  // On a tie forward comes before backward, and then file order.
  Make("tie", At(2008, 5, 20, 10), At(2008, 5, 20, 11));
  AppointmentPtr after = Make("tie", At(2008, 5, 20, 13), At(2008, 5, 20, 14));
  EXPECT_EQ(Find("tie", {.StartAt = noon}), after);
  Make("tie", At(2008, 5, 20, 13), At(2008, 5, 20, 15));
  EXPECT_EQ(Find("tie", {.Direction = 1, .StartAt = noon}), after);
  // StartAt 0 is now: 14 May 10:00.
  AppointmentPtr today = Make("today", At(2008, 5, 14, 11), At(2008, 5, 14, 12));
  EXPECT_EQ(Find("today", {.Direction = 1}), today);
}

TEST_F(SearchTest, TheSearchWalksMonthByMonthWithinTheMonthsOnDisk) {
  EXPECT_EQ(Find("anything", {.StartAt = Day(2008, 5, 20)}), nullptr);
  EXPECT_EQ(calendar_->Files()->Count(), 1);  // without month files only the first span
  AppointmentPtr far = Make("far", At(2009, 3, 5, 9), At(2009, 3, 5, 10));
  Make("past", At(2007, 2, 5, 9), At(2007, 2, 5, 10));
  EXPECT_EQ(Find("far", {.Direction = 1, .StartAt = Day(2008, 5, 20)}), far);
  EXPECT_EQ(Find("past", {.Direction = -1, .StartAt = Day(2008, 5, 20)})->Title(), "past");
  // Beyond the last month on disk there is nothing to find.
  EXPECT_EQ(Find("far", {.Direction = 1, .StartAt = Day(2009, 4, 1)}), nullptr);
  // Both ways at once, the forward limit ends the whole search.
  EXPECT_EQ(Find("past", {.StartAt = Day(2009, 3, 20)}), nullptr);
}

TEST_F(SearchTest, TheSearchGivesUpAfterFiveSecondsOfItsTimer) {
  // A timer that runs on by a second each time it is read.
  class RunningClock : public Clock {
   public:
    Date Now() const override { return Day(2008, 5, 20); }
    double Timer() const override { return ++ticks_; }
    mutable double ticks_ = 0;
  };
  Make("last", At(2020, 1, 5, 9), At(2020, 1, 5, 10));
  Make("first", At(2000, 1, 5, 9), At(2000, 1, 5, 10));
  std::shared_ptr<Clock> before = SetClock(std::make_shared<RunningClock>());
  EXPECT_EQ(Find("nowhere"), nullptr);
  SetClock(before);
  EXPECT_LE(calendar_->Files()->Count(), 2 + 2 * 6);  // a handful of passes, not 20 years
}

// --- Reminders ---

class RemindersTest : public CalendarOpsTest {
 protected:
  // The titles due at a poll at `now`; "-" when the poll finds nothing.
  std::string PollAt(Date now) {
    clock_->Set(now);
    due_ = nullptr;
    return calendar_->GetRemindAppointments(due_) ? Titles(due_) : "-";
  }
  CollectionPtr<AppointmentPtr> due_;
};

TEST_F(RemindersTest, AReminderComesAtTheFirstPollAfterItsMomentAndOnlyOnce) {
  Reminding("meeting", At(2008, 5, 14, 11), -900);
  const Date moment = At(2008, 5, 14, 11) + -900 / 86400.0;  // 10:45, as the calendar reckons it
  EXPECT_EQ(PollAt(At(2008, 5, 14, 10, 30)), "-");
  EXPECT_EQ(PollAt(moment), "-");  // exactly at the moment: not yet
  EXPECT_EQ(PollAt(moment + 1.0 / 86400), "meeting");
  EXPECT_EQ(PollAt(At(2008, 5, 14, 10, 50)), "-");
  // Nothing due leaves the caller's collection as it was.
  auto mine = std::make_shared<Collection<AppointmentPtr>>();
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
  EXPECT_EQ(PollAt(At(2008, 5, 14, 10, 50)), "-");
  // The first poll of the next hour fills the cache anew.
  quiet->DateTime()->SetStartDateTime(At(2008, 5, 14, 11, 30));
  EXPECT_EQ(PollAt(At(2008, 5, 14, 11, 40)), "quiet");
}

TEST_F(RemindersTest, AChangeRaisesChangeHereAndRestartsTheScanFromThatMoment) {
  int changes = 0;
  ScopedSubscription watch(calendar_->Notificator(), Notificator::Event::kChange,
                           [&] { ++changes; });
  AppointmentPtr missed = Reminding("missed", At(2008, 5, 14, 10, 20), 0);
  EXPECT_EQ(changes, 1);
  clock_->Set(At(2008, 5, 14, 10, 30));
  missed->NotifyChange();
  EXPECT_EQ(changes, 2);
  EXPECT_EQ(std::tuple(calendar_->RemindScanFrom(), calendar_->RemindScanHour()),
            std::tuple(clock_->Now(), -1));
  EXPECT_EQ(PollAt(At(2008, 5, 14, 10, 40)), "-");  // its moment lay before the restart
  // A local-only raise restarts the scan too, and sends nothing to the
  // other processes.
  const size_t sent = notifier_->sent.size();
  clock_->Advance(600);
  calendar_->Notificator()->RaiseChange({.AllInstances = false});
  EXPECT_EQ(std::tuple(changes, notifier_->sent.size(), calendar_->RemindScanFrom()),
            std::tuple(3, sent, clock_->Now()));
}

TEST_F(RemindersTest, EveryOccurrenceOfASeriesReminds) {
  AppointmentPtr series = MakeWeekly("standup", Day(2008, 5, 12), calWednesday | calThursday);
  series->SetRemind(true);
  series->SetRemindAt(-300);
  clock_->Set(At(2008, 5, 14, 8));
  calendar_->ResetRemindScan();
  ASSERT_EQ(PollAt(At(2008, 5, 14, 9)), "standup");
  EXPECT_EQ(due_->Item(1)->DateTime()->StartDateTime(), At(2008, 5, 14, 9));
  // The next day, in the same hour of the clock.
  ASSERT_EQ(PollAt(At(2008, 5, 15, 9)), "standup");
  EXPECT_EQ(due_->Item(1)->DateTime()->StartDateTime(), At(2008, 5, 15, 9));
}

TEST_F(RemindersTest, SpecialRemindTimesComeOnceAndLeaveTheCollection) {
  AppointmentPtr a = Make("extra", At(2008, 5, 20, 9), At(2008, 5, 20, 10));
  CollectionPtr<SpecialRemindTimePtr> special = calendar_->SpecialRemindTimes();
  special->Add(SpecialRemindTime::New(At(2008, 5, 14, 10, 30), a));
  special->Add(SpecialRemindTime::New(At(2008, 5, 15, 10, 30), a));
  ASSERT_EQ(PollAt(At(2008, 5, 14, 10, 31)), "extra");
  EXPECT_EQ(due_->Item(1), a);
  EXPECT_EQ(special->Count(), 1);
  EXPECT_EQ(PollAt(At(2008, 5, 14, 10, 32)), "-");
}

}  // namespace
}  // namespace orncal
