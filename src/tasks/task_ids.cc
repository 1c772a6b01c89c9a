#include "tasks/task_ids.h"

#include <bit>
#include <cmath>
#include <random>
#include <unordered_set>

#include "orncalendar/collection.h"
#include "orncalendar/platform.h"
#include "orncalendar/task.h"

namespace orncal::tasks {
namespace {

TaskIdSource& Installed() {
  static TaskIdSource source;
  return source;
}

// A uniform number in [0, 1) from a generator seeded with the timer.
double FromTimer() {
  std::mt19937_64 generator(std::bit_cast<uint64_t>(CurrentClock().Timer()));
  return static_cast<double>(generator() >> 11) * 0x1.0p-53;
}

}  // namespace

TaskIdSource SetTaskIdSource(TaskIdSource source) {
  TaskIdSource before = std::move(Installed());
  Installed() = std::move(source);
  return before;
}

int32_t DrawTaskID(const Collection<TaskPtr>& tasks) {
  const TaskIdSource& source = Installed();
  double random = source ? source() : FromTimer();
  if (!(random >= 0 && random < 1)) random = 0;  // a source out of range draws the first
  // Round half to even, as the automation runtime rounds.
  int64_t id = std::llrint(random * static_cast<double>(kLargestTaskID));
  const auto step = [](int64_t at) {
    return at + 1 > kLargestTaskID ? -int64_t{kLargestTaskID} : at + 1;
  };
  // Usually the number drawn is free: one look through the list. Only after
  // a collision are the numbers in use gathered for the steps.
  bool taken = false;
  for (const TaskPtr& task : tasks)
    taken = taken || (task && task->ID() == id);
  if (!taken) return static_cast<int32_t>(id);
  std::unordered_set<int32_t> used;
  used.reserve(static_cast<size_t>(tasks.Count()));
  for (const TaskPtr& task : tasks)
    if (task) used.insert(task->ID());
  while (used.count(static_cast<int32_t>(id)))
    id = step(id);
  return static_cast<int32_t>(id);
}

}  // namespace orncal::tasks
