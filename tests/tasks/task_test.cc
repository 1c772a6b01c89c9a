// The task object: its reminder appointment, completion and return, the
// tags that tie it to appointments, and the copy another process's change
// arrives as.
#include <gtest/gtest.h>

#include <tuple>

#include "orncalendar/orncalendar.h"
#include "support/recording_notifier.h"
#include "tasks/task_ids.h"

namespace orncal {
namespace {

using Sent = std::vector<std::string>;

const Date kMay14 = DateFromParts(2008, 5, 14);
const Date kNow = kMay14 + 10 / 24.0;  // the test clock

class TaskTest : public testing::RecordingCalendarTest {
 protected:
  TaskTest()
      : calendar_(StartCalendar()),
        source_before_(tasks::SetTaskIdSource([this] { return random_; })) {}
  ~TaskTest() override { tasks::SetTaskIdSource(std::move(source_before_)); }

  // An unlisted task with texts and a period.
  TaskPtr Unlisted() {
    TaskPtr task = calendar_->Task({.SaveNow = false});
    task->SetTitle("Steuer");
    task->SetNotes("Belege");
    task->SetProject("Haus");
    task->SetDateTime(DateTimeNormal::New(kMay14 - 2, kMay14 + 5.75));
    return task;
  }
  // The entries of a month file, as "number:title".
  std::string Month(int32_t fileLong) {
    std::string entries;
    for (const AppointmentPtr& a :
         *calendar_->GetMonthFile(MonthRef{.FileLong = fileLong})->Appointments())
      entries += std::to_string(a->ID()) + ":" + a->Title() + " ";
    return entries;
  }
  static auto Tag(Appointment& a, int32_t i) {
    return std::tuple(a.TagName(i), a.TagType(i), a.TagData(i));
  }

