// An extra reminder: remind of an appointment once more at a moment of the
// client's choosing. The calendar keeps them in its SpecialRemindTimes.
#pragma once

#include <memory>

#include "orncalendar/fwd.h"

namespace orncal {

class SpecialRemindTime {
  struct Key {
    explicit Key() = default;
  };

 public:
  explicit SpecialRemindTime(Key) {}
  static SpecialRemindTimePtr New(Date remindAt = 0, AppointmentPtr appointment = nullptr) {
    auto record = std::make_shared<SpecialRemindTime>(Key{});
    record->remind_at_ = remindAt;
    record->appointment_ = std::move(appointment);
    return record;
  }

  Date RemindAt() const { return remind_at_; }
  void SetRemindAt(Date value) { remind_at_ = value; }
  AppointmentPtr Appointment() const { return appointment_; }
  void SetAppointment(AppointmentPtr value) { appointment_ = std::move(value); }

 private:
  Date remind_at_ = 0;
  AppointmentPtr appointment_;
};

}  // namespace orncal
