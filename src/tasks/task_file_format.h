// The bytes of the task file (tasks.xtf), see orncalendar/task_file.h for
// the layout. One record is also what a message about a task carries, so
// the record codec stands on its own.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "orncalendar/fwd.h"
#include "orncalendar/task_file.h"

namespace orncal::tasks {

// What the file stores of a task: its ID, texts and period, and the FileLong
// and number of its reminder appointment (0 and 0 without one). Error 91
// for a task without a period.
TaskFileRecord RecordOf(Task& task);

// One record of the current version, exactly as the file holds it. Error 6
// for a text beyond 2 GB.
std::string EncodeTaskRecord(const TaskFileRecord& record);
// Reads one record of `version` that fills `bytes` exactly; false (with
// `problem` said) for anything else.
bool DecodeTaskRecord(std::string_view bytes, TaskFileRecord* record,
                      std::string* problem = nullptr, int32_t version = kTaskFileVersion);

// The whole file of the current version holding the tasks in list order.
// Raises orncal::Error for a task that cannot be written (no period, a text
// beyond 2 GB), before anything is returned.
std::string EncodeTaskFile(const Collection<TaskPtr>& tasks);
std::string EncodeTaskFile(const std::vector<TaskFileRecord>& records);

}  // namespace orncal::tasks