  CalendarPtr calendar_;
  double random_ = 0.25;
  tasks::TaskIdSource source_before_;
};

TEST_F(TaskTest, RemindAtMakesMovesAndRemovesTheReminderAppointment) {
  TaskPtr task = Unlisted();
  task->SetRemindAt(0);  // no reminder yet: nothing happens
  EXPECT_EQ(std::tuple(task->ID(), calendar_->TasksLoaded()), std::tuple(0, false));

  // A task without ID is added first, so that the reminder carries its ID.
  const Date at = kMay14 + 1.5;
  task->SetRemindAt(at);
  EXPECT_EQ(task->ID(), 536870900);
  EXPECT_EQ(calendar_->IncompleteTaskFromID(task->ID()), task);
  AppointmentPtr reminder = task->RemindAppointment();
  ASSERT_TRUE(reminder);
  EXPECT_EQ(reminder, task->ConnectedAppointment());
  EXPECT_EQ(reminder, calendar_->GetAppointment(200805, 1));  // filed
  EXPECT_EQ(std::tuple(reminder->Title(), reminder->Flags(), reminder->Remind(),
                       reminder->RemindAt(), reminder->AllDay(), reminder->TagsCount()),
            std::tuple(std::string("Erinnerung an Aufgabe \"Steuer\""), 31, true, 0, false, 1));
  EXPECT_EQ(Tag(*reminder, 1), std::tuple("TaskData", "TaskID", "536870900"));
  EXPECT_EQ(std::tuple(reminder->DateTime()->StartDateTime(), reminder->DateTime()->EndDateTime(),
                       task->RemindAt()),
            std::tuple(at, at, at));

  notifier_->sent.clear();
  task->SetRemindAt(at);  // the same moment: the appointment is not touched
  EXPECT_EQ(notifier_->sent, Sent{});
  task->SetRemindAt(DateFromParts(2008, 6, 2));
  EXPECT_EQ(task->RemindAppointment(), reminder);  // the same object, moved to June
  EXPECT_EQ(Month(200805), "");
  EXPECT_EQ(Month(200806), "1:Erinnerung an Aufgabe \"Steuer\" ");
  EXPECT_EQ(notifier_->sent.back(), "AnythingChanged");

  task->SetRemindAt(0);
  EXPECT_EQ(task->RemindAppointment(), nullptr);
  EXPECT_EQ(Month(200806), "");
  EXPECT_TRUE(task->Changed());  // the task file must learn it
}

TEST_F(TaskTest, CompleteTurnsTheTaskIntoAViewOverItsCompletionAppointment) {
  TaskPtr task = Unlisted();
  task->NotifyChange();
  task->SetRemindAt(kMay14 + 1);
  const int32_t id = task->ID();
  int tasks_changes = 0;
  ScopedSubscription watch(calendar_->Notificator(), Notificator::Event::kTasksChange,
                           [&] { ++tasks_changes; });
  task->Complete();

  EXPECT_TRUE(task->Completed());
  EXPECT_EQ(calendar_->IncompleteTasks()->Count(), 0);
  EXPECT_EQ(tasks_changes, 1);
  EXPECT_EQ(task->RemindAppointment(), nullptr);
  EXPECT_EQ(task->RemindAt(), 0);
  EXPECT_EQ(task->GetCalendar(), nullptr);
  AppointmentPtr done = task->ConnectedAppointment();
  ASSERT_TRUE(done);
  // The reminder went; the completion appointment runs from the start to
  // now, in the month of the start.
  EXPECT_EQ(Month(200805), "2:Steuer ");
  EXPECT_EQ(std::tuple(done->Flags(), done->Notes(), done->Project(), done->TagsCount()),
            std::tuple(23, std::string("Belege"), std::string("Haus"), 1));
  EXPECT_EQ(Tag(*done, 1), std::tuple("PlannedEnd", "TaskData", "19.05.2008 18:00:00"));
  EXPECT_EQ(std::tuple(task->DateTime()->StartDateTime(), task->DateTime()->EndDateTime(),
                       task->PlannedEnd()),
            std::tuple(kMay14 - 2, kNow, kMay14 + 5.75));

  // The texts read and write the appointment; nothing marks it changed but
  // NotifyChange.
  task->SetTitle("Steuer 2007");
  task->SetPlannedEnd(kMay14 + 7);
  EXPECT_EQ(done->Title(), "Steuer 2007");
  EXPECT_EQ(std::tuple(done->TagsCount(), done->TagData(1)), std::tuple(1, "21.05.2008"));
  done->SetChanged(false);
  task->NotifyChange();
  EXPECT_TRUE(task->Changed() && done->Changed());
  EXPECT_EQ(notifier_->sent.back(), "AnythingChanged");
  EXPECT_EQ(notifier_->sent.end()[-2], "DoChange 200805/2");

  task->Complete();  // completed already
  EXPECT_EQ(task->ConnectedAppointment(), done);

  random_ = 0.75;
  task->InComplete();
  EXPECT_FALSE(task->Completed());
  EXPECT_EQ(std::tuple(id, task->ID()), std::tuple(536870900, 1610612700));  // drawn anew
  EXPECT_EQ(calendar_->IncompleteTaskFromID(task->ID()), task);
  EXPECT_EQ(
      std::tuple(task->Title(), task->Notes(), task->Project(), task->DateTime()->StartDateTime(),
                 task->PlannedEnd(), task->RemindAppointment(), task->Changed()),
      std::tuple(std::string("Steuer 2007"), std::string("Belege"), std::string("Haus"), kMay14 - 2,
                 kMay14 + 7, nullptr, true));
  EXPECT_EQ(Month(200805), "");
  task->InComplete();  // incomplete already
  EXPECT_FALSE(task->Completed());
}

TEST_F(TaskTest, APlannedEndIsReadOnlyFromItsExactTag) {
  AppointmentPtr done = calendar_->Appointment({.StartDateTime = kMay14, .EndDateTime = kNow});
  done->AddTag("TaskData", "PlannedEnd", "20.05.2008");  // the roles swapped: not it
  TaskPtr task = calendar_->TaskFromCompletedAppointment(done);
  EXPECT_EQ(task->PlannedEnd(), 0);
  task->SetPlannedEnd(kMay14 + 0.5);
  ASSERT_EQ(done->TagsCount(), 2);
  EXPECT_EQ(Tag(*done, 2), std::tuple("PlannedEnd", "TaskData", "14.05.2008 12:00:00"));
  done->SetTagData(2, "2008-05-20");  // a date another system wrote
  EXPECT_EQ(calendar_->TaskFromCompletedAppointment(done)->PlannedEnd(), kMay14 + 6);
  done->SetTagData(2, "bald");
  EXPECT_EQ(calendar_->TaskFromCompletedAppointment(done)->PlannedEnd(), 0);

  // A completed task made by another calendar goes back into that one.
  CalendarPtr other = Calendar::New();
  other->InitCalendar(testing::Join(temp_.path(), "other"));
  TaskPtr returned = other->TaskFromCompletedAppointment(done);
  returned->InComplete();
  EXPECT_EQ(other->IncompleteTasks()->Count(), 1);
  EXPECT_EQ(returned->PlannedEnd(), 0);
}

TEST_F(TaskTest, CopyFromTakesTheFieldsAndTheReminderAsThisCalendarHoldsIt) {
  TaskPtr mine = Unlisted();
  mine->NotifyChange();
  mine->SetRemindAt(kMay14 + 1);
  mine->SetChanged(false);

  TaskPtr theirs = Task::New();
  theirs->SetTitle("Neu");
  theirs->SetDateTime(DateTimeNormal::New(kMay14, kMay14 + 3));
  theirs->SetID(99);
  AppointmentPtr remote = AppointmentReal::New();  // another process's copy of the reminder
  remote->SetFile(200805);
  remote->SetID(1);
  theirs->SetRemindAppointment(remote);

  const DateTimeNormalPtr period = mine->DateTime();
  const AppointmentPtr reminder = mine->RemindAppointment();
  mine->CopyFrom(*theirs);
  EXPECT_EQ(std::tuple(mine->Title(), mine->Notes(), mine->Project(), mine->ID(), mine->DateTime(),
                       period->EndDateTime(), mine->Changed()),
            std::tuple(std::string("Neu"), std::string(""), std::string(""), 99, period, kMay14 + 3,
                       true));
  EXPECT_EQ(mine->RemindAppointment(), reminder);

  theirs->SetRemindAppointment(nullptr);
  mine->CopyFrom(*theirs);
  EXPECT_EQ(mine->RemindAppointment(), nullptr);
}

}  // namespace
}  // namespace orncal
