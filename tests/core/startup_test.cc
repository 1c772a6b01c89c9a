#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "core/shared_calendar.h"
#include "orncalendar/orncalendar.h"
#include "platform/system.h"
#include "support/fault_file_system.h"
#include "support/recording_notifier.h"
#include "support/registry.h"

namespace orncal {
namespace {

using testing::Join;
using testing::PathExists;

class StartupTest : public testing::RecordingCalendarTest {};

TEST_F(StartupTest, DataFolderLiesBelowTheApplicationDataFolderAndIsCreated) {
  CalendarPtr calendar = StartCalendar();
  ASSERT_TRUE(calendar);
  EXPECT_EQ(platform::NormalizeDataPath(core::DataFolder()), DataFolder());
  EXPECT_EQ(calendar->Path(), DataFolder());
  EXPECT_TRUE(PathExists(DataFolder()));
  EXPECT_EQ(calendar->TasksFilePath(), DataFile("tasks.xtf"));
  EXPECT_TRUE(calendar->Initialized());
  // A path given to a calendar of its own is trimmed.
  CalendarPtr other = Calendar::New();
  other->InitCalendar("  " + temp_.path() + "  ");
  EXPECT_EQ(other->Path(), platform::NormalizeDataPath(temp_.path()));
}

TEST_F(StartupTest, WithoutAnApplicationDataFolderTheFallBackBelowBinIsCreated) {
  // Neither the shell nor the registry's "Shell Folders" know one.
  platform::SetShellFolderHook([](int32_t) { return std::nullopt; });
  testing::ScopedEmptyRegistry no_registry;
  CalendarPtr calendar = StartCalendar();
  const char sep = platform::kPathSeparator;
  const std::string expected =
      core::AppFolder() + "bin" + sep + platform::GetLoginName() + sep + "data" + sep + "files";
  EXPECT_EQ(core::DataFolder(), expected);
  EXPECT_EQ(calendar->Path(), platform::NormalizeDataPath(expected));
  EXPECT_TRUE(PathExists(expected));
  testing::RemoveAll(core::AppFolder() + "bin");  // leave the test binary's folder as it was
}

TEST_F(StartupTest, OneSharedCalendarStartedOnceAndKeptOnRelease) {
  CalendarMain first, second;
  CalendarPtr calendar = first.Calendar();
  EXPECT_EQ(first.Calend(), calendar);
  EXPECT_EQ(second.Calendar(), calendar);
  EXPECT_EQ(second.Calend(), core::SharedCalendar());
  // A later change of the application-data folder is not seen.
  platform::SetShellFolderHook([](int32_t) { return std::string("/elsewhere"); });
  calendar->Release();
  EXPECT_EQ(StartCalendar(), calendar);
  EXPECT_EQ(calendar->Path(), DataFolder());
  EXPECT_TRUE(calendar->Initialized());
}

TEST_F(StartupTest, AllFilesHoldsTheMonthFilesOnly) {
  for (const char* name : {"200805.xmf", "notes.xmf", ".xmf", "200805.xmf.1", "tasks.xtf"})
    PutDataFile(name, "");
  CalendarPtr calendar = StartCalendar();
  CollectionPtr<int32_t> all = calendar->AllFiles();
  ASSERT_EQ(all->Count(), 1);
  EXPECT_EQ(all->Item("200805"), 200805);
  EXPECT_EQ(calendar->AllFiles(), all);  // the live collection
  // Of two stems the first is kept; what is no number is skipped.
  for (const char* name : {"200801.old.xmf", " 200802 .xmf", "2008x.xmf", "99999999999.xmf",
                           "-5.xmf", "200805.old.xmf"}) {
    PutDataFile(name, "");
  }
  calendar->ScanMonthFiles();
  all = calendar->AllFiles();
  std::vector<int32_t> months(all->begin(), all->end());
  std::sort(months.begin(), months.end());
  EXPECT_EQ(months, (std::vector<int32_t>{-5, 200801, 200802, 200805}));
}

TEST_F(StartupTest, ADataFolderThatCannotBeCreatedLeavesAWorkingEmptyCalendar) {
  // The application-data "folder" is a file, so nothing can be created below it.
  testing::WriteBytes(app_data_, "not a folder");
  CalendarPtr calendar = StartCalendar();
  ASSERT_TRUE(calendar);
  EXPECT_EQ(std::tuple(calendar->Path(), calendar->AllFiles()->Count(), calendar->Initialized()),
            std::tuple(DataFolder(), 0, true));
}

TEST(CreatePathFolders, CreatesWhatIsMissingIgnoringFailuresAndLeavesExistingFoldersAlone) {
  testing::TempDir temp;
  testing::MessageCapture messages;
  testing::FaultFileSystem faults;
  testing::ScopedFileSystem installed(&faults);
  faults.FailOn(testing::FaultFileSystem::Op::kCreateFolder, "refused");
  const std::string b = Join(Join(temp.path(), "a"), "b"), d = Join(Join(b, "refused"), "d");
  core::CreatePathFolders(d);
  EXPECT_EQ(std::tuple(PathExists(b), PathExists(d)), std::tuple(true, false));
  const size_t created = faults.CreatedFolders().size();
  core::CreatePathFolders(b);
  EXPECT_EQ(faults.CreatedFolders().size(), created);
  EXPECT_TRUE(messages.messages.empty());
}

TEST_F(StartupTest, InstanceIdIsTheMillisecondOfTheDayAndNamesTheCalendarToTheNotifier) {
  clock_->Set(DateFromParts(2008, 5, 14) + TimeFromParts(1, 2, 3) + 0.456 / 86400);
  CalendarPtr calendar = StartCalendar();
  EXPECT_EQ(core::InstanceID(), 3723456);
  EXPECT_EQ(notifier_->registered, std::vector<int32_t>{3723456});
  EXPECT_EQ(notifier_->last_path, calendar->Path());
  // The reminder scan starts from now, and again from now when reset.
  EXPECT_EQ(calendar->RemindScanHour(), -1);
  EXPECT_EQ(calendar->RemindScanFrom(), clock_->Now());
  clock_->Advance(3600);
  calendar->ResetRemindScan();
  EXPECT_EQ(calendar->RemindScanFrom(), clock_->Now());
}

TEST(CalendarRef, EmptyMeansTheSharedCalendarAndNothingIsKeptAlive) {
  core::ResetStartupForTesting();
  core::CalendarRef ref;
  EXPECT_EQ(ref.Get(), nullptr);  // no shared calendar yet
  CalendarPtr other = Calendar::New();
  ref.Set(other);
  EXPECT_EQ(ref.Get(), other);
  std::weak_ptr<Calendar> watch = other;
  other.reset();
  EXPECT_TRUE(watch.expired());
  EXPECT_EQ(ref.Get(), nullptr);
  // The owner setter never stores a calendar the reference did not hold.
  core::CalendarRef owner;
  CalendarPtr stranger = Calendar::New();
  owner.SetOwner(stranger);
  EXPECT_NE(owner.Get(), stranger);
}

}  // namespace
}  // namespace orncal
