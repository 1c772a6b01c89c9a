#include <gtest/gtest.h>

#include <algorithm>

#include "core/calendar_state.h"
#include "core/notifier.h"
#include "core/shared_calendar.h"
#include "orncalendar/orncalendar.h"
#include "platform/system.h"
#include "support/fault_file_system.h"
#include "support/registry.h"
#include "support/test_env.h"

namespace orncal {
namespace {

using testing::CalendarTest;
using testing::Join;
using testing::PathExists;
using testing::WriteBytes;

class StartupTest : public CalendarTest {};

TEST_F(StartupTest, DataFolderLiesBelowTheApplicationDataFolderAndIsCreated) {
  CalendarPtr calendar = StartCalendar();
  ASSERT_TRUE(calendar);
  EXPECT_EQ(platform::NormalizeDataPath(core::DataFolder()), DataFolder());
  EXPECT_EQ(calendar->Path(), DataFolder());
  EXPECT_TRUE(PathExists(DataFolder()));
  EXPECT_EQ(calendar->TasksFilePath(), DataFile("tasks.xtf"));
  EXPECT_TRUE(calendar->Initialized());
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
  // Leave the test binary's folder as it was.
  testing::RemoveAll(core::AppFolder() + "bin");
}

TEST_F(StartupTest, CalendarAndCalendAreOneObjectAcrossCalendarMains) {
  CalendarMain first;
  CalendarMain second;
  EXPECT_EQ(first.Calendar(), first.Calend());
  EXPECT_EQ(first.Calendar(), second.Calendar());
  EXPECT_EQ(second.Calend(), core::SharedCalendar());
}

TEST_F(StartupTest, StartUpRunsOnce) {
  CalendarPtr calendar = StartCalendar();
  // A later change of the application-data folder is not seen.
  platform::SetShellFolderHook([](int32_t) { return std::string("/elsewhere"); });
  EXPECT_EQ(StartCalendar(), calendar);
  EXPECT_EQ(calendar->Path(), DataFolder());
}

TEST_F(StartupTest, AllFilesHoldsTheMonthFilesOnly) {
  testing::MakeFolders(DataFolder());
  for (const char* name : {"200805.xmf", "notes.xmf", ".xmf", "200805.xmf.1", "tasks.xtf"}) {
    WriteBytes(DataFile(name), "");
  }
  CalendarPtr calendar = StartCalendar();
  CollectionPtr<int32_t> all = calendar->AllFiles();
  ASSERT_EQ(all->Count(), 1);
  EXPECT_EQ(all->Item(1), 200805);
  EXPECT_EQ(all->Item("200805"), 200805);
  EXPECT_EQ(calendar->AllFiles(), all);  // the live collection
}

TEST_F(StartupTest, ScanningKeepsTheFirstOfTwoStemsAndSkipsWhatIsNoNumber) {
  testing::MakeFolders(DataFolder());
  for (const char* name :
       {"200801.xmf", "200801.old.xmf", " 200802 .xmf", "2008x.xmf", "99999999999.xmf", "-5.xmf"}) {
    WriteBytes(DataFile(name), "");
  }
  CalendarPtr calendar = StartCalendar();
  std::vector<int32_t> months(calendar->AllFiles()->begin(), calendar->AllFiles()->end());
  std::sort(months.begin(), months.end());
  EXPECT_EQ(months, (std::vector<int32_t>{-5, 200801, 200802}));
}

TEST_F(StartupTest, ADataFolderThatCannotBeCreatedLeavesAWorkingEmptyCalendar) {
  // The application-data "folder" is a file, so nothing can be created below it.
  testing::MakeFolders(temp_.path());
  WriteBytes(AppDataFolder(), "not a folder");
  CalendarPtr calendar = StartCalendar();
  ASSERT_TRUE(calendar);
  EXPECT_EQ(calendar->Path(), DataFolder());
  EXPECT_EQ(calendar->AllFiles()->Count(), 0);
  EXPECT_TRUE(calendar->Initialized());
}

TEST_F(StartupTest, FolderCreationFailuresAreIgnored) {
  testing::FaultFileSystem faults;
  testing::ScopedFileSystem installed(&faults);
  faults.FailOn(testing::FaultFileSystem::Op::kCreateFolder, "Calendar");
  CalendarPtr calendar = StartCalendar();
  ASSERT_TRUE(calendar);
  EXPECT_TRUE(PathExists(Join(AppDataFolder(), "Ornavel")));
  EXPECT_FALSE(PathExists(DataFolder()));
}

TEST_F(StartupTest, CreatePathFoldersLeavesExistingFoldersAlone) {
  testing::FaultFileSystem faults;
  testing::ScopedFileSystem installed(&faults);
  const std::string path = Join(Join(temp_.path(), "a"), "b");
  core::CreatePathFolders(path);
  EXPECT_TRUE(PathExists(path));
  size_t created = faults.Log().size();
  core::CreatePathFolders(path);
  EXPECT_EQ(faults.Log().size(), created);
  EXPECT_TRUE(messages_.messages().empty());
}

TEST_F(StartupTest, InstanceIdIsTheMillisecondOfTheDayAndRegistersWithTheNotifier) {
  struct Recorder : core::SilentNotifierServer {
    std::vector<std::pair<int32_t, std::string>> registered;
    void RegisterCalendar(int32_t id, const std::string& path) override {
      registered.emplace_back(id, path);
    }
  };
  auto recorder = std::make_shared<Recorder>();
  core::SetNotifierFactory([&] { return recorder; });
  clock_.clock().Set(DateFromParts(2008, 5, 14) + TimeFromParts(1, 2, 3) + 0.456 / 86400);
  CalendarPtr calendar = StartCalendar();
  core::SetNotifierFactory(nullptr);
  EXPECT_EQ(core::InstanceID(), 3723456);
  ASSERT_EQ(recorder->registered.size(), 1u);
  EXPECT_EQ(recorder->registered[0].first, 3723456);
  EXPECT_EQ(recorder->registered[0].second, calendar->Path());
}

TEST_F(StartupTest, ResetRemindScanRestartsFromNow) {
  CalendarPtr calendar = StartCalendar();
  EXPECT_EQ(calendar->RemindScanHour(), -1);
  EXPECT_EQ(calendar->RemindScanFrom(), clock_.clock().Now());
  clock_.clock().Advance(3600);
  calendar->ResetRemindScan();
  EXPECT_EQ(calendar->RemindScanFrom(), clock_.clock().Now());
}

TEST_F(StartupTest, ReleaseOfTheSharedCalendarKeepsIt) {
  CalendarPtr calendar = StartCalendar();
  calendar->Release();
  EXPECT_EQ(StartCalendar(), calendar);
  EXPECT_TRUE(calendar->Initialized());
}

TEST(DataPath, IsTrimmedOfSpaces) {
  testing::TempDir dir;
  CalendarPtr calendar = Calendar::New();
  calendar->InitCalendar("  " + dir.path() + "  ");
  EXPECT_EQ(calendar->Path(), platform::NormalizeDataPath(dir.path()));
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
  CalendarPtr another = Calendar::New();
  owner.SetOwner(another);
  EXPECT_FALSE(owner.Held());
}

}  // namespace
}  // namespace orncal
