// A to-do item of a calendar. A task has two shapes behind one interface:
//
// - incomplete: it holds its own title, notes, project and period, stands in
//   the calendar's task list (stored in tasks.xtf) and may own a reminder
//   appointment in the month files;
// - completed: it is a view over its completion appointment, an ordinary
//   appointment flagged calTask in the month files; its texts and period
//   are that appointment's.
//
// Complete turns the first shape into the second, InComplete the second back
// into the first (with a new ID).
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "orncalendar/fwd.h"

namespace orncal {

namespace core {
class CalendarRef;
}

class Task : public std::enable_shared_from_this<Task> {
  struct Key {
    explicit Key() = default;
  };

 public:
  explicit Task(Key);
  ~Task();
  Task(const Task&) = delete;
  Task& operator=(const Task&) = delete;

  // An unlisted task (ID 0) of the shared calendar with an empty period and
  // no reminder.
  static TaskPtr New();

  bool Completed() const { return completed_; }
  // The reminder appointment while incomplete (or nullptr), the completion
  // appointment while completed.
  AppointmentPtr ConnectedAppointment() const { return connected_; }
  // The reminder appointment; nullptr while completed. Setting it is
  // ignored while completed.
  AppointmentPtr RemindAppointment() const;
  void SetRemindAppointment(AppointmentPtr value);
  // The end of the period; for a completed task the planned end kept in the
  // completion appointment's ("PlannedEnd", "TaskData") tag, 0 without one.
  Date PlannedEnd();
  void SetPlannedEnd(Date value);
  // The task's period; for a completed task the completion appointment's
  // (error 13 when that is a recurring one).
  DateTimeNormalPtr DateTime() const;
  void SetDateTime(DateTimeNormalPtr value);
  // Completed: forwarded to the completion appointment. Incomplete:
  // NotifyChange (After) or nothing (Before).
  void AfterDateTimeChange();
  void BeforeDateTimeChange();
  // Marks the task changed and tells the other processes; a task never
  // added (ID 0) is added to its calendar's list instead. A completed task
  // forwards to its completion appointment.
  void NotifyChange();
  bool Changed() const;
  // The texts; a completed task's are its completion appointment's. Setting
  // them does not mark the task changed: call NotifyChange when done.
  const std::string& Title() const;
  void SetTitle(std::string value);
  const std::string& Notes() const;
  void SetNotes(std::string value);
  const std::string& Project() const;
  void SetProject(std::string value);
  // Completed: removes the completion appointment. Incomplete: removes the
  // reminder appointment and takes the task out of the list.
  void Remove();
  // Files a completion appointment (flags 23, from the task's start to now,
  // the planned end in its ("PlannedEnd", "TaskData") tag) and takes the
  // task out of the list. Does nothing when completed already.
  void Complete();
  // Brings a completed task back into the list with its texts, start and
  // planned end, without reminder and with a new ID; the completion
  // appointment goes. Does nothing unless completed.
  void InComplete();
  // The number within the calendar's task list; 0 = not added yet.
  int32_t ID() const { return id_; }
  // The moment of the reminder appointment, 0 without one (and while
  // completed). Setting it creates, moves or (with 0) removes the reminder
  // appointment: an invisible, remind-only appointment (flags 31) titled
  // "Erinnerung an Aufgabe" and the quoted title, tagged ("TaskData",
  // "TaskID", ID). A task never added is added first, so the tag has an ID.
  // Ignored while completed.
  Date RemindAt() const;
  void SetRemindAt(Date value);

  // -- Library-internal

  void SetCompleted(bool value) { completed_ = value; }
  // Sets the connected appointment without any check.
  void SetConnectedAppointment(AppointmentPtr value) { connected_ = std::move(value); }
  // Completed: the completion appointment's Changed; else the task's own.
  void SetChanged(bool value);
  // The calendar held, or the shared one; nullptr while completed.
  CalendarPtr GetCalendar() const;
  // Ignored while completed. The shared calendar is held as an empty
  // reference, so that it and its tasks do not keep each other alive.
  void SetCalendar(const CalendarPtr& calendar);
  // Ignored while completed.
  void SetID(int32_t value);
  // Takes over another task's title, period (values copied), notes, ID and
  // project and marks this one changed; an incomplete task also takes over
  // the reminder (the appointment with the source reminder's file and
  // number in this calendar, or none).
  void CopyFrom(const Task& source);
  // Adds the task to its calendar's list with a new ID, telling the other
  // processes.
  void AddToCalendar();

 private:
  // The calendar an operation works on; error 91 when there is none.
  CalendarPtr RequireCalendar() const;
  // The completion appointment; error 91 when there is none.
  Appointment& Completion() const;

  bool completed_ = false;
  Date planned_end_cache_ = 0;
  AppointmentPtr connected_;
  bool changed_ = false;
  DateTimeNormalPtr period_;
  // Made only when a calendar other than the shared one is held.
  std::unique_ptr<core::CalendarRef> calendar_;
  int32_t id_ = 0;
  std::string title_;
  std::string notes_;
  std::string project_;
};

}  // namespace orncal
