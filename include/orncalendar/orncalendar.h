// The whole public object model.
#pragma once

#include "orncalendar/appointment.h"
#include "orncalendar/appointments.h"
#include "orncalendar/calendar.h"
#include "orncalendar/collection.h"
#include "orncalendar/date_time.h"
#include "orncalendar/date_time_serial.h"
#include "orncalendar/enums.h"
#include "orncalendar/error.h"
#include "orncalendar/file.h"
#include "orncalendar/fwd.h"
#include "orncalendar/month_file.h"
#include "orncalendar/notificator.h"
#include "orncalendar/ole_date.h"
#include "orncalendar/platform.h"
#include "orncalendar/remind_times.h"
