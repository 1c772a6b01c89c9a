// The enumerations of the object model. They are plain 32-bit enumerations:
// fields typed with them may hold any 32-bit value read from a file.
#pragma once

#include <cstdint>

namespace orncal {

enum calRepetitionModes : int32_t {
  calDaily = 1,
  calWeekly = 2,
  calMonthly = 3,
  calYearly = 4,
  calYearly2 = 5,
  calWeekdayInMonth = 6,
  calWeekdayInYear = 7,
  calWeekdayInYear2 = 8,
};

enum calWeekdays : int32_t {
  calMonday = 1,
  calTuesday = 2,
  calWednesday = 4,
  calThursday = 8,
  calFriday = 16,
  calSaturday = 32,
  calSunday = 64,
  calOnlyAtOne = 128,
};

enum calAppointmentFlags : int32_t {
  calInvisible = 1,
  calNoEdit = 2,
  calNoDTChange = 4,
  calOnlyRemind = 8,
  calTask = 16,
};

}  // namespace orncal
