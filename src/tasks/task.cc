#include "orncalendar/task.h"

#include "core/calendar_state.h"
#include "core/shared_calendar.h"
#include "datetime/locale_forms.h"
#include "orncalendar/appointment.h"
#include "orncalendar/appointments.h"
#include "orncalendar/calendar.h"
#include "orncalendar/date_time.h"
#include "orncalendar/enums.h"
#include "orncalendar/error.h"
#include "orncalendar/file.h"
#include "orncalendar/platform.h"

namespace orncal {
namespace {

// The tags that tie tasks to appointments. The word TaskData is the name of
// the one and the type of the other.
constexpr std::string_view kReminderTagName = "TaskData";
constexpr std::string_view kReminderTagType = "TaskID";
constexpr std::string_view kPlannedEndTagName = "PlannedEnd";
constexpr std::string_view kPlannedEndTagType = "TaskData";

// Invisible, not editable, fixed in time, remind only, belongs to a task.
constexpr int32_t kReminderFlags =
    calInvisible | calNoEdit | calNoDTChange | calOnlyRemind | calTask;
// The same but shown in reminders like any appointment.
constexpr int32_t kCompletionFlags = calInvisible | calNoEdit | calNoDTChange | calTask;

// The index of the completion appointment's planned-end tag, or 0.
int32_t PlannedEndTag(Appointment& a) {
  const int32_t count = a.TagsCount();
  for (int32_t i = 1; i <= count; ++i) {
    if (a.TagName(i) == kPlannedEndTagName && a.TagType(i) == kPlannedEndTagType) return i;
  }
  return 0;
}

}  // namespace

Task::Task(Key) : period_(DateTimeNormal::New()) {}

Task::~Task() = default;

TaskPtr Task::New() { return std::make_shared<Task>(Key{}); }

CalendarPtr Task::RequireCalendar() const {
  CalendarPtr calendar = GetCalendar();
  if (!calendar) throw Error(ErrorNumber::kObjectNotSet);
  return calendar;
}

Appointment& Task::Completion() const {
  if (!connected_) throw Error(ErrorNumber::kObjectNotSet);
  return *connected_;
}

// ------------------------------------------------------------ the fields

AppointmentPtr Task::RemindAppointment() const { return completed_ ? nullptr : connected_; }

void Task::SetRemindAppointment(AppointmentPtr value) {
  if (!completed_) connected_ = std::move(value);
}

Date Task::PlannedEnd() {
  if (!completed_) {
    if (!period_) throw Error(ErrorNumber::kObjectNotSet);
    return period_->EndDateTime();
  }
  if (planned_end_cache_ == 0) {
    Appointment& a = Completion();
    if (const int32_t tag = PlannedEndTag(a)) {
      // A tag that reads as no date counts as no planned end.
      planned_end_cache_ = ParseLocaleDate(a.TagData(tag)).value_or(0);
    }
  }
  return planned_end_cache_;
}

void Task::SetPlannedEnd(Date value) {
  if (!completed_) {
    if (!period_) throw Error(ErrorNumber::kObjectNotSet);
    period_->SetEndDateTime(value);
    return;
  }
  planned_end_cache_ = value;
  Appointment& a = Completion();
  std::string text = FormatLocaleDate(value);
  if (const int32_t tag = PlannedEndTag(a)) {
    a.SetTagData(tag, std::move(text));
  } else {
    a.AddTag(std::string(kPlannedEndTagName), std::string(kPlannedEndTagType), std::move(text));
  }
}

DateTimeNormalPtr Task::DateTime() const {
  if (!completed_) return period_;
  DateTimePtr period = Completion().DateTime();
  if (!period) return nullptr;
  auto normal = std::dynamic_pointer_cast<DateTimeNormal>(period);
  if (!normal) throw Error(ErrorNumber::kTypeMismatch);
  return normal;
}

void Task::SetDateTime(DateTimeNormalPtr value) {
  if (completed_) {
    Completion().SetDateTime(std::move(value));
  } else {
    period_ = std::move(value);
  }
}

bool Task::Changed() const { return completed_ ? Completion().Changed() : changed_; }

void Task::SetChanged(bool value) {
  if (completed_) {
    Completion().SetChanged(value);
  } else {
    changed_ = value;
  }
}

const std::string& Task::Title() const { return completed_ ? Completion().Title() : title_; }
void Task::SetTitle(std::string value) {
  if (completed_) return Completion().SetTitle(std::move(value));
  title_ = std::move(value);
}
const std::string& Task::Notes() const { return completed_ ? Completion().Notes() : notes_; }
void Task::SetNotes(std::string value) {
  if (completed_) return Completion().SetNotes(std::move(value));
  notes_ = std::move(value);
}
const std::string& Task::Project() const { return completed_ ? Completion().Project() : project_; }
void Task::SetProject(std::string value) {
  if (completed_) return Completion().SetProject(std::move(value));
  project_ = std::move(value);
}

void Task::SetID(int32_t value) {
  if (!completed_) id_ = value;
}

CalendarPtr Task::GetCalendar() const {
  if (completed_) return nullptr;
  return calendar_ ? calendar_->Get() : core::SharedCalendar();
}

void Task::SetCalendar(const CalendarPtr& calendar) {
  if (completed_) return;
  if (!calendar || core::IsShared(calendar.get())) {
    calendar_.reset();
    return;
  }
  if (!calendar_) calendar_ = std::make_unique<core::CalendarRef>();
  calendar_->Set(calendar);
}

// ------------------------------------------------------------ changes

void Task::AfterDateTimeChange() {
  if (completed_) return Completion().AfterDateTimeChange();
  NotifyChange();
}

void Task::BeforeDateTimeChange() {
  if (completed_) Completion().BeforeDateTimeChange();
}

void Task::NotifyChange() {
  if (completed_) return Completion().NotifyChange();
  changed_ = true;
  if (id_ == 0) return AddToCalendar();
  CalendarPtr calendar = RequireCalendar();
  calendar->Internal().own_task_changes = true;
  calendar->Internal().Notifier().NotifyDoChangeTask(core::InstanceID(), *this, calendar->Path());
}

void Task::AddToCalendar() { RequireCalendar()->AddTask(shared_from_this(), false); }

Date Task::RemindAt() const {
  if (completed_ || !connected_) return 0;
  DateTimePtr period = connected_->DateTime();
  return period ? period->StartDateTime() : 0;
}

void Task::SetRemindAt(Date value) {
  if (completed_) return;
  if (value == 0) {
    if (!connected_) return;
    AppointmentPtr reminder = std::move(connected_);
    reminder->Remove();
    // The task file must learn that the reminder is gone.
    changed_ = true;
    RequireCalendar()->Internal().own_task_changes = true;
    return;
  }
  if (connected_) {
    DateTimePtr period = connected_->DateTime();
    if (!period) throw Error(ErrorNumber::kObjectNotSet);
    if (period->StartDateTime() == value) return;
    connected_->BeforeDateTimeChange();
    period->SetStartDateTime(value);
    period->SetEndDateTime(value);
    connected_->AfterDateTimeChange();
    // A move to another month gives the reminder another file and number.
    changed_ = true;
    RequireCalendar()->Internal().own_task_changes = true;
    return;
  }
  // The reminder carries the task's ID, so the task needs one first.
  if (id_ == 0) AddToCalendar();
  AppointmentPtr reminder = RequireCalendar()->Appointment(
      {.StartDateTime = value, .EndDateTime = value, .AllDay = false, .SaveNow = false});
  connected_ = reminder;
  reminder->SetTitle("Erinnerung an Aufgabe \"" + Title() + "\"");
  reminder->SetRemind(true);
  reminder->SetRemindAt(0);
  reminder->SetFlags(kReminderFlags);
  reminder->AddTag(std::string(kReminderTagName), std::string(kReminderTagType),
                   std::to_string(id_));
  reminder->AfterDateTimeChange();
  changed_ = true;
  RequireCalendar()->Internal().own_task_changes = true;
}

// ------------------------------------------------------------ life

void Task::Remove() {
  if (completed_) return Completion().Remove();
  if (connected_) connected_->Remove();
  RequireCalendar()->RemoveTask(*this, false);
}

void Task::Complete() {
  if (completed_) return;
  if (!period_) throw Error(ErrorNumber::kObjectNotSet);
  planned_end_cache_ = period_->EndDateTime();
  const Date start = period_->StartDateTime();
  CalendarPtr calendar = RequireCalendar();
  AppointmentPtr done = calendar->Appointment({.StartDateTime = start,
                                               .EndDateTime = CurrentClock().Now(),
                                               .AllDay = false,
                                               .SaveNow = false});
  done->SetTitle(title_);
  done->SetFlags(kCompletionFlags);
  done->SetNotes(notes_);
  done->SetProject(project_);
  done->AddTag(std::string(kPlannedEndTagName), std::string(kPlannedEndTagType),
               FormatLocaleDate(planned_end_cache_));
  done->AfterDateTimeChange();
  // Still incomplete here: the reminder goes and the task leaves the list.
  Remove();
  completed_ = true;
  connected_ = std::move(done);
}

void Task::InComplete() {
  if (!completed_) return;
  Appointment& done = Completion();
  title_ = done.Title();
  notes_ = done.Notes();
  project_ = done.Project();
  planned_end_cache_ = 0;
  DateTimePtr was = done.DateTime();
  if (!was) throw Error(ErrorNumber::kObjectNotSet);
  period_ = DateTimeNormal::New(was->StartDateTime(), PlannedEnd());
  AppointmentPtr gone = std::move(connected_);
  gone->Remove();
  completed_ = false;
  changed_ = true;
  AddToCalendar();
}

void Task::CopyFrom(const Task& source) {
  SetTitle(source.Title());
  const DateTimeNormalPtr theirs = source.DateTime();
  DateTimeNormalPtr mine = DateTime();
  if (theirs) {
    if (!mine) {
      mine = DateTimeNormal::New();
      SetDateTime(mine);
    }
    mine->CopyFrom(*theirs);
  }
  SetNotes(source.Notes());
  SetID(source.ID());
  SetProject(source.Project());
  SetChanged(true);
  if (completed_) return;
  const AppointmentPtr reminder = source.RemindAppointment();
  if (!reminder) {
    connected_ = nullptr;
    return;
  }
  // The same reminder as this calendar holds it.
  connected_ = RequireCalendar()->FindStoredAppointment(reminder->File(), reminder->ID());
}

}  // namespace orncal
