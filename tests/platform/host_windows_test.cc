// The host answers on Windows, against the system's real registry and
// shell: values are written under a volatile test key of the current user
// and removed again; the machine-wide and per-user roots are redirected to
// test keys where a test needs the "Shell Folders" values to be its own.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string>
#include <tuple>
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

class RegistryTest : public ::testing::Test {
 protected:
  RegistryTest() { RegDeleteTreeA(HKEY_CURRENT_USER, key_.c_str()); }
  ~RegistryTest() override {
    SetShellFolderHook(nullptr);
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    for (HKEY handle : handles_)
      RegCloseKey(handle);
    RegDeleteTreeA(HKEY_CURRENT_USER, key_.c_str());
    RegDeleteKeyA(HKEY_CURRENT_USER, key_.c_str());
    RegDeleteKeyA(HKEY_CURRENT_USER, kTestsKey);  // only when no other run uses it
  }

  std::string Key(const std::string& sub = "") const {
    return sub.empty() ? key_ : key_ + "\\" + sub;
  }
  // Creates (or opens) a volatile key below the test key.
  HKEY Create(const std::string& sub) {
    HKEY handle = nullptr;
    EXPECT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, Key(sub).c_str(), 0, nullptr, REG_OPTION_VOLATILE,
                              KEY_ALL_ACCESS, nullptr, &handle, nullptr),
              ERROR_SUCCESS);
    handles_.push_back(handle);
    return handle;
  }
  // Writes a value's bytes as they are (a text's NUL is part of `bytes`).
  void Write(const std::string& sub, const char* name, std::string_view bytes,
             DWORD type = REG_SZ) {
    EXPECT_EQ(
        RegSetValueExA(Create(sub), name, 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                       static_cast<DWORD>(bytes.size())),
        ERROR_SUCCESS);
  }
  void WriteText(const std::string& sub, const char* name, const std::string& text) {
    Write(sub, name, std::string_view(text.c_str(), text.size() + 1));
  }
  void WriteShellFolder(const char* root, const char* name, const std::string& path) {
    WriteText(std::string(root) +
                  "\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\"
                  "Shell Folders",
              name, path);
  }

 private:
  std::string key_ = std::string(kTestsKey) + "\\" + std::to_string(GetCurrentProcessId());
  std::vector<HKEY> handles_;
};

TEST_F(RegistryTest, ValuesAreReadAsStored) {
  WriteText("", "Folder", "C:\\Daten\\Kalender");
  Write("", "Empty", "");
  WriteText("", "Nul", "");
  Write("", "Expand", std::string_view("%TEMP%\\y", 9), REG_EXPAND_SZ);
  Write("", "Binary", "abc", REG_BINARY);
  Write("Schl\374ssel", "Gr\374\337e", std::string_view("\x80 f\xFCr \xC4rger\0", 12));
  const std::tuple<std::string, const char*, const char*> reads[] = {
      {Key(), "Folder", "C:\\Daten\\Kalender"},
      {Key() + "\\", "Folder", "C:\\Daten\\Kalender"},  // a trailing backslash
      {Key(), "FOLDER", "C:\\Daten\\Kalender"},         // value names ignore case
      {Key(), "Empty", ""},                             // size 0: empty, not the default
      {Key(), "Nul", ""},
      {Key(), "Missing", "dflt"},
      {Key("Missing"), "Empty", "dflt"},
      {Key(), "Expand", "%TEMP%\\y"},               // the type is not checked, and the
      {Key(), "Binary", "ab"},                      // last byte is taken for the terminator
      {Key("Schlüssel"), "Grüße", "€ für Ärger"}};  // Windows-1252 on the system side
  for (const auto& [key, name, expected] : reads) {
    EXPECT_EQ(GetRegString(key, name, "dflt", RegistryRoot::kCurrentUser), expected) << name;
  }
  // The key exists for the current user only; the machine root is the system's own.
  EXPECT_EQ(GetRegString(Key(), "Nul", "dflt", RegistryRoot::kLocalMachine), "dflt");
  EXPECT_EQ(GetRegString("SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment", "OS",
                         "", RegistryRoot::kLocalMachine),
            "Windows_NT");
}

