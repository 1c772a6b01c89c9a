#include <gtest/gtest.h>

#include "orncalendar/orncalendar.h"
#include "support/test_helpers.h"

namespace orncal {
namespace {

using testing::ErrorOf;

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

std::string Titles(const Appointments& list) {
  std::string titles;
  for (const AppointmentPtr& a : list)
    titles += a->Title();
  return titles;
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
  EXPECT_FALSE(list->ExistsID(3));
  EXPECT_EQ(list->ItemByID(7), list->Item(1));
  list->ConvertToCollection()->Remove(1);
  EXPECT_EQ(list->Count(), 1);
}

TEST(AppointmentsRemoveDoubles, RemovesOnlyLinksWhoseDestinationIsListedAgain) {
  AppointmentRealPtr r = Real(1);
  AppointmentsPtr list = Appointments::New();
  list->Add(LinkTo(r, 5));
  list->Add(r);
  list->Add(r);  // a real appointment twice stays twice
  list->RemoveDoubles();
  ASSERT_EQ(list->Count(), 2);
  EXPECT_EQ(list->Item(1), r);

  // Of two links to the same destination, even an absent one, the earlier goes.
  AppointmentLinkPtr second = LinkTo(nullptr, 2);
  AppointmentsPtr links = Appointments::New();
  links->Add(LinkTo(nullptr, 1));
  links->Add(second);
  links->Add(LinkTo(r, 3));
  links->RemoveDoubles();
  ASSERT_EQ(links->Count(), 2);
  EXPECT_EQ(links->Item(1), second);
}

TEST(AppointmentsSort, PutsAllDayEntriesFirstThenOrdersByStartAndDropsTheKeys) {
  AppointmentsPtr list = Appointments::New();
  list->Sort();  // nothing to do
  list->AddKeyed(Real(1, 30, false, "d"));
  list->AddKeyed(Real(2, 20, true, "b"));
  list->AddKeyed(Real(3, 10, false, "c"));
  list->AddKeyed(Real(4, 40, true, "a"));
  list->AddKeyed(LinkTo(Real(9, 35, false, "e"), 5));  // placed by its destination
  list->Sort();
  EXPECT_EQ(Titles(*list), "bacde");
  EXPECT_EQ(list->ItemByID(1), nullptr);
  EXPECT_EQ(ErrorOf([&] { list->Item("2"); }), 5);
}

TEST(AppointmentsSort, LeavesEqualEntriesInTheOrderOfItsGaps) {
  // Five entries: gaps 4 and 1. The gap-4 pass swaps "A" with "E", which
  // then stays ahead of the equal "B", "C" and "D".
  AppointmentsPtr five = Appointments::New();
  five->Add(Real(0, 2, false, "A"));
  for (const char* t : {"B", "C", "D", "E"})
    five->Add(Real(0, 1, false, t));
  five->Sort();
  EXPECT_EQ(Titles(*five), "EBCDA");

  // Fourteen entries: gaps 13, 4 and 1; the gap-13 pass swaps the ends.
  AppointmentsPtr fourteen = Appointments::New();
  fourteen->Add(Real(0, 2, false, "A"));
  for (char t = 'B'; t <= 'N'; ++t)
    fourteen->Add(Real(0, 1, false, std::string(1, t)));
  fourteen->Sort();
  EXPECT_EQ(Titles(*fourteen), "NBCDEFGHIJKLMA");
}

}  // namespace
}  // namespace orncal
