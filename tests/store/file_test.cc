// Month files: numbers, links, saving, and what happens when loading or
// saving goes wrong (the exact messages, the previous file kept byte for byte).
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
using Op = FaultFileSystem::Op;
using Sent = std::vector<std::string>;

AppointmentRealPtr Real(int32_t id) {
  AppointmentRealPtr a = AppointmentReal::New();
  a->SetID(id);
  a->SetDateTime(DateTimeNormal::New());
  return a;
}

TEST(FileNumbers, TheReservedNumberComesFirstThenTheLowestFreeOne) {
  FilePtr file = File::New();
  EXPECT_EQ(file->GetEmptyID(), 1);
  for (int32_t id : {1, 2, 4})
    file->Appointments()->AddKeyed(Real(id));
  EXPECT_EQ(file->GetEmptyID(), 3);
  EXPECT_TRUE(file->ItemExists(4));
  file->SetReservedID(2);  // handed out even though it is in use
  EXPECT_EQ(file->GetEmptyID(), 2);
  EXPECT_EQ(file->GetEmptyID(), 3);
}

// April holds appointment 3; May links to it and to a missing number 9.
class FileTest : public testing::RecordingCalendarTest {
 protected:
  FileTest() {
    PutDataFile("200804.xmf", MonthBytes().Long(10003).Real(3, "April", 39540, 39541).str());
    PutDataFile("200805.xmf", MonthBytes().Long(10003).Link(1, 200804, 3).Link(2, 200804, 9).str());
    calendar_ = StartCalendar();
    may_ = calendar_->GetMonthFile(MonthRef{.Month = 5, .Year = 2008});
    april_ = calendar_->GetAppointment(200804, 3);
  }
  AppointmentLink& Link(int32_t id) {
    return dynamic_cast<AppointmentLink&>(*may_->Appointments()->ItemByID(id));
  }

  CalendarPtr calendar_;
  FilePtr may_;
  AppointmentPtr april_;
};

TEST_F(FileTest, ResolveLinksBindsStoredLinksOnceAndLeavesPartsAlone) {
  EXPECT_EQ(notifier_->sent, (Sent{"BeforeLoadFile 200805", "BeforeLoadFile 200804"}));
  EXPECT_EQ(notifier_->last_path, calendar_->Path());
  AppointmentPtr marker = Real(99);
  AppointmentLinkPtr part = AppointmentLink::New();
  part->SetOutsideID(5);
  part->SetDestination(marker);
  part->SetPartPeriod(DateTimeNormal::New());
  may_->Appointments()->AddKeyed(part);

  may_->SetCalendar(Calendar::New());  // only the shared calendar is ever held
  may_->ResolveLinks();
  EXPECT_TRUE(may_->LinksResolved());
  ASSERT_TRUE(april_);
  EXPECT_EQ(Link(1).DestinationAppointment(), april_);
  EXPECT_EQ(Link(2).DestinationAppointment(), nullptr);
  EXPECT_EQ(part->DestinationAppointment(), marker);
  Link(1).SetDestination(nullptr);
  may_->ResolveLinks();
  EXPECT_EQ(Link(1).DestinationAppointment(), nullptr);
}

TEST_F(FileTest, SavesWhenItOrARealAppointmentIsChangedButNotForALink) {
  may_->ResolveLinks();
  april_->SetChanged(true);  // seen through May's link, but not May's change
  may_->SaveIfChanged();
  EXPECT_EQ(notifier_->sent.back(), "BeforeLoadFile 200804");

  AppointmentRealPtr own = Real(3);
  may_->Appointments()->AddKeyed(own);
  own->SetChanged(true);
  may_->SaveIfChanged();
  EXPECT_EQ(notifier_->sent.back(), "Saved 200805");

  // Another process is about to read May: the reserved number goes and
  // pending changes are written.
  notifier_->sent.clear();
  may_->SetReservedID(7);
  may_->SetChanged(true);
  may_->NewLoaded();
  EXPECT_EQ(may_->ReservedID(), 0);
  EXPECT_EQ(notifier_->sent, Sent{"Saved 200805"});
}

TEST_F(FileTest, ResetChangedClearsTheEntriesAndTheDestinationsOfLinks) {
  may_->ResolveLinks();  // link 2 stays without destination
  AppointmentRealPtr own = Real(3);
  may_->Appointments()->AddKeyed(own);
  own->SetChanged(true);
  april_->SetChanged(true);
  may_->SetChanged(true);
  may_->ResetChanged();
  EXPECT_FALSE(own->Changed() || april_->Changed() || may_->Changed());
}

