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

std::string Utf8Of(const fs::path& path) {
  std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

}  // namespace

std::string Join(std::string_view a, std::string_view b) {
  std::string joined(a);
  if (!joined.empty() && joined.back() != platform::kPathSeparator) {
    joined += platform::kPathSeparator;
  }
  joined += b;
  return joined;
}

TempDir::TempDir() {
  static std::mt19937_64 random{std::random_device{}()};
  fs::path base = fs::temp_directory_path();
  for (;;) {
    fs::path candidate = base / ("orncal-test-" + std::to_string(random() % 1000000000000ULL));
    std::error_code ec;
    if (fs::create_directory(candidate, ec)) {
      path_ = Utf8Of(candidate);
      return;
    }
  }
}

TempDir::~TempDir() {
  std::error_code ec;
  // Give back write permission that a test may have taken away.
  for (auto it = fs::recursive_directory_iterator(PathOf(path_), ec); !ec && it != fs::end(it);
       it.increment(ec)) {
    fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ec);
  }
  fs::permissions(PathOf(path_), fs::perms::owner_all, fs::perm_options::add, ec);
  fs::remove_all(PathOf(path_), ec);
}

MessageCapture::MessageCapture()
    : before_(SetMessageHandler([this](const Message& m) { messages_.push_back(m); })) {}

MessageCapture::~MessageCapture() { SetMessageHandler(std::move(before_)); }

std::vector<std::string> MessageCapture::texts() const {
  std::vector<std::string> out;
  for (const Message& m : messages_)
    out.push_back(m.Text);
  return out;
}

ScopedClock::ScopedClock(Date now)
    : clock_(std::make_shared<ManualClock>(now)), before_(SetClock(clock_)) {}

ScopedClock::~ScopedClock() { SetClock(std::move(before_)); }

std::string ReadBytes(const std::string& path) {
  std::ifstream in(PathOf(path), std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void WriteBytes(const std::string& path, std::string_view bytes) {
  std::ofstream out(PathOf(path), std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

bool PathExists(const std::string& path) {
  std::error_code ec;
  return fs::exists(PathOf(path), ec);
}

void MakeFolders(const std::string& path) { fs::create_directories(PathOf(path)); }

void RemoveAll(const std::string& path) {
  std::error_code ec;
  fs::remove_all(PathOf(path), ec);
}

CalendarTest::CalendarTest()
    : clock_(DateFromParts(2008, 5, 14) + TimeFromParts(10, 0, 0)),
      app_data_(Join(temp_.path(), "appdata")) {
  core::ResetStartupForTesting();
  platform::SetShellFolderHook([dir = app_data_](int32_t folder) -> std::optional<std::string> {
    if (folder == platform::kCsidlAppData) return dir;
    return std::nullopt;
  });
}

CalendarTest::~CalendarTest() {
  core::ResetStartupForTesting();
  platform::SetShellFolderHook(nullptr);
}

CalendarPtr CalendarTest::StartCalendar() {
  CalendarMain main;
  return main.Calendar();
}

std::string CalendarTest::DataFolder() const {
  return platform::NormalizeDataPath(Join(Join(Join(app_data_, "Ornavel"), "Calendar"), "files"));
}

std::string CalendarTest::DataFile(std::string_view name) const { return Join(DataFolder(), name); }

}  // namespace orncal::testing
