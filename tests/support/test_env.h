// Shared test scaffolding: temporary folders, captured messages, a fixed
// clock and a fresh calendar on its own data folder.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "orncalendar/orncalendar.h"

namespace orncal::testing {

// The number of the orncal::Error a call raises, or 0 when it raises none.
template <class Call>
int32_t ErrorOf(Call&& call) {
  try {
    call();
  } catch (const Error& e) {
    return e.Number();
  }
  return 0;
}

// Joins path pieces with the platform's separator.
std::string Join(std::string_view a, std::string_view b);

// A new, empty folder that is removed with everything in it.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// Collects the library's messages for the life of the object.
class MessageCapture {
 public:
  MessageCapture();
  ~MessageCapture();
  const std::vector<Message>& messages() const { return messages_; }
  std::vector<std::string> texts() const;
  void clear() { messages_.clear(); }

 private:
  std::vector<Message> messages_;
  MessageHandler before_;
};

// Installs a ManualClock for the life of the object.
class ScopedClock {
 public:
  explicit ScopedClock(Date now);
  ~ScopedClock();
  ManualClock& clock() { return *clock_; }

 private:
  std::shared_ptr<ManualClock> clock_;
  std::shared_ptr<Clock> before_;
};

// Whole-file helpers (binary).
std::string ReadBytes(const std::string& path);
void WriteBytes(const std::string& path, std::string_view bytes);
bool PathExists(const std::string& path);
void MakeFolders(const std::string& path);
void RemoveAll(const std::string& path);

// A test whose process-wide calendar starts on a data folder of its own.
// The application-data folder is <temp>/appdata, so the data folder is
// <temp>/appdata/Ornavel/Calendar/files. Messages are captured and the clock
// stands at 2008-05-14 10:00 unless the test moves it.
class CalendarTest : public ::testing::Test {
 protected:
  CalendarTest();
  ~CalendarTest() override;

  // Starts (or returns) the shared calendar.
  CalendarPtr StartCalendar();
  const std::string& AppDataFolder() const { return app_data_; }
  // The data folder the calendar will use (created by start-up), in the
  // normalised form its Path has (lower-cased where file names ignore case).
  std::string DataFolder() const;
  // Path of a file in the data folder.
  std::string DataFile(std::string_view name) const;

  TempDir temp_;
  MessageCapture messages_;
  ScopedClock clock_;

 private:
  std::string app_data_;
};

}  // namespace orncal::testing
