#include "orncalendar/appointment.h"
#include "orncalendar/error.h"

namespace orncal {

AppointmentLinkPtr AppointmentLink::New() { return std::make_shared<AppointmentLink>(Key{}); }

Appointment& AppointmentLink::Destination() const {
  if (!destination_) throw Error(ErrorNumber::kObjectNotSet);
  return *destination_;
}

void AppointmentLink::SetPartPeriod(DateTimePtr period) {
  is_part_ = period != nullptr;
  part_period_ = std::move(period);
}

int32_t AppointmentLink::ID() const { return destination_ ? destination_->ID() : destination_id_; }
void AppointmentLink::SetID(int32_t value) { Destination().SetID(value); }
int32_t AppointmentLink::File() const {
  return destination_ ? destination_->File() : destination_file_;
}
void AppointmentLink::SetFile(int32_t value) { Destination().SetFile(value); }

const std::string& AppointmentLink::Title() const { return Destination().Title(); }
void AppointmentLink::SetTitle(std::string value) { Destination().SetTitle(std::move(value)); }
const std::string& AppointmentLink::Notes() const { return Destination().Notes(); }
void AppointmentLink::SetNotes(std::string value) { Destination().SetNotes(std::move(value)); }
bool AppointmentLink::AllDay() const { return Destination().AllDay(); }
void AppointmentLink::SetAllDay(bool value) { Destination().SetAllDay(value); }
bool AppointmentLink::Remind() const { return Destination().Remind(); }
void AppointmentLink::SetRemind(bool value) { Destination().SetRemind(value); }
int32_t AppointmentLink::RemindAt() const { return Destination().RemindAt(); }
void AppointmentLink::SetRemindAt(int32_t value) { Destination().SetRemindAt(value); }
bool AppointmentLink::Changed() const { return Destination().Changed(); }
void AppointmentLink::SetChanged(bool value) { Destination().SetChanged(value); }
const std::string& AppointmentLink::Category() const { return Destination().Category(); }
void AppointmentLink::SetCategory(std::string value) {
  Destination().SetCategory(std::move(value));
}
const std::string& AppointmentLink::Project() const { return Destination().Project(); }
void AppointmentLink::SetProject(std::string value) { Destination().SetProject(std::move(value)); }
int32_t AppointmentLink::Flags() const { return Destination().Flags(); }
void AppointmentLink::SetFlags(int32_t value) { Destination().SetFlags(value); }

DateTimePtr AppointmentLink::DateTime() const {
  return is_part_ ? part_period_ : Destination().DateTime();
}
void AppointmentLink::SetDateTime(DateTimePtr value) {
  Destination().SetDateTime(std::move(value));
}
void AppointmentLink::SetPartDateTime(DateTimePtr value) {
  if (is_part_) {
    part_period_ = std::move(value);
  } else {
    Destination().SetDateTime(std::move(value));
  }
}

int32_t AppointmentLink::Color() { return Destination().Color(); }
void AppointmentLink::BeforeDateTimeChange() { Destination().BeforeDateTimeChange(); }
void AppointmentLink::AfterDateTimeChange() { Destination().AfterDateTimeChange(); }
void AppointmentLink::Remove() { Destination().Remove(); }
void AppointmentLink::NotifyChange() { Destination().NotifyChange(); }
bool AppointmentLink::Exists() { return destination_ && destination_->Exists(); }

int32_t AppointmentLink::TagsCount() { return Destination().TagsCount(); }
const std::string& AppointmentLink::TagName(int32_t Index) const {
  return Destination().TagName(Index);
}
void AppointmentLink::SetTagName(int32_t Index, std::string value) {
  Destination().SetTagName(Index, std::move(value));
}
const std::string& AppointmentLink::TagType(int32_t Index) const {
  return Destination().TagType(Index);
}
void AppointmentLink::SetTagType(int32_t Index, std::string value) {
  Destination().SetTagType(Index, std::move(value));
}
const std::string& AppointmentLink::TagData(int32_t Index) const {
  return Destination().TagData(Index);
}
void AppointmentLink::SetTagData(int32_t Index, std::string value) {
  Destination().SetTagData(Index, std::move(value));
}
void AppointmentLink::AddTag(std::string name, std::string type, std::string data) {
  Destination().AddTag(std::move(name), std::move(type), std::move(data));
}
void AppointmentLink::RemoveTag(int32_t Index) { Destination().RemoveTag(Index); }

}  // namespace orncal
