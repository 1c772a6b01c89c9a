// Delivery of the other processes' changes to the event sinks of a
// client (see notification_pump.cc).
#pragma once

#include "api/com/com_object.h"

namespace orncal::com {

// Starts handling the other processes' changes on this thread, once per
// process; nothing when the calendar works alone.
void StartNotificationPump();

}  // namespace orncal::com
