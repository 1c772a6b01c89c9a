#include "interop/identity.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>

#include "orncalendar/appointment.h"
#include "orncalendar/calendar.h"
#include "orncalendar/task.h"

namespace orncal::interop {
namespace {

constexpr std::string_view kOwnPrefix = "orncal-";
// The largest interop file read.
constexpr uintmax_t kMaxFileBytes = uintmax_t{256} << 20;

}  // namespace

std::optional<std::string> TagValue(Appointment& appointment, std::string_view name) {
  const int32_t count = appointment.TagsCount();
  for (int32_t i = 1; i <= count; ++i) {
    if (appointment.TagName(i) == name && appointment.TagType(i) == kTagType) {
      return appointment.TagData(i);
    }
  }
  return std::nullopt;
}

void SetTagValue(Appointment& appointment, std::string_view name, const std::string& value) {
  const int32_t count = appointment.TagsCount();
  for (int32_t i = 1; i <= count; ++i) {
    if (appointment.TagName(i) == name && appointment.TagType(i) == kTagType) {
      appointment.SetTagData(i, value);
      return;
    }
  }
  appointment.AddTag(std::string(name), std::string(kTagType), value);
}

std::string FolderFile(const std::string& folder, std::string_view name) {
  std::string path = folder;
  if (!path.empty() && path.back() != '/') path += '/';
  return path.append(name);
}

bool WriteFileAtomically(const std::string& path, std::string_view bytes) {
  const std::string fresh = path + ".new";
  const int fd = ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  bool ok = true;
  for (size_t done = 0; ok && done < bytes.size();) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n <= 0)
      ok = false;
    else
      done += static_cast<size_t>(n);
  }
  ok = ok && ::fsync(fd) == 0;
  ok = ::close(fd) == 0 && ok;
  ok = ok && std::rename(fresh.c_str(), path.c_str()) == 0;
  if (!ok) std::remove(fresh.c_str());
  return ok;
}

std::optional<std::string> ReadWholeFile(const std::string& path) {
  // A pipe or device under the name would block or never end, and the
  // interop's files stay far below the limit.
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error) ||
      std::filesystem::file_size(path, error) > kMaxFileBytes || error) {
    return std::nullopt;
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream text;
  text << in.rdbuf();
  if (in.bad()) return std::nullopt;
  return text.str();
}

std::string Digest(std::string_view text) {
  uint64_t hash = 1469598103934665603ull;
  for (unsigned char c : text) {
    hash ^= c;
    hash *= 1099511628211ull;
  }
  char out[17];
  std::snprintf(out, sizeof out, "%016llx", static_cast<unsigned long long>(hash));
  return out;
}

std::string RandomId() {
  std::random_device device;
  std::uniform_int_distribution<uint64_t> pick;
  char out[17];
  std::snprintf(out, sizeof out, "%016llx", static_cast<unsigned long long>(pick(device)));
  return out;
}

Identity::Identity(Calendar& calendar) : data_folder_(calendar.Path()) {
  // A file that is missing or unreadable starts afresh; its UIDs of open
  // tasks are then made up again from their IDs.
  if (std::optional<std::string> text = ReadWholeFile(FolderFile(data_folder_, "interop.json"))) {
    const nlohmann::json doc = nlohmann::json::parse(*text, nullptr, false);
    if (doc.is_object()) {
      if (doc.contains("folder") && doc["folder"].is_string()) folder_ = doc["folder"];
      if (doc.contains("tasks") && doc["tasks"].is_object()) {
        for (const auto& [id, uid] : doc["tasks"].items()) {
          char* end = nullptr;
          const long value = std::strtol(id.c_str(), &end, 10);
          if (end && *end == '\0' && uid.is_string()) {
            task_uids_[static_cast<int32_t>(value)] = uid.get<std::string>();
          }
        }
      }
    }
  }
  bool usable = folder_.size() == 16;
  for (char c : folder_)
    usable = usable && std::isxdigit(static_cast<unsigned char>(c));
  if (!usable) {
    folder_ = RandomId();
    changed_ = true;
  }
}

std::string Identity::AppointmentUid(Appointment& appointment) {
  if (std::optional<std::string> uid = TagValue(appointment, kUidTag)) return *uid;
  return std::string(kOwnPrefix) + folder_ + "-" + std::to_string(appointment.File()) + "-" +
         std::to_string(appointment.ID());
}

std::string Identity::TaskUid(const Task& task) {
  const auto found = task_uids_.find(task.ID());
  if (found != task_uids_.end()) return found->second;
  return std::string(kOwnPrefix) + folder_ + "-task-" + std::to_string(task.ID());
}

void Identity::SetTaskUid(int32_t taskId, const std::string& uid) {
  std::string& slot = task_uids_[taskId];
  if (slot == uid) return;
  slot = uid;
  changed_ = true;
}

void Identity::ForgetTask(int32_t taskId) { changed_ |= task_uids_.erase(taskId) > 0; }

namespace {

// The numbers after "orncal-<folder>-" in a UID of this data folder.
std::optional<std::string_view> OwnRest(std::string_view uid, const std::string& folder) {
  if (!uid.starts_with(kOwnPrefix)) return std::nullopt;
  uid.remove_prefix(kOwnPrefix.size());
  if (!uid.starts_with(folder) || uid.size() <= folder.size() || uid[folder.size()] != '-') {
    return std::nullopt;
  }
  return uid.substr(folder.size() + 1);
}

std::optional<int32_t> Number(std::string_view text) {
  if (text.empty() || text.size() > 10) return std::nullopt;
  int64_t value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + (c - '0');
  }
  if (value > INT32_MAX) return std::nullopt;
  return static_cast<int32_t>(value);
}

}  // namespace

std::optional<std::pair<int32_t, int32_t>> Identity::OwnAppointment(std::string_view uid) const {
  const std::optional<std::string_view> rest = OwnRest(uid, folder_);
  if (!rest) return std::nullopt;
  const size_t dash = rest->find('-');
  if (dash == std::string_view::npos) return std::nullopt;
  const auto file = Number(rest->substr(0, dash)), id = Number(rest->substr(dash + 1));
  if (!file || !id) return std::nullopt;
  return std::pair{*file, *id};
}

std::optional<int32_t> Identity::OwnTask(std::string_view uid) const {
  for (const auto& [id, known] : task_uids_)
    if (known == uid) return id;
  const std::optional<std::string_view> rest = OwnRest(uid, folder_);
  if (!rest || !rest->starts_with("task-")) return std::nullopt;
  return Number(rest->substr(5));
}

bool Identity::Save() {
  if (!changed_) return true;
  nlohmann::json doc = {{"folder", folder_}, {"tasks", nlohmann::json::object()}};
  for (const auto& [id, uid] : task_uids_)
    doc["tasks"][std::to_string(id)] = uid;
  if (!WriteFileAtomically(FolderFile(data_folder_, "interop.json"), doc.dump(2) + "\n"))
    return false;
  changed_ = false;
  return true;
}

}  // namespace orncal::interop
