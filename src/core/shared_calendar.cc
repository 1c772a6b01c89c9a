#include "core/shared_calendar.h"

#include <cmath>

#include "core/notifier_link.h"
#include "orncalendar/calendar.h"
#include "orncalendar/platform.h"
#include "platform/file_system.h"
#include "platform/system.h"

namespace orncal::core {
namespace {

struct ModuleState {
  CalendarPtr shared;
  std::string data_folder;
  std::string app_folder;
  int32_t instance_id = 0;
  bool started = false;
};

ModuleState& Module() {
  static ModuleState state;
  return state;
}

std::string WithSeparator(std::string path) {
  if (path.empty() || path.back() != platform::kPathSeparator) path += platform::kPathSeparator;
  return path;
}

// The data folder: the user's application-data folder + Ornavel/Calendar/files,
// or, when there is none, a per-user folder beneath bin/ next to the library.
std::string ResolveDataFolder(const std::string& app_folder) {
  const char sep = platform::kPathSeparator;
  std::string app_data = platform::GetSpecialFolder(0, platform::kCsidlAppData, "");
  if (!app_data.empty()) {
    return WithSeparator(app_data) + "Ornavel" + sep + "Calendar" + sep + "files";
  }
  return app_folder + "bin" + sep + platform::GetLoginName() + sep + "data" + sep + "files";
}

}  // namespace

CalendarPtr SharedCalendar() { return Module().shared; }

bool IsShared(const Calendar* calendar) {
  return calendar != nullptr && calendar == Module().shared.get();
}

const std::string& DataFolder() { return Module().data_folder; }
const std::string& AppFolder() { return Module().app_folder; }
int32_t InstanceID() { return Module().instance_id; }
void SetInstanceID(int32_t id) { Module().instance_id = id; }

void StartupCalendar() {
  ModuleState& m = Module();
  if (m.started) return;
  m.app_folder = WithSeparator(platform::LibraryFolder());
  m.data_folder = ResolveDataFolder(m.app_folder);
  CreatePathFolders(m.data_folder);
  // The instance number is fixed before the calendar registers with the
  // notifier, so that the registration carries it too.
  m.instance_id = static_cast<int32_t>(std::lround(CurrentClock().Timer() * 1000.0));
  m.shared = Calendar::New();
  m.shared->InitCalendar(m.data_folder);
  m.started = true;
}

void CreatePathFolders(std::string_view path) {
  const char sep = platform::kPathSeparator;
  size_t start = 0;
  size_t next = path.find(sep);
  std::string running(path.substr(0, next));
  while (next != std::string_view::npos) {
    start = next + 1;
    next = path.find(sep, start);
    std::string_view piece =
        path.substr(start, next == std::string_view::npos ? next : next - start);
    running += sep;
    running += piece;
    if (piece.empty()) continue;
    if (!FileExists(running)) platform::Fs().CreateFolder(running);  // errors ignored
  }
}

bool FileExists(const std::string& path) { return platform::Fs().Exists(path); }

void ResetStartupForTesting() {
  Module() = ModuleState{};
  NotifierLink::Process().Reset();
}

void CalendarRef::SetOwner(const CalendarPtr& calendar) {
  if (IsShared(calendar.get())) return Clear();
  CalendarPtr current = Get();
  ref_ = current;
  held_ = current != nullptr && !IsShared(current.get());
}

void CalendarRef::Set(const CalendarPtr& calendar) {
  if (!calendar || IsShared(calendar.get())) return Clear();
  ref_ = calendar;
  held_ = true;
}

void CalendarRef::Clear() {
  ref_.reset();
  held_ = false;
}

CalendarPtr CalendarRef::Get() const { return held_ ? ref_.lock() : SharedCalendar(); }

}  // namespace orncal::core