TEST_F(RegistryTest, AFailingShellFallsBackToTheShellFoldersValues) {
  WriteShellFolder("user", "AppData", "C:\\Users\\Anna\\AppData\\Roaming\\");
  WriteShellFolder("user", "Personal", "\"C:\\Users\\Anna\\Dokumente\"");
  WriteShellFolder("user", "Fonts", "\"C:\\Windows\\Fonts");
  WriteShellFolder("user", "Startup", "C:\\Start\"");
  WriteShellFolder("user", "Desktop", "C:\\Users\\Anna\\Desktop");
  WriteShellFolder("user", "Start Menu", "C:\\Users\\Anna\\Startmen\xFC");
  WriteShellFolder("machine", "Common Programs", "C:\\ProgramData\\Programme");
  WriteShellFolder("machine", "Common Start Menu", "");
  // Both keys are opened before the current user's root is redirected.
  HKEY user = Create("user"), machine = Create("machine");
  ASSERT_EQ(RegOverridePredefKey(HKEY_CURRENT_USER, user), ERROR_SUCCESS);
  ASSERT_EQ(RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine), ERROR_SUCCESS);
  SetShellFolderHook([](int32_t) { return std::nullopt; });
  // No separator is added or removed and surrounding quotes are dropped;
  // common folders come from the machine, else (missing or empty) from the
  // user; missing values and folders without a value give the default.
  const std::pair<int32_t, const char*> folders[] = {
      {kCsidlAppData, "C:\\Users\\Anna\\AppData\\Roaming\\"},
      {5, "C:\\Users\\Anna\\Dokumente"},
      {20, "C:\\Windows\\Fonts"},
      {7, "C:\\Start"},
      {25, "C:\\Users\\Anna\\Desktop"},  // "Common Desktop" is missing
      {23, "C:\\ProgramData\\Programme"},
      {22, "C:\\Users\\Anna\\Startmenü"},
      {2, "dflt"},
      {28, "dflt"}};
  for (const auto& [folder, expected] : folders)
    EXPECT_EQ(GetSpecialFolder(0, folder, "dflt"), expected) << folder;
  // An answering shell is not second-guessed.
  SetShellFolderHook([](int32_t) -> std::optional<std::string> { return "\"C:\\Shell\"\""; });
  EXPECT_EQ(GetSpecialFolder(0, kCsidlAppData, "dflt"), "C:\\Shell\"");
  SetShellFolderHook([](int32_t) -> std::optional<std::string> { return ""; });
  EXPECT_EQ(GetSpecialFolder(0, kCsidlAppData, "dflt"), "");
}

// With the real shell, the data folder lies below the user's application-data
// folder, and its missing levels are created one after the other.
TEST(Startup, TheDataFolderIsCreatedLevelByLevelBelowTheRealApplicationData) {
  const std::string app_data = GetSpecialFolder(0, kCsidlAppData, "");
  ASSERT_FALSE(app_data.empty());
  std::vector<std::string> levels = {Join(app_data, "Ornavel")}, missing;
  levels.push_back(Join(levels.back(), "Calendar"));
  levels.push_back(Join(levels.back(), "files"));
  std::copy_if(levels.begin(), levels.end(), std::back_inserter(missing),
               [](const std::string& level) { return !PathExists(level); });

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
  EXPECT_EQ(logged.CreatedFolders(), missing);
  EXPECT_TRUE(messages.messages.empty());

  calendar.reset();
  core::ResetStartupForTesting();
  // Everything below the first level that was missing is this test's own.
  if (!missing.empty()) testing::RemoveAll(missing.front());
}

TEST(Host, AnswersOfTheSystem) {
  EXPECT_EQ(GetACP(), 1252u);
  const char* user = std::getenv("USERNAME");
  ASSERT_NE(user, nullptr);
  EXPECT_EQ(GetLoginName(), user);  // the whole user name
  const std::string folder = LibraryFolder();
  ASSERT_GE(folder.size(), 3u);
  EXPECT_EQ(folder.back(), '\\');
  EXPECT_TRUE(PathExists(folder + "platform_tests.exe"));
  // Data paths are trimmed and lower-cased.
  EXPECT_EQ(NormalizeDataPath("  C:\\Users\\ÄNNA ŠŒŽŸ\\Files  "), "c:\\users\\änna šœžÿ\\files");
  EXPECT_EQ(NormalizeDataPath("   "), "");
  // Listing follows the system's wildcard rules; names differing in case are one file.
  testing::TempDir dir;
  for (const char* name : {"200805.XMF", "200806.xmf", "200807.xmf.1", "tasks.xtf"})
    testing::WriteBytes(Join(dir.path(), name), "");
  std::vector<std::string> names;
  ASSERT_TRUE(OsFileSystem().List(dir.path(), ".xmf", &names).ok());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"200805.XMF", "200806.xmf"}));
  EXPECT_TRUE(OsFileSystem().Exists(Join(dir.path(), "200805.xmf")));
}

}  // namespace
}  // namespace orncal::platform
