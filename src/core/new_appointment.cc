// Making a new appointment: Calendar::Appointment and its forward on
// CalendarMain.
#include "core/shared_calendar.h"
#include "orncalendar/appointment.h"
#include "orncalendar/calendar.h"
#include "orncalendar/date_time.h"

namespace orncal {

AppointmentPtr Calendar::Appointment(const NewAppointmentOptions& options) {
  AppointmentRealPtr appointment = AppointmentReal::New();
  DateTimeNormalPtr period = DateTimeNormal::New();
  appointment->SetDateTime(period);
  appointment->SetOwnerCalendar(shared_from_this());
  // A date of 0 counts as not given.
  if (options.StartDateTime != 0) period->SetStartDateTime(options.StartDateTime);
  if (options.EndDateTime != 0) {
    period->SetEndDateTime(options.AllDay ? options.EndDateTime + 1 : options.EndDateTime);
  } else if (options.StartDateTime != 0) {
    period->SetEndDateTime(options.StartDateTime);
  }
  appointment->SetAllDay(options.AllDay);
  if (options.SaveNow && options.StartDateTime != 0) appointment->AfterDateTimeChange();
  return appointment;
}

AppointmentPtr CalendarMain::Appointment(const NewAppointmentOptions& options) const {
  CalendarPtr calendar = core::SharedCalendar();
  if (!calendar) throw Error(ErrorNumber::kObjectNotSet);
  return calendar->Appointment(options);
}

}  // namespace orncal
