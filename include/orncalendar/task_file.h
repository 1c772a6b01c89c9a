// Reading the bytes of a task file (tasks.xtf) without a calendar, for
// tools that inspect the data folder.
//
//   file    = Long version, record*, Long 0 (end mark)
//   record  = Long ID (not 0), Text Title, Text Notes, Text Project,
//             Date Start, Date PlannedEnd,
//             [>= 10001] Long ReminderFile, Long ReminderID
//
// Fields are little-endian without padding; a Text is a Long count and that
// many bytes of Windows-1252 (nothing when the count is 0 or less); a Date
// is an 8-byte IEEE double, an OLE date.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "orncalendar/fwd.h"

namespace orncal {

// The version the library writes.
inline constexpr int32_t kTaskFileVersion = 10001;

// One task as the file stores it. Texts are UTF-8.
struct TaskFileRecord {
  int32_t ID = 0;
  std::string Title;
  std::string Notes;
  std::string Project;
  Date Start = 0;
  Date PlannedEnd = 0;
  // The FileLong and number of the reminder appointment; 0 and 0 for none
  // (and in files before version 10001, which do not store them).
  int32_t ReminderFile = 0;
  int32_t ReminderID = 0;
};

struct TaskFileContents {
  // The version field as stored (any value is read; below 10001 the records
  // have no reminder fields).
  int32_t Version = 0;
  std::vector<TaskFileRecord> Tasks;
  // False when the bytes are malformed; Tasks then holds what was read
  // before the fault and Problem says what and where it was.
  bool Complete = true;
  std::string Problem;
  // Whether the data ended with the end mark, and how many bytes follow it
  // (they are not read).
  bool EndMark = false;
  size_t TrailingBytes = 0;
};

// Decodes the bytes of a task file. The end of the data counts as the end
// mark when it comes where a record would begin. Never raises for any bytes
// given; nothing is allocated beyond what the bytes can hold.
TaskFileContents DecodeTaskFile(std::string_view bytes);

}  // namespace orncal
