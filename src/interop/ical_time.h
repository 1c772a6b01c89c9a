// The calendar's wall-clock times as iCalendar times: floating local times,
// or DATE values for all-day items (the calendar keeps no zones).
#pragma once

#include <libical/ical.h>

#include "orncalendar/date_time_serial.h"

namespace orncal::interop {

icaltimetype LocalIcalTime(Date date, bool allDay);

}  // namespace orncal::interop
