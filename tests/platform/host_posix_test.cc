// The host answers on POSIX: XDG folders, no registry, the logon name, the
// library's folder and the default message sink.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/file_system.h"
#include "platform/system.h"
#include "support/test_env.h"

namespace orncal::platform {
namespace {

using orncal::testing::Join;
using orncal::testing::TempDir;
using orncal::testing::WriteBytes;

// Sets environment variables for one test and restores them afterwards.
class EnvTest : public ::testing::Test {
 protected:
  void Set(const std::string& name, const std::optional<std::string>& value) {
    const char* old = std::getenv(name.c_str());
    saved_.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
    SetEnv(name, value);
  }
  ~EnvTest() override {
    for (auto it = saved_.rbegin(); it != saved_.rend(); ++it)
      SetEnv(it->first, it->second);
  }

 private:
  std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
};

TEST_F(EnvTest, AppDataIsXdgDataHomeThenHomeLocalShareThenTheDefault) {
  Set("XDG_DATA_HOME", "/srv/data");
  Set("HOME", "/home/anna");
  EXPECT_EQ(GetSpecialFolder(0, kCsidlAppData, "dflt"), "/srv/data");
  Set("XDG_DATA_HOME", std::nullopt);
  EXPECT_EQ(GetSpecialFolder(0, kCsidlAppData, "dflt"), "/home/anna/.local/share");
  Set("XDG_DATA_HOME", "relative/ignored");
  EXPECT_EQ(GetSpecialFolder(0, kCsidlAppData, "dflt"), "/home/anna/.local/share");
  Set("HOME", std::nullopt);
  Set("XDG_DATA_HOME", std::nullopt);
  EXPECT_EQ(GetSpecialFolder(0, kCsidlAppData, "dflt"), "dflt");
}

TEST_F(EnvTest, UserFoldersComeFromUserDirsAndOthersAreEmpty) {
  TempDir config;
  WriteBytes(Join(config.path(), "user-dirs.dirs"),
             "# comment\nXDG_DESKTOP_DIR=\"$HOME/Schreibtisch\"\n"
             "XDG_DOCUMENTS_DIR=\"/data/docs\"\n");
  Set("XDG_CONFIG_HOME", config.path());
  Set("HOME", "/home/anna");
  EXPECT_EQ(GetSpecialFolder(0, 16, ""), "/home/anna/Schreibtisch");
  EXPECT_EQ(GetSpecialFolder(0, 25, ""), "/home/anna/Schreibtisch");
  EXPECT_EQ(GetSpecialFolder(0, 5, ""), "/data/docs");
  EXPECT_EQ(GetSpecialFolder(0, 20, "none"), "none");
  EXPECT_EQ(GetSpecialFolder(0, 2, ""), "");
}

TEST(Host, ShellHookRegistryLogonNameLibraryFolderAndDataPaths) {
  SetShellFolderHook([](int32_t folder) -> std::optional<std::string> {
    if (folder == 26) return "\"/quoted/path\"";
    return std::nullopt;
  });
  EXPECT_EQ(GetSpecialFolder(0, 26, ""), "/quoted/path");  // quotes are dropped
  EXPECT_EQ(GetSpecialFolder(0, 5, "dflt"), "dflt");
  SetShellFolderHook(nullptr);
  // There is no registry: every read answers its default.
  EXPECT_EQ(GetRegString("Software\\X\\", "Value", "dflt", RegistryRoot::kCurrentUser), "dflt");
  EXPECT_FALSE(GetLoginName().empty());
  const std::string folder = LibraryFolder();
  ASSERT_FALSE(folder.empty());
  EXPECT_EQ(folder.front(), '/');
  EXPECT_EQ(folder.back(), '/');
  EXPECT_TRUE(orncal::testing::PathExists(folder));
  // Data paths are trimmed but keep their case.
  EXPECT_EQ(NormalizeDataPath("  /Home/Anna/Files  "), "/Home/Anna/Files");
  EXPECT_EQ(NormalizeDataPath("   "), "");
}

TEST(OsFileSystem, APipeOrADeviceIsNotReadAsAFile) {
  orncal::testing::TempDir dir;
  const std::string pipe = Join(dir.path(), "200805.xmf");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  std::string contents;
  EXPECT_FALSE(OsFileSystem().ReadFile(pipe, &contents).ok());  // and does not wait for a writer
  EXPECT_FALSE(OsFileSystem().ReadFile("/dev/zero", &contents).ok());
  EXPECT_TRUE(contents.empty());
}

TEST(MessageSink, TheDefaultWritesOneLineToStderr) {
  MessageHandler before = SetMessageHandler(nullptr);
  ::testing::internal::CaptureStderr();
  ShowMessage("Schwerwiegender Fehler:\r\nDie Monatsdatei", MessageStyle::kCritical);
  std::string err = ::testing::internal::GetCapturedStderr();
  SetMessageHandler(std::move(before));
  EXPECT_EQ(err, "Ornavel Calendar: Schwerwiegender Fehler: Die Monatsdatei\n");
}

}  // namespace
}  // namespace orncal::platform
