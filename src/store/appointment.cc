// The bare Appointment: plain fields and no behaviour.
#include "orncalendar/appointment.h"

#include "orncalendar/platform.h"

namespace orncal {
namespace {

const std::string& NoText() {
  static const std::string empty;
  return empty;
}

void Unexpected() { ShowMessage("UNEXPECTED"); }

class BareAppointment final : public Appointment {
 public:
  int32_t ID() const override { return id_; }
  void SetID(int32_t value) override { id_ = value; }
  int32_t File() const override { return file_; }
  void SetFile(int32_t value) override { file_ = value; }
  int32_t OutsideID() const override { return outside_id_; }
  void SetOutsideID(int32_t value) override { outside_id_ = value; }
  int32_t OutsideFile() const override { return outside_file_; }
  void SetOutsideFile(int32_t value) override { outside_file_ = value; }
  const std::string& Title() const override { return title_; }
  void SetTitle(std::string value) override { title_ = std::move(value); }
  const std::string& Notes() const override { return notes_; }
  void SetNotes(std::string value) override { notes_ = std::move(value); }
  bool AllDay() const override { return all_day_; }
  void SetAllDay(bool value) override { all_day_ = value; }
  bool Remind() const override { return remind_; }
  void SetRemind(bool value) override { remind_ = value; }
  int32_t RemindAt() const override { return remind_at_; }
  void SetRemindAt(int32_t value) override { remind_at_ = value; }
  bool Changed() const override { return changed_; }
  void SetChanged(bool value) override { changed_ = value; }
  const std::string& Category() const override { return category_; }
  void SetCategory(std::string value) override { category_ = std::move(value); }
  const std::string& Project() const override { return project_; }
  void SetProject(std::string value) override { project_ = std::move(value); }
  int32_t Flags() const override { return flags_; }
  void SetFlags(int32_t value) override { flags_ = value; }
  DateTimePtr DateTime() const override { return date_time_; }
  void SetDateTime(DateTimePtr value) override { date_time_ = std::move(value); }

  DateTimePtr PartDateTime() override {
    Unexpected();
    return nullptr;
  }
  void SetPartDateTime(DateTimePtr) override { Unexpected(); }
  int16_t AppointmentType() override {
    Unexpected();
    return 0;
  }
  int32_t Color() override {
    Unexpected();
    return 0;
  }
  AppointmentPtr Target() override {
    Unexpected();
    return nullptr;
  }
  void BeforeDateTimeChange() override { Unexpected(); }
  void AfterDateTimeChange() override { Unexpected(); }
  void Remove() override { Unexpected(); }
  void NotifyChange() override { Unexpected(); }
  bool Exists() override {
    Unexpected();
    return false;
  }

  int32_t TagsCount() override { return 0; }
  const std::string& TagName(int32_t) const override { return NoText(); }
  void SetTagName(int32_t, std::string) override {}
  const std::string& TagType(int32_t) const override { return NoText(); }
  void SetTagType(int32_t, std::string) override {}
  const std::string& TagData(int32_t) const override { return NoText(); }
  void SetTagData(int32_t, std::string) override {}
  void AddTag(std::string, std::string, std::string) override {}
  void RemoveTag(int32_t) override {}
  AppointmentPtr Series() override { return nullptr; }

 private:
  int32_t id_ = 0;
  int32_t file_ = 0;
  int32_t outside_id_ = 0;
  int32_t outside_file_ = 0;
  std::string title_;
  std::string notes_;
  bool all_day_ = false;
  bool remind_ = false;
  int32_t remind_at_ = 0;
  bool changed_ = false;
  std::string category_;
  std::string project_;
  int32_t flags_ = 0;
  DateTimePtr date_time_;
};

}  // namespace

AppointmentPtr Appointment::New() { return std::make_shared<BareAppointment>(); }

}  // namespace orncal
