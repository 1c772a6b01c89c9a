#include "platform/file_system.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "support/test_env.h"

namespace orncal::platform {
namespace {

using orncal::testing::Join;
using Names = std::vector<std::string>;

class OsFileSystemTest : public ::testing::Test {
 protected:
  std::string Path(std::string_view name) const { return Join(dir_.path(), name); }
  std::string Read(const std::string& path) {
    std::string contents = "unread";
    EXPECT_TRUE(fs_.ReadFile(path, &contents).ok()) << path;
    return contents;
  }
  orncal::testing::TempDir dir_;
  FileSystem& fs_ = OsFileSystem();
};

TEST_F(OsFileSystemTest, WritesReadsRenamesWithoutReplacingAndRemoves) {
  const std::string a = Path("a.xmf"), b = Path("b.xmf");
  ASSERT_TRUE(WriteWholeFile(fs_, a, std::string("x\0y", 3)).ok());
  EXPECT_EQ(Read(a), std::string("x\0y", 3));
  ASSERT_TRUE(WriteWholeFile(fs_, b, "b").ok());
  EXPECT_FALSE(fs_.Rename(a, b).ok());  // a rename never replaces a file
  EXPECT_EQ(Read(b), "b");
  ASSERT_TRUE(fs_.Remove(b).ok());
  ASSERT_TRUE(fs_.Rename(a, b).ok());
  EXPECT_FALSE(fs_.Exists(a));
  EXPECT_TRUE(fs_.Exists(b));
  std::string contents;
  EXPECT_FALSE(fs_.ReadFile(a, &contents).ok());
  EXPECT_FALSE(fs_.ReadFile(dir_.path(), &contents).ok());  // a folder
  // Folders exist too; one is created only below an existing parent.
  EXPECT_EQ(std::tuple(fs_.Exists(dir_.path()), fs_.Exists("")), std::tuple(true, false));
  EXPECT_FALSE(fs_.CreateFolder(Join(Path("no"), "parent")).ok());
}

TEST_F(OsFileSystemTest, ListsOnlyNamesWithTheExtension) {
  Names names = {"stale"};
  ASSERT_TRUE(fs_.List(dir_.path(), ".xmf", &names).ok());
  EXPECT_TRUE(names.empty());
  for (const char* name : {"200805.xmf", "notes.xmf", ".xmf", "200805.xmf.1", "tasks.xtf"})
    ASSERT_TRUE(WriteWholeFile(fs_, Path(name), "").ok());
  ASSERT_TRUE(fs_.List(dir_.path(), ".xmf", &names).ok());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (Names{".xmf", "200805.xmf", "notes.xmf"}));
  EXPECT_FALSE(fs_.List(Path("missing"), ".xmf", &names).ok());
}

TEST_F(OsFileSystemTest, NamesBeyondAsciiSurviveTheSystemCalls) {
  const std::string folder = Path("Käse"), file = Join(folder, "Grüße €.xmf");
  ASSERT_TRUE(fs_.CreateFolder(folder).ok());
  ASSERT_TRUE(WriteWholeFile(fs_, file, "x").ok());
  EXPECT_TRUE(fs_.Exists(file));
  Names names;
  ASSERT_TRUE(fs_.List(folder, ".xmf", &names).ok());
  EXPECT_EQ(names, Names{"Grüße €.xmf"});
  ASSERT_TRUE(fs_.Rename(file, Join(folder, "Äpfel.xmf")).ok());
  EXPECT_EQ(Read(Join(folder, "Äpfel.xmf")), "x");
  ASSERT_TRUE(fs_.Remove(Join(folder, "Äpfel.xmf")).ok());
  EXPECT_FALSE(fs_.Exists(Join(folder, "Äpfel.xmf")));
}

}  // namespace
}  // namespace orncal::platform
