// Loading and saving when something goes wrong: the exact messages, and the
// previous file kept byte for byte.
#include <gtest/gtest.h>

#include <functional>

#include "orncalendar/orncalendar.h"
#include "store/month_file_format.h"
#include "support/fault_file_system.h"
#include "support/month_bytes.h"
#include "support/recording_notifier.h"

namespace orncal {
namespace {

using testing::FaultFileSystem;
using testing::MonthBytes;
using testing::PathExists;
using testing::ReadBytes;
using testing::WriteBytes;
using Op = FaultFileSystem::Op;

std::string LoadFailure(const std::string& path) {
  return "Schwerwiegender Fehler:\r\nDie Monatsdatei \"" + path + "\" konnte nicht geladen werden.";
}

std::string SaveFailure(const std::string& path) {
  return "Die Monatsdatei \"" + path +
         "\" konnte nicht gespeichert werden. Es besteht die Gefahr, dass Daten verloren gehen.";
}

class FileFailureTest : public testing::RecordingCalendarTest {
 protected:
  FileFailureTest() {
    testing::MakeFolders(DataFolder());
    path_ = DataFile("200805.xmf");
    previous_ = MonthBytes().Long(10003).Real(1, "previous", 39582, 39583).Byte(0).str();
    WriteBytes(path_, previous_);
    calendar_ = StartCalendar();
  }

  // The May file with one more appointment, so that a save changes it.
  FilePtr ChangedMay() {
    FilePtr may = calendar_->GetMonthFile(MonthRef{.Month = 5, .Year = 2008});
    AppointmentRealPtr added = AppointmentReal::New();
    added->SetID(2);
    added->SetNotes(std::string(300, 'x'));
    added->SetDateTime(DateTimeNormal::New(39583, 39584));
    may->Appointments()->AddKeyed(added);
    may->SetChanged(true);
    return may;
  }

  FilePtr Unloaded(const std::string& path) {
    FilePtr file = File::New();
    file->SetFilePath(path);
    file->SetFileLong(200805);
    return file;
  }

  void ExpectOnlyMessage(const std::string& text) {
    ASSERT_EQ(messages_.messages().size(), 1u);
    EXPECT_EQ(messages_.messages()[0].Text, text);
    EXPECT_EQ(messages_.messages()[0].Style, MessageStyle::kCritical);
  }

  std::string path_;
  std::string previous_;
  CalendarPtr calendar_;
};

TEST_F(FileFailureTest, AMissingFileDoesNotLoad) {
  const std::string missing = DataFile("190001.xmf");
  EXPECT_FALSE(Unloaded(missing)->Load());
  ExpectOnlyMessage(LoadFailure(missing));
}

TEST_F(FileFailureTest, AMalformedFileLoadsTheRecordsBeforeTheFault) {
  WriteBytes(path_, previous_.substr(0, previous_.size() - 1) + "\x05");
  FilePtr file = Unloaded(path_);
  EXPECT_FALSE(file->Load());
  ExpectOnlyMessage(LoadFailure(path_));
  ASSERT_EQ(file->Appointments()->Count(), 1);
  EXPECT_EQ(file->Appointments()->Item(1)->Title(), "previous");
}

TEST_F(FileFailureTest, AFailingNotifierOrReadFailsTheLoad) {
  notifier_->failing = "BeforeLoadFile";
  FilePtr file = Unloaded(path_);
  EXPECT_FALSE(file->Load());
  EXPECT_EQ(file->Appointments()->Count(), 0);
  ExpectOnlyMessage(LoadFailure(path_));

  notifier_->failing.clear();
  messages_.clear();
  FaultFileSystem faults;
  testing::ScopedFileSystem installed(&faults);
  faults.FailOn(Op::kRead);
  EXPECT_FALSE(Unloaded(path_)->Load());
  ExpectOnlyMessage(LoadFailure(path_));
}

TEST_F(FileFailureTest, ASuccessfulSaveReplacesTheFileAndLeavesNoBackup) {
  FilePtr may = ChangedMay();
  may->SaveFile();
  EXPECT_TRUE(messages_.messages().empty());
  EXPECT_EQ(ReadBytes(path_), store::EncodeMonthFile(*may->Appointments()));
  EXPECT_FALSE(PathExists(path_ + ".1"));
  EXPECT_FALSE(may->Changed());
  EXPECT_EQ(notifier_->sent.back(), "Saved 200805");
}

TEST_F(FileFailureTest, EveryFailedSaveLeavesThePreviousFileByteForByte) {
  struct Case {
    const char* name;
    std::function<void(FaultFileSystem&)> arm;
    bool changed_after;  // Changed is cleared only once the file was written
  };
  const std::vector<Case> cases = {
      {"backup refused", [](FaultFileSystem& f) { f.FailOn(Op::kRename); }, true},
      {"read-only folder", [](FaultFileSystem& f) { f.FailOn(Op::kCreate); }, true},
      {"write fails", [](FaultFileSystem& f) { f.FailOn(Op::kAppend); }, true},
      {"disk full half-way", [](FaultFileSystem& f) { f.LimitWrites(40); }, true},
      {"sync fails", [](FaultFileSystem& f) { f.FailOn(Op::kSync); }, true},
      {"close fails", [](FaultFileSystem& f) { f.FailOn(Op::kClose); }, true},
      {"notifier fails", [this](FaultFileSystem&) { notifier_->failing = "Saved"; }, false},
  };
  FilePtr may = ChangedMay();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    messages_.clear();
    notifier_->failing.clear();
    may->SetChanged(true);
    FaultFileSystem faults;
    testing::ScopedFileSystem installed(&faults);
    c.arm(faults);
    may->SaveFile();
    ExpectOnlyMessage(SaveFailure(path_));
    EXPECT_EQ(ReadBytes(path_), previous_);
    EXPECT_FALSE(PathExists(path_ + ".1"));
    EXPECT_EQ(may->Changed(), c.changed_after);
  }
}

TEST_F(FileFailureTest, AnEntryThatCannotBeWrittenLeavesTheFileUntouched) {
  FilePtr may = ChangedMay();
  may->Appointments()->Item(2)->SetDateTime(nullptr);
  may->SaveFile();
  ExpectOnlyMessage(SaveFailure(path_));
  EXPECT_EQ(ReadBytes(path_), previous_);
  EXPECT_TRUE(may->Changed());
}

TEST_F(FileFailureTest, TheBackupTakesTheFirstFreeNumber) {
  WriteBytes(path_ + ".1", "left by an earlier failure");
  FilePtr may = ChangedMay();
  FaultFileSystem faults;
  testing::ScopedFileSystem installed(&faults);
  faults.FailOn(Op::kRemove, ".xmf.2");  // keep the backup to look at it
  may->SaveFile();
  EXPECT_TRUE(messages_.messages().empty());  // a backup left behind is no failure
  EXPECT_EQ(ReadBytes(path_ + ".2"), previous_);
  EXPECT_EQ(ReadBytes(path_ + ".1"), "left by an earlier failure");
  EXPECT_EQ(ReadBytes(path_), store::EncodeMonthFile(*may->Appointments()));
}

}  // namespace
}  // namespace orncal
