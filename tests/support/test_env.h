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
  std::vector<Message> messages;
  std::vector<std::string> texts() const;

 private:
  MessageHandler before_;
};

// Whole-file helpers (binary).
std::string ReadBytes(const std::string& path);
void WriteBytes(const std::string& path, std::string_view bytes);
bool PathExists(const std::string& path);
void RemoveAll(const std::string& path);

// A test whose process-wide calendar starts on a data folder of its own:
// <temp>/appdata/Ornavel/Calendar/files. Messages are captured and the clock
// stands at 2008-05-14 10:00 unless the test moves it.
class CalendarTest : public ::testing::Test {
 protected:
  CalendarTest();
  ~CalendarTest() override;

  // Starts (or returns) the shared calendar.
  CalendarPtr StartCalendar() { return CalendarMain().Calendar(); }
  // The data folder in the normalised form the calendar's Path has.
  std::string DataFolder() const;
  std::string DataFile(std::string_view name) const { return Join(DataFolder(), name); }
  // Puts a file into the data folder, creating the folder.
  void PutDataFile(std::string_view name, std::string_view bytes);
  // Expects `text` as the one captured message, shown as critical, and
  // forgets it.
  void ExpectOnlyMessage(const std::string& text);

  TempDir temp_;
  const std::string app_data_ = Join(temp_.path(), "appdata");
  MessageCapture messages_;
  std::shared_ptr<ManualClock> clock_;

 private:
  std::shared_ptr<Clock> clock_before_;
};

}  // namespace orncal::testing
