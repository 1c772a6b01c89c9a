#include "support/test_env.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "core/shared_calendar.h"
#include "platform/system.h"

namespace orncal::testing {
namespace fs = std::filesystem;
namespace {

// Paths in the tests are UTF-8, like every path of the library; a plain
// narrow path would be read in the system's ANSI code page on Windows.
fs::path PathOf(std::string_view utf8) { return fs::path(std::u8string(utf8.begin(), utf8.end())); }

}  // namespace

std::string Join(std::string_view a, std::string_view b) {
  std::string joined(a);
  if (!joined.empty() && joined.back() != platform::kPathSeparator) {
    joined += platform::kPathSeparator;
  }
  return joined += b;
}

TempDir::TempDir() {
  static std::mt19937_64 random{std::random_device{}()};
  fs::path candidate;
  do {
    candidate = fs::temp_directory_path() / ("orncal-test-" + std::to_string(random()));
  } while (!fs::create_directory(candidate));
  std::u8string text = candidate.u8string();
  path_.assign(text.begin(), text.end());
}

TempDir::~TempDir() { RemoveAll(path_); }

MessageCapture::MessageCapture()
    : before_(SetMessageHandler([this](const Message& m) { messages.push_back(m); })) {}

MessageCapture::~MessageCapture() { SetMessageHandler(std::move(before_)); }

std::vector<std::string> MessageCapture::texts() const {
  std::vector<std::string> out;
  for (const Message& m : messages)
    out.push_back(m.Text);
  return out;
}

std::string ReadBytes(const std::string& path) {
  std::ostringstream out;
  out << std::ifstream(PathOf(path), std::ios::binary).rdbuf();
  return out.str();
}

void WriteBytes(const std::string& path, std::string_view bytes) {
  std::ofstream(PathOf(path), std::ios::binary).write(bytes.data(), std::ssize(bytes));
}

bool PathExists(const std::string& path) {
  std::error_code ec;
  return fs::exists(PathOf(path), ec);
}

void RemoveAll(const std::string& path) {
  std::error_code ec;
  fs::remove_all(PathOf(path), ec);
}

CalendarTest::CalendarTest()
    : clock_(std::make_shared<ManualClock>(DateFromParts(2008, 5, 14) + TimeFromParts(10, 0, 0))),
      clock_before_(SetClock(clock_)) {
  core::ResetStartupForTesting();
  // The calendar of a test works alone.
  UseNotifier(false);
  platform::SetShellFolderHook([dir = app_data_](int32_t folder) -> std::optional<std::string> {
    if (folder == platform::kCsidlAppData) return dir;
    return std::nullopt;
  });
}

CalendarTest::~CalendarTest() {
  SetClock(clock_before_);
  core::ResetStartupForTesting();
  platform::SetShellFolderHook(nullptr);
}

std::string CalendarTest::DataFolder() const {
  return platform::NormalizeDataPath(Join(Join(Join(app_data_, "Ornavel"), "Calendar"), "files"));
}

void CalendarTest::PutDataFile(std::string_view name, std::string_view bytes) {
  fs::create_directories(PathOf(DataFolder()));
  WriteBytes(DataFile(name), bytes);
}

void CalendarTest::ExpectOnlyMessage(const std::string& text) {
  ASSERT_EQ(messages_.texts(), std::vector<std::string>{text});
  EXPECT_EQ(messages_.messages[0].Style, MessageStyle::kCritical);
  messages_.messages.clear();
}

}  // namespace orncal::testing