class FileFailureTest : public testing::RecordingCalendarTest {
 protected:
  FileFailureTest() {
    PutDataFile("200805.xmf", previous_);
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
  FilePtr Unloaded() {
    FilePtr file = File::New();
    file->SetFilePath(path_);
    return file;
  }
  std::string LoadFailure() const {
    return "Schwerwiegender Fehler:\r\nDie Monatsdatei \"" + path_ +
           "\" konnte nicht geladen werden.";
  }
  std::string SaveFailure() const {
    return "Die Monatsdatei \"" + path_ +
           "\" konnte nicht gespeichert werden. Es besteht die Gefahr, dass Daten verloren gehen.";
  }

  const std::string path_ = DataFile("200805.xmf");
  const std::string previous_ =
      testing::MonthBytes().Long(10003).Real(1, "previous", 39582, 39583).Byte(0).str();
  CalendarPtr calendar_;
};

TEST_F(FileFailureTest, AFileThatCannotBeReadFailsToLoadKeepingTheRecordsBeforeTheFault) {
  testing::RemoveAll(path_);
  EXPECT_FALSE(Unloaded()->Load());
  ExpectOnlyMessage(LoadFailure());

  testing::WriteBytes(path_, previous_.substr(0, previous_.size() - 1) + "\x05");
  FilePtr file = Unloaded();
  EXPECT_FALSE(file->Load());
  ExpectOnlyMessage(LoadFailure());
  ASSERT_EQ(file->Appointments()->Count(), 1);
  EXPECT_EQ(file->Appointments()->Item(1)->Title(), "previous");

  notifier_->failing = "BeforeLoadFile";
  EXPECT_FALSE(Unloaded()->Load());
  ExpectOnlyMessage(LoadFailure());
}

TEST_F(FileFailureTest, ASuccessfulSaveReplacesTheFileDurablyAndLeavesNoBackup) {
  FilePtr may = ChangedMay();
  FaultFileSystem journal;
  testing::ScopedFileSystem installed(&journal);
  may->SaveFile();
  EXPECT_TRUE(messages_.messages.empty());
  EXPECT_EQ(ReadBytes(path_), store::EncodeMonthFile(*may->Appointments()));
  EXPECT_FALSE(PathExists(path_ + ".1"));
  EXPECT_FALSE(may->Changed());
  EXPECT_EQ(notifier_->sent.back(), "Saved 200805");
  // The new file and the folder reach the disk before the backup goes, so a
  // power cut at any moment leaves one whole copy under one of the names.
  const std::string backup = path_ + ".1";
  EXPECT_EQ(journal.journal,
            (std::vector<std::string>{"rename " + path_ + " " + backup, "create " + path_,
                                      "sync " + path_, "close " + path_,
                                      "sync-folder " + DataFolder(), "remove " + backup}));
}

TEST_F(FileFailureTest, EveryFailedSaveLeavesThePreviousFileByteForByte) {
  struct Case {
    const char* name;
    std::function<void(FaultFileSystem&)> arm;
    bool changed_after;  // Changed is cleared once the file was written
  };
  FilePtr may = ChangedMay();
  const Case cases[] = {
      {"backup refused", [](FaultFileSystem& f) { f.FailOn(Op::kRename); }, true},
      {"read-only folder", [](FaultFileSystem& f) { f.FailOn(Op::kCreate); }, true},
      {"write fails", [](FaultFileSystem& f) { f.FailOn(Op::kAppend); }, true},
      {"disk full half-way", [](FaultFileSystem& f) { f.LimitWrites(40); }, true},
      {"sync fails", [](FaultFileSystem& f) { f.FailOn(Op::kSync); }, true},
      {"close fails", [](FaultFileSystem& f) { f.FailOn(Op::kClose); }, true},
      {"folder sync fails", [](FaultFileSystem& f) { f.FailOn(Op::kSyncFolder); }, true},
      {"notifier fails", [this](FaultFileSystem&) { notifier_->failing = "Saved"; }, false},
      {"entry without period",
       [&may](FaultFileSystem&) { may->Appointments()->Item(2)->SetDateTime(nullptr); }, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    notifier_->failing.clear();
    may->SetChanged(true);
    FaultFileSystem faults;
    testing::ScopedFileSystem installed(&faults);
    c.arm(faults);
    may->SaveFile();
    ExpectOnlyMessage(SaveFailure());
    EXPECT_EQ(ReadBytes(path_), previous_);
    EXPECT_FALSE(PathExists(path_ + ".1"));
    EXPECT_EQ(may->Changed(), c.changed_after);
  }
  // Without a previous file, nothing torn is left behind.
  testing::RemoveAll(path_);
  FaultFileSystem full;
  testing::ScopedFileSystem installed(&full);
  full.LimitWrites(40);
  may->SaveFile();
  ExpectOnlyMessage(SaveFailure());
  EXPECT_FALSE(PathExists(path_));
}

TEST_F(FileFailureTest, AMonthThatWasNotReadWholeKeepsItsOldFileAsTheBackup) {
  testing::WriteBytes(path_, previous_.substr(0, previous_.size() - 1) + "\x07 unread");
  FilePtr file = Unloaded();
  file->SetFileLong(200805);
  EXPECT_FALSE(file->Load());
  ExpectOnlyMessage(LoadFailure());
  file->SetChanged(true);
  file->SaveFile();
  EXPECT_EQ(ReadBytes(path_ + ".1"), previous_.substr(0, previous_.size() - 1) + "\x07 unread");
  EXPECT_EQ(ReadBytes(path_), store::EncodeMonthFile(*file->Appointments()));
}

TEST_F(FileFailureTest, AFirstSaveWhoseNoticeFailsKeepsTheWrittenFile) {
  testing::RemoveAll(path_);
  FilePtr may = ChangedMay();
  notifier_->failing = "Saved";
  may->SaveFile();
  ExpectOnlyMessage(SaveFailure());
  EXPECT_EQ(ReadBytes(path_), store::EncodeMonthFile(*may->Appointments()));
}

TEST_F(FileFailureTest, TheBackupTakesTheFirstFreeNumber) {
  testing::WriteBytes(path_ + ".1", "left by an earlier failure");
  FilePtr may = ChangedMay();
  FaultFileSystem faults;
  testing::ScopedFileSystem installed(&faults);
  faults.FailOn(Op::kRemove, ".xmf.2");  // keep the backup to look at it
  may->SaveFile();
  EXPECT_TRUE(messages_.messages.empty());  // a backup left behind is no failure
  EXPECT_EQ(ReadBytes(path_ + ".2"), previous_);
  EXPECT_EQ(ReadBytes(path_ + ".1"), "left by an earlier failure");
}

}  // namespace
}  // namespace orncal
