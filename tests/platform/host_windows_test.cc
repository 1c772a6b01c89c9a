// The host answers on Windows, against the system's real registry and
// shell: values are written under a test key of the current user and
// removed again (they are volatile, so not even a crash leaves them behind);
// the machine-wide and per-user roots are redirected to test keys where a
// test needs the "Shell Folders" values to be its own.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <string>
#include <vector>

#include "core/shared_calendar.h"
#include "orncalendar/orncalendar.h"
#include "platform/system.h"
#include "support/fault_file_system.h"
#include "support/test_env.h"

namespace orncal::platform {
namespace {

using orncal::testing::Join;
using orncal::testing::PathExists;

constexpr char kTestsKey[] = "Software\\OrnavelCalendarTests";
constexpr char kShellFolders[] =
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";

// A registry key of its own below HKEY_CURRENT_USER, removed with all it
// holds when the test ends.
class RegistryTest : public ::testing::Test {
 protected:
  RegistryTest() : key_(std::string(kTestsKey) + "\\" + std::to_string(GetCurrentProcessId())) {
    RegDeleteTreeA(HKEY_CURRENT_USER, key_.c_str());
  }

  ~RegistryTest() override {
    RestoreRoots();
    RegDeleteTreeA(HKEY_CURRENT_USER, key_.c_str());
    RegDeleteKeyA(HKEY_CURRENT_USER, key_.c_str());
    RegDeleteKeyA(HKEY_CURRENT_USER, kTestsKey);  // only when no other run uses it
  }

  // The test key's path, with `sub` appended.
  std::string Key(const std::string& sub = "") const {
    return sub.empty() ? key_ : key_ + "\\" + sub;
  }

  // Writes a value's bytes as they are (a string's NUL is part of `bytes`).
  void Write(const std::string& sub, const char* name, std::string_view bytes,
             DWORD type = REG_SZ) {
    HKEY handle = Create(sub);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(RegSetValueExA(handle, name, 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                             static_cast<DWORD>(bytes.size())),
              ERROR_SUCCESS);
  }

  // A text value with its terminating NUL, as the system stores strings.
  void WriteText(const std::string& sub, const char* name, const std::string& text) {
    Write(sub, name, std::string_view(text.c_str(), text.size() + 1));
  }

  // From here on HKEY_CURRENT_USER and HKEY_LOCAL_MACHINE of this process
  // are the test key's "user" and "machine" keys.
  void RedirectRoots() {
    HKEY user = Create("user");
    HKEY machine = Create("machine");
    ASSERT_TRUE(user && machine);
    ASSERT_EQ(RegOverridePredefKey(HKEY_CURRENT_USER, user), ERROR_SUCCESS);
    ASSERT_EQ(RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine), ERROR_SUCCESS);
  }

  void RestoreRoots() {
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    for (HKEY handle : handles_)
      RegCloseKey(handle);
    handles_.clear();
  }

  // Writes a "Shell Folders" value of the redirected user or machine root.
  void WriteShellFolder(const char* root, const char* name, const std::string& path) {
    WriteText(std::string(root) + "\\" + kShellFolders, name, path);
  }

 private:
  std::string key_;
  std::vector<HKEY> handles_;

