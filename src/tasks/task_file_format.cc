#include "tasks/task_file_format.h"

#include <algorithm>

#include "orncalendar/appointment.h"
#include "orncalendar/collection.h"
#include "orncalendar/date_time.h"
#include "orncalendar/error.h"
#include "orncalendar/task.h"
#include "store/binary_fields.h"

namespace orncal::tasks {
namespace {

using store::FieldReader;
using store::FieldWriter;
using store::Malformed;

// The smallest a record can be: ID, three empty texts and two dates.
constexpr size_t kSmallestRecord = 4 + 12 + 16;

void WriteRecord(FieldWriter& out, int32_t id, const std::string& title, const std::string& notes,
                 const std::string& project, Date start, Date plannedEnd, int32_t reminderFile,
                 int32_t reminderId) {
  out.Long(id);
  out.Text(title);
  out.Text(notes);
  out.Text(project);
  out.Double(start);
  out.Double(plannedEnd);
  out.Long(reminderFile);
  out.Long(reminderId);
}

void WriteRecord(FieldWriter& out, const TaskFileRecord& r) {
  WriteRecord(out, r.ID, r.Title, r.Notes, r.Project, r.Start, r.PlannedEnd, r.ReminderFile,
              r.ReminderID);
}

void WriteTask(FieldWriter& out, Task& task) {
  const DateTimeNormalPtr period = task.DateTime();
  if (!period) throw Error(ErrorNumber::kObjectNotSet);
  const AppointmentPtr reminder = task.RemindAppointment();
  WriteRecord(out, task.ID(), task.Title(), task.Notes(), task.Project(), period->StartDateTime(),
              period->EndDateTime(), reminder ? reminder->File() : 0,
              reminder ? reminder->ID() : 0);
}

// The fields of a record after its ID.
void ReadRecordBody(FieldReader& in, int32_t version, TaskFileRecord* r) {
  r->Title = in.Text();
  r->Notes = in.Text();
  r->Project = in.Text();
  r->Start = in.Double();
  r->PlannedEnd = in.Double();
  if (version >= 10001) {
    r->ReminderFile = in.Long();
    r->ReminderID = in.Long();
  }
}

}  // namespace

TaskFileRecord RecordOf(Task& task) {
  const DateTimeNormalPtr period = task.DateTime();
  if (!period) throw Error(ErrorNumber::kObjectNotSet);
  const AppointmentPtr reminder = task.RemindAppointment();
  return TaskFileRecord{.ID = task.ID(),
                        .Title = task.Title(),
                        .Notes = task.Notes(),
                        .Project = task.Project(),
                        .Start = period->StartDateTime(),
                        .PlannedEnd = period->EndDateTime(),
                        .ReminderFile = reminder ? reminder->File() : 0,
                        .ReminderID = reminder ? reminder->ID() : 0};
}

std::string EncodeTaskRecord(const TaskFileRecord& record) {
  std::string bytes;
  FieldWriter out(bytes);
  WriteRecord(out, record);
  return bytes;
}

bool DecodeTaskRecord(std::string_view bytes, TaskFileRecord* record, std::string* problem,
                      int32_t version) {
  FieldReader in(bytes);
  try {
    *record = TaskFileRecord{};
    record->ID = in.Long();
    ReadRecordBody(in, version, record);
    if (!in.AtEnd()) {
      throw Malformed{std::to_string(in.Remaining()) + " bytes follow the record"};
    }
    return true;
  } catch (const Malformed& fault) {
    if (problem) *problem = fault.what;
    return false;
  }
}

std::string EncodeTaskFile(const Collection<TaskPtr>& tasks) {
  std::string bytes;
  bytes.reserve(8 + static_cast<size_t>(tasks.Count()) * 64);
  FieldWriter out(bytes);
  out.Long(kTaskFileVersion);
  for (const TaskPtr& task : tasks) {
    if (!task) throw Error(ErrorNumber::kObjectNotSet);
    WriteTask(out, *task);
  }
  out.Long(0);
  return bytes;
}

std::string EncodeTaskFile(const std::vector<TaskFileRecord>& records) {
  std::string bytes;
  FieldWriter out(bytes);
  out.Long(kTaskFileVersion);
  for (const TaskFileRecord& record : records)
    WriteRecord(out, record);
  out.Long(0);
  return bytes;
}

}  // namespace orncal::tasks

namespace orncal {

TaskFileContents DecodeTaskFile(std::string_view bytes) {
  TaskFileContents contents;
  store::FieldReader in(bytes);
  // Room for what a file of this size can hold, within reason: a larger
  // list grows as it is read.
  contents.Tasks.reserve(std::min<size_t>(bytes.size() / (tasks::kSmallestRecord + 8), 1 << 16));
  try {
    contents.Version = in.Long();
    while (!in.AtEnd()) {
      const int32_t id = in.Long();
      if (id == 0) {
        contents.EndMark = true;
        contents.TrailingBytes = in.Remaining();
        break;
      }
      TaskFileRecord record;
      record.ID = id;
      tasks::ReadRecordBody(in, contents.Version, &record);
      contents.Tasks.push_back(std::move(record));
    }
  } catch (const store::Malformed& fault) {
    // The record cut short is left out; those before it stay.
    contents.Complete = false;
    contents.Problem = fault.what;
  }
  return contents;
}

}  // namespace orncal
