#include <limits>

#include "core/calendar_state.h"
#include "core/category_lookup.h"
#include "core/shared_calendar.h"
#include "orncalendar/appointment.h"
#include "orncalendar/calendar.h"
#include "orncalendar/date_time.h"
#include "orncalendar/date_time_serial.h"
#include "orncalendar/error.h"
#include "orncalendar/file.h"
#include "orncalendar/notificator.h"
#include "orncalendar/remind_times.h"

namespace orncal {
namespace {

// Entry `index` of a tag array; error 9 outside its bounds.
template <class Vector>
auto& TagEntry(Vector& entries, int32_t index) {
  if (index < 0 || static_cast<size_t>(index) >= entries.size()) {
    throw Error(ErrorNumber::kSubscriptOutOfRange);
  }
  return entries[static_cast<size_t>(index)];
}

// The calendar an operation works on; error 91 when there is none.
CalendarPtr Require(CalendarPtr calendar) {
  if (!calendar) throw Error(ErrorNumber::kObjectNotSet);
  return calendar;
}

// Tells the clients of every process that the calendar's data changed.
void RaiseChange(Calendar& calendar) {
  if (NotificatorPtr events = calendar.Notificator()) events->RaiseChange({.AllInstances = true});
}

}  // namespace

AppointmentReal::AppointmentReal(Key) {}

AppointmentReal::~AppointmentReal() = default;

AppointmentRealPtr AppointmentReal::New() { return std::make_shared<AppointmentReal>(Key{}); }

void AppointmentReal::SetCategory(std::string value) {
  category_ = std::move(value);
  color_cache_ = -2;
}

int32_t AppointmentReal::Color() {
  if (color_cache_ != -2) return color_cache_;
  if (category_.empty()) {
    color_cache_ = -1;
  } else {
    CalendarPtr calendar = Require(OwnerCalendar());
    color_cache_ = core::CategoryColor(*calendar, category_).value_or(-1);
  }
  return color_cache_;
}

CalendarPtr AppointmentReal::OwnerCalendar() const {
  return owner_ ? owner_->Get() : core::SharedCalendar();
}

void AppointmentReal::SetOwnerCalendar(const CalendarPtr& calendar) {
  if (!owner_) {
    if (core::IsShared(calendar.get())) return;  // an empty reference already means it
    owner_ = std::make_unique<core::CalendarRef>();
  }
  owner_->SetOwner(calendar);
}

// ---------------------------------------------------------------- filing

void AppointmentReal::BeforeDateTimeChange() {
  if (id_ == 0) return;
  Require(OwnerCalendar())->DetachAppointment(shared_from_this(), false);
}

void AppointmentReal::AfterDateTimeChange() {
  changed_ = true;
  AppointmentPtr stored = shared_from_this();
  CalendarPtr calendar = Require(OwnerCalendar());
  calendar->AttachAppointment(stored, false);
  RaiseChange(*calendar);
}

void AppointmentReal::Remove() {
  BeforeDateTimeChange();
  CalendarPtr calendar = Require(OwnerCalendar());
  RaiseChange(*calendar);
  // Its extra reminders go with it.
  Collection<SpecialRemindTimePtr>& special = *calendar->SpecialRemindTimes();
  for (int32_t i = special.Count(); i >= 1; --i) {
    const SpecialRemindTimePtr& record = special.Item(i);
    if (record && record->Appointment().get() == this) special.Remove(i);
  }
}

void AppointmentReal::NotifyChange() {
  changed_ = true;
  CalendarPtr calendar = Require(OwnerCalendar());
  calendar->Internal().reach.PeriodsChanged();
  calendar->Internal().own_changes.insert(file_);
  calendar->Internal().Notifier().NotifyDoChange(core::InstanceID(), *this, calendar->Path());
  RaiseChange(*calendar);
}

bool AppointmentReal::Exists() {
  if (id_ == 0 || file_ == 0) return false;
  CalendarPtr calendar = OwnerCalendar();
  if (!calendar) return false;
  FilePtr file;
  try {
    file = calendar->GetMonthFile(MonthRef{.Key = std::to_string(file_), .FileLong = file_});
  } catch (const Error&) {
    return false;  // a number that names no month
  }
  return file && file->ItemExists(id_);
}

// ------------------------------------------------------------------ tags

const std::string& AppointmentReal::TagName(int32_t Index) const {
  return TagEntry(tag_names_, Index);
}
void AppointmentReal::SetTagName(int32_t Index, std::string value) {
  TagEntry(tag_names_, Index) = std::move(value);
}
const std::string& AppointmentReal::TagType(int32_t Index) const {
  return TagEntry(tag_types_, Index);
}
void AppointmentReal::SetTagType(int32_t Index, std::string value) {
  TagEntry(tag_types_, Index) = std::move(value);
}
const std::string& AppointmentReal::TagData(int32_t Index) const {
  return TagEntry(tag_data_, Index);
}
void AppointmentReal::SetTagData(int32_t Index, std::string value) {
  TagEntry(tag_data_, Index) = std::move(value);
}

void AppointmentReal::AddTag(std::string name, std::string type, std::string data) {
  if (tag_count_ == std::numeric_limits<int32_t>::max()) throw Error(ErrorNumber::kOverflow);
  ++tag_count_;
  const auto size = static_cast<size_t>(tag_count_) + 1;
  tag_names_.resize(size);
  tag_types_.resize(size);
  tag_data_.resize(size);
  tag_types_.back() = std::move(type);
  tag_names_.back() = std::move(name);
  tag_data_.back() = std::move(data);
}

void AppointmentReal::RemoveTag(int32_t Index) {
  for (int32_t i = Index; i < tag_count_; ++i) {
    TagEntry(tag_names_, i) = std::move(TagEntry(tag_names_, i + 1));
    TagEntry(tag_data_, i) = std::move(TagEntry(tag_data_, i + 1));
    TagEntry(tag_types_, i) = std::move(TagEntry(tag_types_, i + 1));
  }
  // The count drops even when the arrays cannot shrink below entry 0.
  --tag_count_;
  if (tag_count_ < 0) throw Error(ErrorNumber::kSubscriptOutOfRange);
  const auto size = static_cast<size_t>(tag_count_) + 1;
  tag_names_.resize(size);
  tag_types_.resize(size);
  tag_data_.resize(size);
}

int32_t AppointmentReal::GetTags(std::vector<std::string>& Out_a1Name,
                                 std::vector<std::string>& Out_a1Type,
                                 std::vector<std::string>& Out_a1Data) const {
  Out_a1Name = tag_names_;
  Out_a1Type = tag_types_;
  Out_a1Data = tag_data_;
  return tag_count_;
}

void AppointmentReal::SetTags(std::vector<std::string> names, std::vector<std::string> types,
                              std::vector<std::string> data) {
  if (names.empty()) throw Error(ErrorNumber::kSubscriptOutOfRange);
  tag_count_ = static_cast<int32_t>(names.size() - 1);
  tag_names_ = std::move(names);
  tag_types_ = std::move(types);
  tag_data_ = std::move(data);
}

// ------------------------------------------------------------------ copy

void AppointmentReal::CopyFrom(Appointment& source) {
  id_ = source.ID();
  file_ = source.File();
  title_ = source.Title();
  notes_ = source.Notes();
  all_day_ = source.AllDay();
  remind_ = source.Remind();
  remind_at_ = source.RemindAt();
  changed_ = true;
  SetCategory(source.Category());
  flags_ = source.Flags();
  color_cache_ = source.Color();
  auto* real = dynamic_cast<AppointmentReal*>(&source);
  if (!real) throw Error(ErrorNumber::kTypeMismatch);
  tag_count_ = real->GetTags(tag_names_, tag_types_, tag_data_);
  DateTimePtr period = source.DateTime();
  if (!period) throw Error(ErrorNumber::kObjectNotSet);
  if (period->DateTimeType() == 1) {
    DateTimeNormalPtr copy = DateTimeNormal::New();
    copy->CopyFrom(*period);
    date_time_ = std::move(copy);
  } else {
    DateTimeSerialPtr copy = DateTimeSerial::New();
    copy->CopyFrom(*period);
    date_time_ = std::move(copy);
  }
  // Project stays as it was.
}

}  // namespace orncal