  // Creates (or opens) a volatile key below the test key; nullptr on failure.
  HKEY Create(const std::string& sub) {
    HKEY handle = nullptr;
    if (RegCreateKeyExA(HKEY_CURRENT_USER, Key(sub).c_str(), 0, nullptr, REG_OPTION_VOLATILE,
                        KEY_ALL_ACCESS, nullptr, &handle, nullptr) != ERROR_SUCCESS) {
      return nullptr;
    }
    handles_.push_back(handle);
    return handle;
  }
};

// Makes the shell call fail for every folder while it lives.
class FailingShell {
 public:
  FailingShell() {
    SetShellFolderHook([](int32_t) { return std::nullopt; });
  }
  ~FailingShell() { SetShellFolderHook(nullptr); }
};

TEST_F(RegistryTest, ReadsStringValuesWithOrWithoutATrailingBackslash) {
  WriteText("", "Folder", "C:\\Daten\\Kalender");
  EXPECT_EQ(GetRegString(Key(), "Folder", "dflt", RegistryRoot::kCurrentUser),
            "C:\\Daten\\Kalender");
  EXPECT_EQ(GetRegString(Key() + "\\", "Folder", "dflt", RegistryRoot::kCurrentUser),
            "C:\\Daten\\Kalender");
  // Value names ignore case, as the registry does.
  EXPECT_EQ(GetRegString(Key(), "FOLDER", "dflt", RegistryRoot::kCurrentUser),
            "C:\\Daten\\Kalender");
}

TEST_F(RegistryTest, AMissingKeyOrValueGivesTheDefaultButAnEmptyValueDoesNot) {
  Write("", "Empty", "");
  WriteText("", "Nul", "");
  EXPECT_EQ(GetRegString(Key(), "Empty", "dflt", RegistryRoot::kCurrentUser), "");
  EXPECT_EQ(GetRegString(Key(), "Nul", "dflt", RegistryRoot::kCurrentUser), "");
  EXPECT_EQ(GetRegString(Key(), "Missing", "dflt", RegistryRoot::kCurrentUser), "dflt");
  EXPECT_EQ(GetRegString(Key("Missing"), "Empty", "dflt", RegistryRoot::kCurrentUser), "dflt");
  // The key exists for the current user only.
  EXPECT_EQ(GetRegString(Key(), "Nul", "dflt", RegistryRoot::kLocalMachine), "dflt");
}

TEST_F(RegistryTest, TheTypeIsNotCheckedAndTheLastByteIsTakenForTheTerminator) {
  Write("", "Expand", std::string_view("%TEMP%\\y", 9), REG_EXPAND_SZ);
  Write("", "Binary", "abc", REG_BINARY);
  EXPECT_EQ(GetRegString(Key(), "Expand", "", RegistryRoot::kCurrentUser), "%TEMP%\\y");
  EXPECT_EQ(GetRegString(Key(), "Binary", "", RegistryRoot::kCurrentUser), "ab");
}

TEST_F(RegistryTest, KeysNamesAndValuesAreWindows1252OnTheSystemSide) {
  Write(
      "Schl\xFC"
      "ssel",
      "Gr\xFC\xDF"
      "e",
      std::string_view("\x80 f\xFCr \xC4rger\0", 12));
  EXPECT_EQ(GetRegString(Key("Schlüssel"), "Grüße", "", RegistryRoot::kCurrentUser), "€ für Ärger");
}

TEST(Registry, TheMachineRootIsTheSystemsOwn) {
  EXPECT_EQ(GetRegString("SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment", "OS",
                         "", RegistryRoot::kLocalMachine),
            "Windows_NT");
}

TEST_F(RegistryTest, AFailingShellFallsBackToTheUsersShellFolders) {
  WriteShellFolder("user", "AppData", "C:\\Users\\Anna\\AppData\\Roaming\\");
  WriteShellFolder("user", "Personal", "\"C:\\Users\\Anna\\Dokumente\"");
  WriteShellFolder("user", "Fonts", "\"C:\\Windows\\Fonts");
  WriteShellFolder("user", "Startup", "C:\\Start\"");
  RedirectRoots();
  FailingShell shell;
  // No separator is added or removed; surrounding quotes are dropped.
  EXPECT_EQ(GetSpecialFolder(0, kCsidlAppData, "dflt"), "C:\\Users\\Anna\\AppData\\Roaming\\");
  EXPECT_EQ(GetSpecialFolder(0, 5, "dflt"), "C:\\Users\\Anna\\Dokumente");
  EXPECT_EQ(GetSpecialFolder(0, 20, "dflt"), "C:\\Windows\\Fonts");
  EXPECT_EQ(GetSpecialFolder(0, 7, "dflt"), "C:\\Start");
  // Missing values and folders without a registry value give the default.
  EXPECT_EQ(GetSpecialFolder(0, 16, "dflt"), "dflt");
  EXPECT_EQ(GetSpecialFolder(0, 28, "dflt"), "dflt");
}

TEST_F(RegistryTest, CommonFoldersComeFromTheMachineElseFromTheUser) {
  WriteShellFolder("user", "Desktop", "C:\\Users\\Anna\\Desktop");
  WriteShellFolder("user", "Programs", "C:\\Users\\Anna\\Programme");
  WriteShellFolder("user", "Start Menu", "C:\\Users\\Anna\\Startmen\xFC");
  WriteShellFolder("machine", "Common Programs", "C:\\ProgramData\\Programme");
  WriteShellFolder("machine", "Common Start Menu", "");
  RedirectRoots();
  FailingShell shell;
  EXPECT_EQ(GetSpecialFolder(0, 25, "dflt"), "C:\\Users\\Anna\\Desktop");
  EXPECT_EQ(GetSpecialFolder(0, 23, "dflt"), "C:\\ProgramData\\Programme");
  EXPECT_EQ(GetSpecialFolder(0, 22, "dflt"), "C:\\Users\\Anna\\Startmenü");
  EXPECT_EQ(GetSpecialFolder(0, 24, "dflt"), "dflt");
}

TEST_F(RegistryTest, AnAnsweringShellIsNotSecondGuessed) {
  WriteShellFolder("user", "AppData", "C:\\FromTheRegistry");
  RedirectRoots();
  SetShellFolderHook([](int32_t) -> std::optional<std::string> { return "\"C:\\Shell\"\""; });
  EXPECT_EQ(GetSpecialFolder(0, kCsidlAppData, "dflt"), "C:\\Shell\"");
  SetShellFolderHook([](int32_t) -> std::optional<std::string> { return ""; });
  EXPECT_EQ(GetSpecialFolder(0, kCsidlAppData, "dflt"), "");
  SetShellFolderHook(nullptr);
}

// With the real shell, the data folder lies below the user's application-data
// folder, and its missing levels are created one after the other.
TEST(Startup, TheDataFolderIsCreatedLevelByLevelBelowTheRealApplicationData) {
  const std::string app_data = GetSpecialFolder(0, kCsidlAppData, "");
  ASSERT_FALSE(app_data.empty());
  const std::vector<std::string> levels = {
      Join(app_data, "Ornavel"), Join(Join(app_data, "Ornavel"), "Calendar"),
      Join(Join(Join(app_data, "Ornavel"), "Calendar"), "files")};
  std::vector<std::string> missing;
  for (const std::string& level : levels) {
    if (!PathExists(level)) missing.push_back("mkdir " + level);
  }

  core::ResetStartupForTesting();
  testing::MessageCapture messages;
  testing::FaultFileSystem logged;
  CalendarPtr calendar;
  {
    testing::ScopedFileSystem installed(&logged);
    calendar = CalendarMain().Calendar();
  }
  ASSERT_TRUE(calendar);
  EXPECT_EQ(calendar->Path(), NormalizeDataPath(levels.back()));
  EXPECT_EQ(calendar->TasksFilePath(), NormalizeDataPath(Join(levels.back(), "tasks.xtf")));
  EXPECT_TRUE(PathExists(levels.back()));
  std::vector<std::string> created;
  std::copy_if(logged.Log().begin(), logged.Log().end(), std::back_inserter(created),
               [](const std::string& op) { return op.rfind("mkdir ", 0) == 0; });
  EXPECT_EQ(created, missing);
  EXPECT_TRUE(messages.messages().empty());

  calendar.reset();
  core::ResetStartupForTesting();
  // Everything below the first level that was missing is this test's own.
  if (!missing.empty()) testing::RemoveAll(missing.front().substr(6));
}

TEST(OsFileSystem, ListingFollowsTheSystemsWildcardRules) {
  testing::TempDir dir;
  for (const char* name : {"200805.XMF", "200806.xmf", "200807.xmf.1", "tasks.xtf"}) {
    testing::WriteBytes(Join(dir.path(), name), "");
  }
  std::vector<std::string> names;
  ASSERT_TRUE(OsFileSystem().List(dir.path(), ".xmf", &names).ok());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"200805.XMF", "200806.xmf"}));
  // Names differing in case are one file.
  EXPECT_TRUE(OsFileSystem().Exists(Join(dir.path(), "200805.xmf")));
}

TEST(Host, TheAnsiCodePageIsWindows1252) { EXPECT_EQ(GetACP(), 1252u); }

TEST(Host, LogonNameIsTheWholeUserName) {
  const char* user = std::getenv("USERNAME");
  ASSERT_NE(user, nullptr);
  EXPECT_EQ(GetLoginName(), user);
}

TEST(Host, LibraryFolderIsTheFolderOfThisProgram) {
  std::string folder = LibraryFolder();
  ASSERT_GE(folder.size(), 3u);
  EXPECT_EQ(folder.back(), '\\');
  EXPECT_TRUE(PathExists(folder + "platform_tests.exe"));
}

TEST(Host, DataPathsAreTrimmedAndLowerCased) {
  EXPECT_EQ(NormalizeDataPath("  C:\\Users\\ÄNNA ŠŒŽŸ\\Files  "), "c:\\users\\änna šœžÿ\\files");
  EXPECT_EQ(NormalizeDataPath("   "), "");
}

}  // namespace
}  // namespace orncal::platform
