// Categories: names blind to case, categor.ini, and colours reaching the
// appointments.
#include "orncalendar/categories.h"

#include <gtest/gtest.h>

#include <tuple>

#include "orncalendar/orncalendar.h"
#include "support/month_bytes.h"
#include "support/recording_notifier.h"

namespace orncal {
namespace {

using testing::ErrorOf;
using testing::PathExists;
using testing::ReadBytes;
using Names = std::vector<std::string>;

class CategoriesTest : public testing::RecordingCalendarTest {
 protected:
  CategoriesPtr Start() {
    calendar_ = StartCalendar();
    return calendar_->Categories();
  }

  CalendarPtr calendar_;
  const std::string path_ = DataFile("categor.ini");
};

TEST_F(CategoriesTest, NamesAreBlindToCaseAndKeepTheirSpellingAndOrder) {
  CategoriesPtr categories = Start();
  EXPECT_EQ(categories->Calendar(), calendar_);
  categories->Add("arbeit", {.Color = 255});
  categories->Add("Übung");  // colour -1
  EXPECT_TRUE(categories->CategoryExists("ARBEIT"));
  EXPECT_TRUE(categories->CategoryExists("üBUNG"));
  EXPECT_EQ(ErrorOf([&] { categories->Add("Arbeit"); }), 457);
  EXPECT_EQ(ErrorOf([&] { categories->Remove("Urlaub"); }), 5);
  EXPECT_EQ(std::tuple(categories->Color("Arbeit"), categories->Color("ÜBUNG")),
            std::tuple(255, -1));

  // Reading a missing name puts it in without a colour and without a change.
  categories->SetChanged(false);
  EXPECT_EQ(categories->Color("Urlaub"), 0);
  EXPECT_TRUE(categories->CategoryExists("urlaub"));
  EXPECT_FALSE(categories->Changed());
  EXPECT_EQ(categories->Names(), (Names{"arbeit", "Übung", "Urlaub"}));
  categories->Remove("ARBEIT");
  EXPECT_TRUE(categories->Changed());
  EXPECT_EQ(categories->Count(), 2);
  categories->SetColor("privat", 7);  // a colour for a missing name adds it
  EXPECT_EQ(categories->Names(), (Names{"Übung", "Urlaub", "privat"}));
}

TEST_F(CategoriesTest, TheFileHoldsColourThenNameWithCrLfInWindows1252) {
  CategoriesPtr categories = Start();
  categories->Add("A=B", {.Color = 255});
  categories->Add(" Raum 1 ", {.Color = -1});
  categories->Add("Küche €一", {.Color = 16711680});
  categories->Color("nie gesetzt");
  categories->Save();
  const std::string written =
      "255=A=B\r\n-1= Raum 1 \r\n16711680=K\xFC"
      "che \x80?\r\n";
  EXPECT_EQ(ReadBytes(path_), written);
  EXPECT_FALSE(categories->Changed());
  EXPECT_EQ(notifier_->sent, std::vector<std::string>{"CategoriesChanged"});
  testing::RemoveAll(path_);
  categories->Save();  // not changed: nothing written, still told
  EXPECT_FALSE(PathExists(path_));
  EXPECT_EQ(notifier_->sent.size(), 2u);
  categories->Remove("nie gesetzt");
  categories->Save();
  EXPECT_EQ(ReadBytes(path_), written);
}

TEST_F(CategoriesTest, ReadingTrimsSkipsBlankLinesAndStopsQuietlyAtABadLine) {
  const std::string file =
      "255=A=B\r\n  16 =  Raum 1  \r\n\r\n   \r\n-1=K\xFC"
      "che\n7=a=b\r\nx=kaputt\r\n3=danach\r\n";
  PutDataFile("categor.ini", file);
  CategoriesPtr categories = Start();
  EXPECT_EQ(categories->Names(), (Names{"A=B", "Raum 1", "Küche"}));  // a=b comes twice
  EXPECT_EQ(
      std::tuple(categories->Color("a=B"), categories->Color("raum 1"), categories->Changed()),
      std::tuple(255, 16, false));
  EXPECT_TRUE(messages_.messages.empty());
  // What could not be read stays in the old file, kept as the backup.
  categories->Add("neu");
  categories->Save();
  EXPECT_EQ(ReadBytes(path_ + ".1"), file);
  EXPECT_EQ(ReadBytes(path_),
            "255=A=B\r\n16=Raum 1\r\n-1=K\xFC"
            "che\r\n-1=neu\r\n");

  // Dropped, the categories are read afresh at the next call; a colour
  // that is no number ends the reading too.
  testing::WriteBytes(path_, "1=Eins\r\nx=Zwei\r\n3=Drei\r\n");
  calendar_->DropCategories();
  EXPECT_EQ(calendar_->Categories()->Names(), Names{"Eins"});
}

TEST_F(CategoriesTest, ColoursReachTheLoadedAppointmentsOfTheirCategory) {
  PutDataFile("categor.ini", "255=Arbeit\r\n");
  PutDataFile("200805.xmf", testing::MonthBytes().Long(10003).Real(1, "a", 39582, 39583).str());
  calendar_ = StartCalendar();
  AppointmentPtr loaded = calendar_->GetAppointment(200805, 1);
  AppointmentPtr made = calendar_->Appointment({.StartDateTime = 39590, .EndDateTime = 39591});
  AppointmentPtr other = calendar_->Appointment({.StartDateTime = 39590, .EndDateTime = 39591});
  loaded->SetCategory(" ARBEIT ");
  made->SetCategory("arbeit");
  other->SetCategory("Privat");
  EXPECT_EQ(std::tuple(loaded->Color(), made->Color(), other->Color()), std::tuple(-1, 255, -1));
  // The cached colours change too: " ARBEIT ", trimmed, is the category.
  calendar_->Categories()->SetColor("ARBEIT", 0x00FF00);
  EXPECT_EQ(std::tuple(loaded->Color(), made->Color(), other->Color()),
            std::tuple(0x00FF00, 0x00FF00, -1));
}

}  // namespace
}  // namespace orncal
