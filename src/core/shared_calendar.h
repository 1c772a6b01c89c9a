// Process-wide state of the calendar: the one shared Calendar, the data
// folder it was started on, the library's folder and this process's
// InstanceID; and the start-up that fills them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "orncalendar/fwd.h"

namespace orncal::core {

// The shared Calendar, or nullptr before start-up.
CalendarPtr SharedCalendar();
bool IsShared(const Calendar* calendar);

const std::string& DataFolder();
const std::string& AppFolder();
// Milliseconds since midnight at start-up; names this process to the notifier.
int32_t InstanceID();
// The number the notifier handed out instead, when another process had
// started in the same millisecond.
void SetInstanceID(int32_t id);

// Runs the one-time start-up; later calls do nothing.
void StartupCalendar();

// Creates every missing folder of a path below its first component. Errors
// are ignored: a folder that cannot be created is left out.
void CreatePathFolders(std::string_view path);

// True for an existing file or folder.
bool FileExists(const std::string& path);

// Forgets the shared calendar and the start-up, so that the next CalendarMain
// starts afresh (for tests that need a new data folder).
void ResetStartupForTesting();

// A back reference to a calendar that never keeps the calendar alive. Empty
// means the shared calendar.
class CalendarRef {
 public:
  // The setter of File.Calendar and of an appointment's owner: the shared
  // calendar clears the reference; any other calendar stores what the getter
  // answers at this moment, so a reference that is empty stays with the
  // shared calendar.
  void SetOwner(const CalendarPtr& calendar);
  // The setter of tasks, categories and the notificator: empty for the shared
  // calendar, else the calendar given.
  void Set(const CalendarPtr& calendar);
  void Clear();
  // The calendar referred to; nullptr when it is gone.
  CalendarPtr Get() const;

 private:
  std::weak_ptr<Calendar> ref_;
  bool held_ = false;
};

}  // namespace orncal::core
