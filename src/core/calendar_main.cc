#include "core/shared_calendar.h"
#include "orncalendar/calendar.h"

namespace orncal {

CalendarMain::CalendarMain() { core::StartupCalendar(); }

CalendarPtr CalendarMain::Calendar() const { return core::SharedCalendar(); }

CalendarPtr CalendarMain::Calend() const { return core::SharedCalendar(); }

}  // namespace orncal
