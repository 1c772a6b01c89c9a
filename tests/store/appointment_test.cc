#include <gtest/gtest.h>

#include "orncalendar/orncalendar.h"
#include "support/test_env.h"

namespace orncal {
namespace {

using Texts = std::vector<std::string>;

int32_t ErrorOf(auto&& call) {
  try {
    call();
  } catch (const Error& e) {
    return e.Number();
  }
  return 0;
}

TEST(BareAppointment, KeepsPlainFieldsAndAnswersItsProceduresWithUnexpected) {
  testing::MessageCapture messages;
  AppointmentPtr a = Appointment::New();
  a->SetID(3);
  a->SetOutsideID(4);
  a->SetFile(200805);
  a->SetTitle("Termin");
  EXPECT_EQ(a->ID(), 3);  // ID and OutsideID are separate fields here
  EXPECT_EQ(a->OutsideID(), 4);
  EXPECT_EQ(a->OutsideFile(), 0);
  EXPECT_EQ(a->Title(), "Termin");

  EXPECT_EQ(a->PartDateTime(), nullptr);
  a->SetPartDateTime(DateTimeNormal::New());
  EXPECT_EQ(a->AppointmentType(), 0);
  EXPECT_EQ(a->Color(), 0);
  EXPECT_EQ(a->Target(), nullptr);
  a->BeforeDateTimeChange();
  a->AfterDateTimeChange();
  a->Remove();
  a->NotifyChange();
  EXPECT_FALSE(a->Exists());
  EXPECT_EQ(messages.texts(), Texts(10, "UNEXPECTED"));
  EXPECT_EQ(messages.messages()[0].Style, MessageStyle::kPlain);

  messages.clear();
  a->AddTag("n", "t", "d");
  a->RemoveTag(1);
  EXPECT_EQ(a->TagsCount(), 0);
  EXPECT_EQ(a->TagName(5), "");
  EXPECT_EQ(a->Series(), nullptr);
  EXPECT_TRUE(messages.messages().empty());
}

TEST(AppointmentReal, EachPairOfPropertiesSharesOneField) {
  AppointmentRealPtr a = AppointmentReal::New();
  a->SetOutsideID(17);
  a->SetFile(200805);
  EXPECT_EQ(a->ID(), 17);
  EXPECT_EQ(a->OutsideFile(), 200805);
  auto period = DateTimeNormal::New(1, 2);
  a->SetPartDateTime(period);
  EXPECT_EQ(a->DateTime(), period);
  a->SetDateTime(nullptr);
  EXPECT_EQ(a->PartDateTime(), nullptr);
  EXPECT_EQ(a->AppointmentType(), 1);
  EXPECT_EQ(a->Series(), nullptr);
  EXPECT_EQ(a->Target(), a);
}

TEST(AppointmentReal, PlainPropertyWritesNeverMarkItChanged) {
  AppointmentRealPtr a = AppointmentReal::New();
  a->SetTitle("t");
  a->SetNotes("n");
  a->SetCategory("c");
  a->SetProject("p");
  a->SetAllDay(true);
  a->SetRemind(true);
  a->SetRemindAt(15);
  a->SetFlags(calInvisible);
  a->SetDateTime(DateTimeNormal::New(1, 2));
  a->AddTag("n", "t", "d");
  EXPECT_FALSE(a->Changed());
}

class AppointmentColor : public testing::CalendarTest {};

TEST_F(AppointmentColor, IsLookedUpOnceAndAgainAfterTheCategoryIsSet) {
  // An empty category needs no calendar at all: none is running yet.
  EXPECT_EQ(AppointmentReal::New()->Color(), -1);

  StartCalendar();
  AppointmentRealPtr a = AppointmentReal::New();
  a->SetCategory("Arbeit");
  EXPECT_EQ(a->Color(), -1);  // the calendar knows no category yet
  a->SetColor(0x00FF00);
  EXPECT_EQ(a->Color(), 0x00FF00);  // cached
  a->SetCategory("Arbeit");
  EXPECT_EQ(a->Color(), -1);
}

TEST(AppointmentTags, AreNumberedFromOneAndRemovingClosesTheGap) {
  AppointmentRealPtr a = AppointmentReal::New();
  EXPECT_EQ(ErrorOf([&] { a->TagName(0); }), 9);  // never dimensioned
  a->AddTag("a", "ta", "da");
  a->AddTag("b", "tb", "db");
  a->AddTag("c", "tc", "dc");
  EXPECT_EQ(a->TagsCount(), 3);
  EXPECT_EQ(a->TagName(2), "b");
  EXPECT_EQ(a->TagType(2), "tb");
  EXPECT_EQ(a->TagData(2), "db");
  EXPECT_EQ(a->TagName(0), "");
  EXPECT_EQ(ErrorOf([&] { a->TagName(4); }), 9);

  a->RemoveTag(1);
  EXPECT_EQ(a->TagsCount(), 2);
  EXPECT_EQ(a->TagName(1), "b");
  EXPECT_EQ(a->TagData(1), "db");
  EXPECT_EQ(a->TagType(2), "tc");
  EXPECT_EQ(ErrorOf([&] { a->TagName(3); }), 9);

  a->SetTagData(2, "new");
  std::vector<std::string> names, types, data;
  EXPECT_EQ(a->GetTags(names, types, data), 2);
  EXPECT_EQ(names, (Texts{"", "b", "c"}));
  EXPECT_EQ(data, (Texts{"", "db", "new"}));
}

TEST(AppointmentTags, RemovingAtOrBeyondTheCountDropsTheLastAndBelowZeroFails) {
  AppointmentRealPtr a = AppointmentReal::New();
  a->AddTag("a", "", "");
  a->AddTag("b", "", "");
  a->RemoveTag(7);
  EXPECT_EQ(a->TagsCount(), 1);
  EXPECT_EQ(a->TagName(1), "a");
  a->RemoveTag(1);
  EXPECT_EQ(a->TagsCount(), 0);
  EXPECT_EQ(ErrorOf([&] { a->RemoveTag(1); }), 9);
  EXPECT_EQ(a->TagsCount(), -1);
  EXPECT_EQ(ErrorOf([&] { a->RemoveTag(-1); }), 9);
}

TEST(AppointmentReal, CopyFromTakesEverythingButProjectAndMarksTheCopyChanged) {
  AppointmentRealPtr source = AppointmentReal::New();
  source->SetID(4);
  source->SetFile(200805);
  source->SetTitle("Reise");
  source->SetNotes("Koffer");
  source->SetCategory("Urlaub");
  source->SetColor(0x123456);
  source->SetAllDay(true);
  source->SetRemind(true);
  source->SetRemindAt(30);
  source->SetFlags(calNoEdit);
  source->SetProject("from source");
  source->AddTag("k", "typ", "v");
  DateTimeSerialPtr series = DateTimeSerial::New();
  series->SetSeriesStartDateTime(39583);
  series->Setn(2);
  series->SetEternal(true);
  source->SetDateTime(series);

  AppointmentRealPtr copy = AppointmentReal::New();
  copy->SetProject("kept");
  copy->CopyFrom(*source);
  EXPECT_EQ(copy->ID(), 4);
  EXPECT_EQ(copy->File(), 200805);
  EXPECT_EQ(copy->Title(), "Reise");
  EXPECT_EQ(copy->Notes(), "Koffer");
  EXPECT_EQ(copy->Category(), "Urlaub");
  EXPECT_EQ(copy->Color(), 0x123456);  // taken over, not looked up
  EXPECT_TRUE(copy->AllDay());
  EXPECT_TRUE(copy->Remind());
  EXPECT_EQ(copy->RemindAt(), 30);
  EXPECT_EQ(copy->Flags(), calNoEdit);
  EXPECT_EQ(copy->Project(), "kept");
  EXPECT_TRUE(copy->Changed());
  EXPECT_EQ(copy->TagsCount(), 1);
  EXPECT_EQ(copy->TagType(1), "typ");
  ASSERT_NE(copy->DateTime(), series);  // a copy of the period, not the same one
  DateTimeSerialPtr copied = copy->DateTime()->Series();
  ASSERT_TRUE(copied);
  EXPECT_EQ(copied->SeriesStartDateTime(), 39583);
  EXPECT_EQ(copied->n(), 2);
  EXPECT_TRUE(copied->Eternal());

  source->SetDateTime(DateTimeNormal::New(1, 2));
  copy->CopyFrom(*source);
  EXPECT_EQ(copy->DateTime()->DateTimeType(), 1);
  EXPECT_EQ(copy->DateTime()->EndDateTime(), 2);
}

TEST(AppointmentReal, CopyFromNeedsARealSourceWithAPeriod) {
  AppointmentRealPtr copy = AppointmentReal::New();
  AppointmentLinkPtr link = AppointmentLink::New();
  link->SetDestination(AppointmentReal::New());
  EXPECT_EQ(ErrorOf([&] { copy->CopyFrom(*link); }), 13);
  EXPECT_EQ(ErrorOf([&] { copy->CopyFrom(*AppointmentReal::New()); }), 91);
}

TEST(AppointmentReal, ExistsIsFalseWithoutNumberOrFileAndTouchesNoFile) {
  AppointmentRealPtr a = AppointmentReal::New();
  a->SetFile(200805);
  EXPECT_FALSE(a->Exists());  // no calendar is running: nothing was asked
  a->SetFile(0);
  a->SetID(3);
  EXPECT_FALSE(a->Exists());
}

TEST(AppointmentLink, UnresolvedAnswersFromItsStoredNumbersAndFailsOnTheRest) {
  AppointmentLinkPtr link = AppointmentLink::New();
  link->SetDestinationFile(200804);
  link->SetDestinationID(9);
  link->SetOutsideID(2);
  EXPECT_EQ(link->ID(), 9);
  EXPECT_EQ(link->File(), 200804);
  EXPECT_EQ(link->OutsideID(), 2);
  EXPECT_FALSE(link->Exists());
  EXPECT_EQ(link->AppointmentType(), 2);
  EXPECT_EQ(link->Target(), nullptr);
  EXPECT_EQ(ErrorOf([&] { link->Title(); }), 91);
  EXPECT_EQ(ErrorOf([&] { link->SetChanged(false); }), 91);
  EXPECT_EQ(ErrorOf([&] { link->DateTime(); }), 91);
}

TEST(AppointmentLink, ResolvedForwardsAllButItsOwnNumbers) {
  AppointmentRealPtr real = AppointmentReal::New();
  real->SetID(9);
  real->SetFile(200804);
  real->SetChanged(true);
  AppointmentLinkPtr link = AppointmentLink::New();
  link->SetDestination(real);
  link->SetOutsideID(2);
  link->SetTitle("via link");
  link->AddTag("n", "t", "d");
  link->SetID(10);
  EXPECT_EQ(real->Title(), "via link");
  EXPECT_EQ(real->TagsCount(), 1);
  EXPECT_EQ(real->ID(), 10);
  EXPECT_EQ(link->ID(), 10);
  EXPECT_EQ(link->OutsideID(), 2);
  EXPECT_TRUE(link->Changed());
  EXPECT_EQ(link->Target(), real);
  EXPECT_EQ(link->Series(), nullptr);
  auto period = DateTimeNormal::New(1, 2);
  link->SetPartDateTime(period);  // a stored link has no period of its own
  EXPECT_EQ(real->DateTime(), period);
}

TEST(AppointmentLink, APartCarriesItsOwnPeriodAndNamesItsSeries) {
  AppointmentRealPtr series = AppointmentReal::New();
  auto series_period = DateTimeSerial::New();
  series->SetDateTime(series_period);
  AppointmentLinkPtr part = AppointmentLink::New();
  part->SetDestination(series);
  auto occurrence = DateTimeNormal::New(10, 11);
  part->SetPartPeriod(occurrence);
  EXPECT_EQ(part->AppointmentType(), 3);
  EXPECT_EQ(part->Series(), series);
  EXPECT_EQ(part->DateTime(), occurrence);
  EXPECT_EQ(part->PartDateTime(), occurrence);

  auto other = DateTimeNormal::New(12, 13);
  part->SetPartDateTime(other);
  EXPECT_EQ(part->DateTime(), other);
  EXPECT_EQ(series->DateTime(), series_period);
  part->SetDateTime(occurrence);  // always the series' period
  EXPECT_EQ(series->DateTime(), occurrence);
  EXPECT_EQ(part->DateTime(), other);

  part->SetPartPeriod(nullptr);
  EXPECT_EQ(part->AppointmentType(), 2);
  EXPECT_EQ(part->Series(), nullptr);
}

}  // namespace
}  // namespace orncal
