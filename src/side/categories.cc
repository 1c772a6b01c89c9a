#include "orncalendar/categories.h"

#include "core/calendar_state.h"
#include "core/shared_calendar.h"
#include "datetime/helpers.h"
#include "orncalendar/appointment.h"
#include "orncalendar/appointments.h"
#include "orncalendar/calendar.h"
#include "orncalendar/error.h"
#include "orncalendar/file.h"
#include "platform/system.h"
#include "side/text_file.h"

namespace orncal {
namespace {

// Names compare blind to the case of the Windows-1252 letters.
std::string Fold(std::string_view name) { return LowerCase(name); }

std::string IniPath(const std::string& folder) {
  return folder + platform::kPathSeparator + "categor.ini";
}

}  // namespace

Categories::Categories(Key) {}

Categories::~Categories() = default;

CategoriesPtr Categories::New() { return std::make_shared<Categories>(Key{}); }

CalendarPtr Categories::Calendar() const {
  return calendar_ ? calendar_->Get() : core::SharedCalendar();
}

void Categories::SetCalendar(const CalendarPtr& calendar) {
  if (!calendar || core::IsShared(calendar.get())) {
    calendar_.reset();
    return;
  }
  if (!calendar_) calendar_ = std::make_unique<core::CalendarRef>();
  calendar_->Set(calendar);
}

ptrdiff_t Categories::Find(std::string_view name) const {
  auto it = index_.find(Fold(name));
  return it == index_.end() ? -1 : static_cast<ptrdiff_t>(it->second);
}

void Categories::Insert(std::string name, std::optional<int32_t> color) {
  auto [it, inserted] = index_.try_emplace(Fold(name), entries_.size());
  if (!inserted) throw Error(ErrorNumber::kDuplicateKey);
  entries_.push_back(Entry{std::move(name), color});
}

bool Categories::CategoryExists(std::string_view Category) const { return Find(Category) >= 0; }

std::optional<int32_t> Categories::KnownColor(std::string_view Category) const {
  const ptrdiff_t at = Find(Category);
  if (at < 0) return std::nullopt;
  return entries_[static_cast<size_t>(at)].color.value_or(0);
}

int32_t Categories::Color(std::string_view Category) {
  const ptrdiff_t at = Find(Category);
  if (at < 0) {
    // As a dictionary does on reading a missing key: the name goes in
    // without a value.
    Insert(std::string(Category), std::nullopt);
    return 0;
  }
  return entries_[static_cast<size_t>(at)].color.value_or(0);
}

void Categories::SetColor(std::string_view Category, int32_t value) {
  const ptrdiff_t at = Find(Category);
  if (at < 0) {
    Insert(std::string(Category), value);
  } else {
    entries_[static_cast<size_t>(at)].color = value;
  }
  UpdateAppointmentColors(LowerCase(TrimSpaces(Category)), value);
  changed_ = true;
}

void Categories::Add(std::string_view Category, const AddCategoryOptions& options) {
  Insert(std::string(Category), options.Color);
  changed_ = true;
}

void Categories::Remove(std::string_view Category) {
  const ptrdiff_t at = Find(Category);
  if (at < 0) throw Error(ErrorNumber::kInvalidProcedureCall);
  entries_.erase(entries_.begin() + at);
  index_.clear();
  for (size_t i = 0; i < entries_.size(); ++i)
    index_.emplace(Fold(entries_[i].name), i);
  changed_ = true;
}

std::vector<std::string> Categories::Names() const {
  std::vector<std::string> names;
  names.reserve(entries_.size());
  for (const Entry& entry : entries_)
    names.push_back(entry.name);
  return names;
}

void Categories::Save() {
  SaveIfChanged();
  try {
    CalendarPtr calendar = Calendar();
    if (!calendar) return;
    calendar->Internal().Notifier().NotifyCategoriesChanged(core::InstanceID(), calendar->Path());
  } catch (const std::exception&) {
    // The categories fail quietly, their notice included.
  }
}

void Categories::Load() {
  entries_.clear();
  index_.clear();
  load_failed_ = false;
  std::vector<std::string> lines;
  if (!side::ReadTextLines(IniPath(path_), &lines)) return;
  for (const std::string& line : lines) {
    if (TrimSpaces(line).empty()) continue;
    // The colour comes first: the name is all after the first "=", so it
    // may hold "=" itself.
    std::string name;
    const std::string color = SplitFirst(line, '=', &name);
    const std::optional<int32_t> value = side::ParseLong(color);
    if (!value || CategoryExists(name)) {
      // The reading ends here; the lines after it stay in the old file,
      // which the next save keeps as the backup.
      load_failed_ = true;
      return;
    }
    Insert(std::move(name), *value);
  }
  changed_ = false;
}

void Categories::SaveIfChanged() {
  if (!changed_) return;
  std::vector<std::string> lines;
  lines.reserve(entries_.size());
  for (const Entry& entry : entries_) {
    // A name that only a read of a missing name put in has no colour to
    // write ("=name" would end the next reading); it is left out.
    if (entry.color) lines.push_back(std::to_string(*entry.color) + "=" + entry.name);
  }
  if (!side::WriteTextLines(IniPath(path_), lines, load_failed_)) return;  // quietly
  load_failed_ = false;
  changed_ = false;
}

void Categories::UpdateAppointmentColors(std::string_view category, int32_t color) {
  CalendarPtr calendar = Calendar();
  if (!calendar) return;
  // Only the months loaded: the others take the colour from here when they
  // are read.
  for (const FilePtr& file : *calendar->Files()) {
    const AppointmentsPtr list = file ? file->Appointments() : nullptr;
    if (!list) continue;
    for (const AppointmentPtr& entry : *list) {
      if (entry->AppointmentType() != 1) continue;
      if (LowerCase(TrimSpaces(entry->Category())) != category) continue;
      if (auto* real = dynamic_cast<AppointmentReal*>(entry.get())) real->SetColor(color);
    }
  }
}

}  // namespace orncal
