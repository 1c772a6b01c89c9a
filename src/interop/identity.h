// What ties the calendar's appointments and tasks to the UIDs of iCalendar
// objects, and the small files the interop keeps in the data folder.
//
// An appointment keeps its UID in a tag ("ICalUID", "Interop", uid) once it
// has one (it was imported, or synchronised): tags travel with the
// appointment in its month file, also when a move gives it a new number.
// Before that its UID is made from the data folder's own random id and the
// appointment's file and number, so exports are stable without writing
// anything. Open tasks carry no tags; their UIDs are kept in interop.json
// beside the data folder's id.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orncalendar/fwd.h"

namespace orncal::interop {

inline constexpr std::string_view kUidTag = "ICalUID";
inline constexpr std::string_view kInstanceTag = "ICalInstance";
inline constexpr std::string_view kTagType = "Interop";

// The value of the first tag (name, kTagType) of an appointment, if any.
std::optional<std::string> TagValue(Appointment& appointment, std::string_view name);
// Sets (or adds) that tag.
void SetTagValue(Appointment& appointment, std::string_view name, const std::string& value);

// The path of a file in a folder.
std::string FolderFile(const std::string& folder, std::string_view name);

// Writes a file whole or not at all: a new file beside it is written and
// synced, then renamed over the old one. False on failure (the old file
// stays as it was).
bool WriteFileAtomically(const std::string& path, std::string_view bytes);
// The whole file; nullopt when it cannot be read or is no regular file of
// at most 256 MiB.
std::optional<std::string> ReadWholeFile(const std::string& path);

class Identity {
 public:
  // Reads (or starts) interop.json in the calendar's data folder.
  explicit Identity(Calendar& calendar);

  // The UID of an appointment (or of a completed task's appointment).
  std::string AppointmentUid(Appointment& appointment);
  // The UID of an open task.
  std::string TaskUid(const Task& task);
  void SetTaskUid(int32_t taskId, const std::string& uid);
  void ForgetTask(int32_t taskId);
  // The appointment a made-up UID of this data folder names, as file and
  // number; nullopt for any other UID.
  std::optional<std::pair<int32_t, int32_t>> OwnAppointment(std::string_view uid) const;
  std::optional<int32_t> OwnTask(std::string_view uid) const;

  // Writes interop.json when something changed. False when it could not
  // be written.
  bool Save();

  const std::string& FolderId() const { return folder_; }
  const std::string& DataFolder() const { return data_folder_; }

 private:
  std::string data_folder_;
  std::string folder_;
  std::map<int32_t, std::string> task_uids_;
  bool changed_ = false;
};

// A 64-bit FNV-1a digest of a text, as 16 hex digits.
std::string Digest(std::string_view text);

// A random id of 16 hex digits.
std::string RandomId();

}  // namespace orncal::interop
