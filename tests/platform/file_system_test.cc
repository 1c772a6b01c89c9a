#include "platform/file_system.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/fault_file_system.h"
#include "support/test_env.h"

namespace orncal::platform {
namespace {

using orncal::testing::Join;
using orncal::testing::TempDir;

TEST(OsFileSystem, WritesReadsRenamesAndRemoves) {
  TempDir dir;
  FileSystem& fs = OsFileSystem();
  const std::string a = Join(dir.path(), "a.xmf");
  const std::string b = Join(dir.path(), "b.xmf");
  ASSERT_TRUE(WriteWholeFile(fs, a, std::string("x\0y", 3)).ok());
  std::string contents;
  ASSERT_TRUE(fs.ReadFile(a, &contents).ok());
  EXPECT_EQ(contents, std::string("x\0y", 3));

  ASSERT_TRUE(fs.Rename(a, b).ok());
  EXPECT_FALSE(fs.Exists(a));
  EXPECT_TRUE(fs.Exists(b));
  ASSERT_TRUE(fs.Remove(b).ok());
  EXPECT_FALSE(fs.Exists(b));
}

TEST(OsFileSystem, RenameRefusesToReplaceAFile) {
  TempDir dir;
  FileSystem& fs = OsFileSystem();
  const std::string a = Join(dir.path(), "a");
  const std::string b = Join(dir.path(), "b");
  ASSERT_TRUE(WriteWholeFile(fs, a, "a").ok());
  ASSERT_TRUE(WriteWholeFile(fs, b, "b").ok());
  EXPECT_FALSE(fs.Rename(a, b).ok());
  std::string contents;
  ASSERT_TRUE(fs.ReadFile(b, &contents).ok());
  EXPECT_EQ(contents, "b");
}

TEST(OsFileSystem, ExistsForFoldersAndFiles) {
  TempDir dir;
  FileSystem& fs = OsFileSystem();
  EXPECT_TRUE(fs.Exists(dir.path()));
  EXPECT_FALSE(fs.Exists(Join(dir.path(), "missing")));
  EXPECT_FALSE(fs.Exists(""));
  ASSERT_TRUE(fs.CreateFolder(Join(dir.path(), "sub")).ok());
  EXPECT_TRUE(fs.Exists(Join(dir.path(), "sub")));
  EXPECT_FALSE(fs.CreateFolder(Join(Join(dir.path(), "no"), "parent")).ok());
}

TEST(OsFileSystem, ReadingAMissingFileOrAFolderFails) {
  TempDir dir;
  std::string contents = "old";
  EXPECT_FALSE(OsFileSystem().ReadFile(Join(dir.path(), "missing"), &contents).ok());
  EXPECT_FALSE(OsFileSystem().ReadFile(dir.path(), &contents).ok());
}

TEST(OsFileSystem, ListsOnlyNamesWithTheExtension) {
  TempDir dir;
  FileSystem& fs = OsFileSystem();
  for (const char* name : {"200805.xmf", "notes.xmf", ".xmf", "200805.xmf.1", "tasks.xtf"}) {
    ASSERT_TRUE(WriteWholeFile(fs, Join(dir.path(), name), "").ok());
  }
  std::vector<std::string> names;
  ASSERT_TRUE(fs.List(dir.path(), ".xmf", &names).ok());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{".xmf", "200805.xmf", "notes.xmf"}));
  EXPECT_FALSE(fs.List(Join(dir.path(), "missing"), ".xmf", &names).ok());
}

TEST(OsFileSystem, NamesBeyondAsciiSurviveTheSystemCalls) {
  TempDir dir;
  FileSystem& fs = OsFileSystem();
  const std::string folder = Join(dir.path(), "Käse");
  ASSERT_TRUE(fs.CreateFolder(folder).ok());
  const std::string file = Join(folder, "Grüße €.xmf");
  ASSERT_TRUE(WriteWholeFile(fs, file, "x").ok());
  EXPECT_TRUE(fs.Exists(file));
  std::vector<std::string> names;
  ASSERT_TRUE(fs.List(folder, ".xmf", &names).ok());
  EXPECT_EQ(names, std::vector<std::string>{"Grüße €.xmf"});
  ASSERT_TRUE(fs.Rename(file, Join(folder, "Äpfel.xmf")).ok());
  ASSERT_TRUE(fs.Remove(Join(folder, "Äpfel.xmf")).ok());
  EXPECT_FALSE(fs.Exists(file));
}

TEST(OsFileSystem, AnEmptyFolderListsNothing) {
  TempDir dir;
  std::vector<std::string> names = {"stale"};
  ASSERT_TRUE(OsFileSystem().List(dir.path(), ".xmf", &names).ok());
  EXPECT_TRUE(names.empty());
}

TEST(FaultFileSystem, AFullDiskWritesWhatFitsAndFails) {
  TempDir dir;
  orncal::testing::FaultFileSystem faults;
  orncal::testing::ScopedFileSystem installed(&faults);
  faults.LimitWrites(3);
  const std::string path = Join(dir.path(), "f");
  EXPECT_FALSE(WriteWholeFile(Fs(), path, "abcdef").ok());
  std::string contents;
  ASSERT_TRUE(Fs().ReadFile(path, &contents).ok());
  EXPECT_EQ(contents, "abc");
}

}  // namespace
}  // namespace orncal::platform
