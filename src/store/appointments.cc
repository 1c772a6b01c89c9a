#include "orncalendar/appointments.h"

#include <string>
#include <vector>

#include "orncalendar/appointment.h"
#include "orncalendar/date_time.h"
#include "orncalendar/error.h"

namespace orncal {
namespace {

std::string KeyOf(int32_t id) { return std::to_string(id); }

Appointment& TargetOf(Appointment& entry) {
  AppointmentPtr target = entry.Target();
  if (!target) throw Error(ErrorNumber::kObjectNotSet);
  return *target;
}

Date StartOf(const Appointment& appointment) {
  DateTimePtr period = appointment.DateTime();
  if (!period) throw Error(ErrorNumber::kObjectNotSet);
  return period->StartDateTime();
}

// Whether `a`, standing before `b`, belongs after it: all-day entries come
// first, then the later start goes after the earlier one.
bool After(Appointment& a, Appointment& b) {
  Appointment& ta = TargetOf(a);
  Appointment& tb = TargetOf(b);
  const bool a_all_day = ta.AllDay();
  const bool b_all_day = tb.AllDay();
  if (a_all_day && !b_all_day) return false;
  if (b_all_day && !a_all_day) return true;
  return StartOf(ta) > StartOf(tb);
}

}  // namespace

Appointments::Appointments(Key) : items_(std::make_shared<Items>()) {}

AppointmentsPtr Appointments::New() { return std::make_shared<Appointments>(Key{}); }

void Appointments::AddKeyed(AppointmentPtr appointment) {
  std::string key = KeyOf(appointment->OutsideID());
  items_->Add(std::move(appointment), key);
}

AppointmentPtr Appointments::ItemByID(int32_t ID) const {
  const AppointmentPtr* found = items_->Find(KeyOf(ID));
  return found ? *found : nullptr;
}

bool Appointments::ExistsID(int32_t ID) const { return items_->Exists(KeyOf(ID)); }

void Appointments::RemoveByID(int32_t ID) { items_->Remove(std::string_view(KeyOf(ID))); }

void Appointments::RemoveDoubles() {
  for (int32_t i = 1; i <= Count(); ++i) {
    Appointment& entry = *items_->Item(i);
    if (entry.AppointmentType() != 2) continue;
    const AppointmentPtr destination = entry.Target();
    const int32_t count = Count();
    for (int32_t j = 1; j <= count; ++j) {
      if (j != i && items_->Item(j)->Target() == destination) {
        items_->Remove(i);
        --i;
        break;
      }
    }
  }
}

void Appointments::Sort() {
  const int32_t count = Count();
  if (count < 1) return;
  std::vector<AppointmentPtr> a(items_->begin(), items_->end());
  const size_t highest = a.size() - 1;
  // Shell sort. The gap starts at the first of 1, 4, 13, 40, ... above the
  // highest index and steps down that sequence (h / 3 rounded) to 1. The
  // order it leaves equal entries in is part of the result.
  size_t h = 1;
  while (h <= highest)
    h = 3 * h + 1;
  do {
    h /= 3;  // (3k + 1) / 3 rounds to k; a single entry ends at gap 0, without a pass
    for (size_t i = h; h > 0 && i <= highest; ++i) {
      AppointmentPtr moving = a[i];
      size_t j = i;
      while (j >= h && After(*a[j - h], *moving)) {
        a[j] = std::move(a[j - h]);
        j -= h;
      }
      a[j] = std::move(moving);
    }
  } while (h > 1);
  auto sorted = std::make_shared<Items>();
  for (AppointmentPtr& entry : a)
    sorted->Add(std::move(entry));
  items_ = std::move(sorted);
}

}  // namespace orncal
