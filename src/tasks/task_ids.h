// The numbers of new tasks: drawn at random over the whole range, then
// stepped past the numbers already in use.
#pragma once

#include <cstdint>
#include <functional>

#include "orncalendar/fwd.h"

namespace orncal::tasks {

// Gives a number in [0, 1) for each new ID.
using TaskIdSource = std::function<double()>;

// Installs the source of random numbers for new IDs (tests give a fixed or
// seeded one); an empty one restores the default, a uniform generator
// seeded anew from the clock's timer (seconds since midnight) for every
// draw. Returns the source installed before.
TaskIdSource SetTaskIdSource(TaskIdSource source);

// The largest ID drawn; the step after it wraps to its negative.
inline constexpr int32_t kLargestTaskID = 2147483600;

// A new ID for a task joining `tasks`: a random number in [0, 1) times
// 2147483600, rounded half to even, then raised by 1 (after 2147483600
// comes -2147483600) as long as a task of the list has it. 0 may be drawn.
int32_t DrawTaskID(const Collection<TaskPtr>& tasks);

}  // namespace orncal::tasks
