// Appointments of every kind, and their collection.
#include <gtest/gtest.h>

#include <tuple>

#include "orncalendar/orncalendar.h"
#include "support/test_env.h"

namespace orncal {
namespace {

using testing::ErrorOf;
using Texts = std::vector<std::string>;

AppointmentRealPtr Real(int32_t id, Date start = 0, bool allDay = false, std::string title = "") {
  AppointmentRealPtr a = AppointmentReal::New();
  a->SetID(id);
  a->SetTitle(std::move(title));
  a->SetAllDay(allDay);
  a->SetDateTime(DateTimeNormal::New(start, start));
  return a;
}

AppointmentLinkPtr LinkTo(const AppointmentPtr& destination, int32_t id) {
  AppointmentLinkPtr link = AppointmentLink::New();
  link->SetDestination(destination);
  link->SetOutsideID(id);
  return link;
}

// The titles of a list's entries, one letter each, and their own numbers.
std::string Titles(const Appointments& list) {
  std::string titles;
  for (const AppointmentPtr& a : list)
    titles += a->Title();
  return titles;
}
std::string Numbers(const Appointments& list) {
  std::string numbers;
  for (const AppointmentPtr& a : list)
    numbers += std::to_string(a->OutsideID());
  return numbers;
}

TEST(BareAppointment, KeepsPlainFieldsAndAnswersItsProceduresWithUnexpected) {
  testing::MessageCapture messages;
  AppointmentPtr a = Appointment::New();
  a->SetOutsideID(4);  // a field of its own here
  EXPECT_EQ(std::tuple(a->ID(), a->PartDateTime() == nullptr, a->AppointmentType(), a->Color()),
            std::tuple(0, true, 0, 0));
  a->SetPartDateTime(DateTimeNormal::New());
  EXPECT_EQ(a->Target(), nullptr);
  a->BeforeDateTimeChange();
  a->AfterDateTimeChange();
  a->Remove();
  a->NotifyChange();
  EXPECT_FALSE(a->Exists());
  EXPECT_EQ(messages.texts(), Texts(10, "UNEXPECTED"));
  a->AddTag("n", "t", "d");  // the tag members and Series answer silently
  EXPECT_EQ(a->TagsCount() + a->TagName(5).size(), 0u);
  EXPECT_EQ(a->Series(), nullptr);
  EXPECT_EQ(messages.messages.size(), 10u);
}

TEST(AppointmentReal, SharesOneFieldPerPairAndPlainWritesLeaveItUnchanged) {
  AppointmentRealPtr a = AppointmentReal::New();
  a->SetOutsideID(17);
  a->SetFile(200805);
  auto period = DateTimeNormal::New(1, 2);
  a->SetPartDateTime(period);
  a->SetTitle("t");
  a->AddTag("n", "t", "d");
  EXPECT_EQ(std::tuple(a->ID(), a->OutsideFile(), a->AppointmentType(), a->Changed()),
            std::tuple(17, 200805, 1, false));
  EXPECT_EQ(a->DateTime(), period);
  EXPECT_EQ(a->Series(), nullptr);
  EXPECT_EQ(a->Target(), a);
  a->SetFile(0);
  EXPECT_FALSE(a->Exists());  // no calendar runs: no file was asked
}

class AppointmentColor : public testing::CalendarTest {};

TEST_F(AppointmentColor, IsLookedUpOnceAndAgainAfterTheCategoryIsSet) {
  EXPECT_EQ(AppointmentReal::New()->Color(), -1);  // empty category: no calendar needed
  StartCalendar();
  AppointmentRealPtr a = AppointmentReal::New();
  a->SetCategory("Arbeit");
  EXPECT_EQ(a->Color(), -1);  // the calendar knows no category yet
  a->SetColor(0x00FF00);
  EXPECT_EQ(a->Color(), 0x00FF00);
  a->SetCategory("Arbeit");
  EXPECT_EQ(a->Color(), -1);
}

TEST(AppointmentTags, AreNumberedFromOneAndRemovingClosesTheGapOrDropsTheLast) {
  AppointmentRealPtr a = AppointmentReal::New();
  EXPECT_EQ(ErrorOf([&] { a->TagName(0); }), 9);  // never dimensioned
  for (std::string n : {"a", "b", "c"})
    a->AddTag(n, "t" + n, "d" + n);
  a->RemoveTag(1);
  Texts names, types, data;
  EXPECT_EQ(a->GetTags(names, types, data), 2);
  EXPECT_EQ(std::tuple(names, types, data),
            std::tuple(Texts{"", "b", "c"}, Texts{"", "tb", "tc"}, Texts{"", "db", "dc"}));
  EXPECT_EQ(ErrorOf([&] { a->TagName(3); }), 9);
  a->RemoveTag(7);  // at or beyond the count: the last one goes
  EXPECT_EQ(std::tuple(a->TagsCount(), a->TagName(1)), std::tuple(1, std::string("b")));
  a->RemoveTag(1);
  EXPECT_EQ(ErrorOf([&] { a->RemoveTag(1); }), 9);
  EXPECT_EQ(a->TagsCount(), -1);
}

TEST(AppointmentReal, CopyFromTakesAllButProjectAndCopiesThePeriod) {
  AppointmentRealPtr source = AppointmentReal::New();
  source->SetID(4);
  source->SetTitle("Reise");
  source->SetCategory("Urlaub");
  source->SetColor(0x123456);
  source->SetProject("from source");
  source->AddTag("k", "typ", "v");
  DateTimeSerialPtr series = DateTimeSerial::New();
  series->SetEternal(true);
  source->SetDateTime(series);
  AppointmentRealPtr copy = AppointmentReal::New();
  copy->SetProject("kept");
  copy->CopyFrom(*source);
  // The colour is taken over, not looked up.
  EXPECT_EQ(std::tuple(copy->ID(), copy->Title(), copy->Project(), copy->TagType(1), copy->Color(),
                       copy->Changed()),
            std::tuple(4, "Reise", "kept", "typ", 0x123456, true));
  ASSERT_NE(copy->DateTime(), series);
  ASSERT_TRUE(copy->DateTime()->Series());
  EXPECT_TRUE(copy->DateTime()->Series()->Eternal());

  AppointmentLinkPtr link = AppointmentLink::New();
  link->SetDestination(source);
  EXPECT_EQ(ErrorOf([&] { copy->CopyFrom(*link); }), 13);
  EXPECT_EQ(ErrorOf([&] { copy->CopyFrom(*AppointmentReal::New()); }), 91);  // no period
}

TEST(AppointmentLink, AnswersFromItsStoredNumbersUntilResolvedThenForwards) {
  AppointmentLinkPtr link = AppointmentLink::New();
  link->SetDestinationFile(200804);
  link->SetDestinationID(9);
  link->SetOutsideID(2);
  EXPECT_EQ(std::tuple(link->ID(), link->File(), link->Exists(), link->AppointmentType()),
            std::tuple(9, 200804, false, 2));
  EXPECT_EQ(ErrorOf([&] { link->Title(); }), 91);
  EXPECT_EQ(ErrorOf([&] { link->SetChanged(false); }), 91);

  AppointmentRealPtr real = AppointmentReal::New();
  real->SetChanged(true);
  link->SetDestination(real);
  link->SetTitle("via link");
  auto period = DateTimeNormal::New(1, 2);
  link->SetPartDateTime(period);  // a stored link has no period of its own
  EXPECT_EQ(std::tuple(real->Title(), link->OutsideID(), link->Changed()),
            std::tuple("via link", 2, true));
  EXPECT_EQ(real->DateTime(), period);
  EXPECT_EQ(link->Series(), nullptr);
}

TEST(AppointmentLink, APartCarriesItsOwnPeriodAndNamesItsSeries) {
  AppointmentRealPtr series = AppointmentReal::New();
  AppointmentLinkPtr part = AppointmentLink::New();
  part->SetDestination(series);
  auto occurrence = DateTimeNormal::New(10, 11), other = DateTimeNormal::New(12, 13);
  part->SetPartPeriod(occurrence);
  EXPECT_EQ(part->AppointmentType(), 3);
  EXPECT_EQ(part->Series(), series);
  EXPECT_EQ(part->DateTime(), occurrence);
  part->SetPartDateTime(other);  // only the part
  EXPECT_EQ(series->DateTime(), nullptr);
  part->SetDateTime(occurrence);  // always the series
  EXPECT_EQ(series->DateTime(), occurrence);
  EXPECT_EQ(part->PartDateTime(), other);
}

TEST(Appointments, KeyedEntriesAreFoundByUniqueNumbersAndTheCollectionIsLive) {
  AppointmentsPtr list = Appointments::New();
  list->AddKeyed(Real(3));
  list->AddKeyed(Real(7));
  list->Add(Real(3));  // unkeyed entries may repeat a number
  EXPECT_EQ(ErrorOf([&] { list->AddKeyed(Real(7)); }), 457);
  EXPECT_EQ(list->Count(), 3);
  EXPECT_EQ(list->ItemByID(7), list->Item("7"));
  EXPECT_EQ(list->ItemByID(5), nullptr);
  EXPECT_EQ(ErrorOf([&] { list->Item(4); }), 9);
  EXPECT_EQ(ErrorOf([&] { list->Item("5"); }), 5);

  list->RemoveByID(3);
  EXPECT_EQ(std::tuple(Numbers(*list), list->ExistsID(3)), std::tuple("73", false));
  EXPECT_EQ(list->ItemByID(7), list->Item(1));
  list->ConvertToCollection()->Remove(1);
  EXPECT_EQ(Numbers(*list), "3");
}

TEST(AppointmentsRemoveDoubles, RemovesOnlyLinksWhoseDestinationIsListedAgain) {
  AppointmentRealPtr r = Real(1);
  AppointmentsPtr list = Appointments::New();
  list->Add(LinkTo(r, 5));
  list->Add(r);
  list->Add(r);  // a real appointment twice stays twice
  list->RemoveDoubles();
  EXPECT_EQ(Numbers(*list), "11");
  // Of two links to the same destination, even an absent one, the earlier goes.
  AppointmentsPtr links = Appointments::New();
  for (auto [destination, id] : {std::tuple(AppointmentPtr(), 1), {nullptr, 2}, {r, 3}})
    links->Add(LinkTo(destination, id));
  links->RemoveDoubles();
  EXPECT_EQ(Numbers(*links), "23");
}

TEST(AppointmentsSort, PutsAllDayEntriesFirstThenOrdersByStartAndDropsTheKeys) {
  AppointmentsPtr list = Appointments::New();
  list->Sort();  // nothing to do
  for (auto [id, start, allDay, title] :
       {std::tuple(1, 30, false, "d"), {2, 20, true, "b"}, {3, 10, false, "c"}, {4, 40, true, "a"}})
    list->AddKeyed(Real(id, start, allDay, title));
  list->AddKeyed(LinkTo(Real(9, 35, false, "e"), 5));  // placed by its destination
  list->Sort();
  EXPECT_EQ(Titles(*list), "bacde");
  EXPECT_EQ(list->ItemByID(1), nullptr);
  EXPECT_EQ(ErrorOf([&] { list->Item("2"); }), 5);
}

TEST(AppointmentsSort, LeavesEqualEntriesInTheOrderOfItsGaps) {
  // The first entry starts later than the equal rest.
  auto sorted = [](const std::string& titles) {
    AppointmentsPtr list = Appointments::New();
    for (char t : titles)
      list->Add(Real(0, t == 'A' ? 2 : 1, false, std::string(1, t)));
    list->Sort();
    return Titles(*list);
  };
  // Gaps 4 and 1: the gap-4 pass swaps "A" with "E", which then stays ahead
  // of the equal "B", "C" and "D". Gaps 13, 4 and 1: the first swaps the ends.
  EXPECT_EQ(sorted("ABCDE"), "EBCDA");
  EXPECT_EQ(sorted("ABCDEFGHIJKLMN"), "NBCDEFGHIJKLMA");
}

}  // namespace
}  // namespace orncal
