// Tasks: the task object (its reminder appointment, completion and return,
// the tags that tie it to appointments, the copy another process's change
// arrives as) and the calendar's task list (tasks.xtf loaded and saved with
// its backups and messages, new IDs, adding and removing, the queries and
// the sort).
#include <gtest/gtest.h>

#include <functional>
#include <tuple>

#include "orncalendar/orncalendar.h"
#include "support/fault_file_system.h"
#include "support/month_bytes.h"
#include "support/recording_notifier.h"
#include "tasks/task_file_format.h"
#include "tasks/task_ids.h"

namespace orncal {
namespace {

using testing::FaultFileSystem;
using testing::MonthBytes;
using testing::PathExists;
using testing::ReadBytes;
using Sent = std::vector<std::string>;

const Date kMay14 = DateFromParts(2008, 5, 14);
const Date kNow = kMay14 + 10 / 24.0;  // the test clock

// Tasks on a calendar whose new IDs come from `random_`.
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
  // A listed task with a period.
  TaskPtr Listed(const std::string& title, Date start, Date end) {
    TaskPtr task = calendar_->Task({.SaveNow = false});
    task->SetTitle(title);
    task->SetDateTime(DateTimeNormal::New(start, end));
    task->NotifyChange();
    return task;
  }
  static std::string Titles(const CollectionPtr<TaskPtr>& tasks) {
    std::string titles;
    for (const TaskPtr& task : *tasks)
      titles += task->Title();
    return titles;
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
  std::string LoadFailure() const {
    return "Schwerwiegender Fehler:\r\nDie Aufgabendatei \"" + path_ +
           "\" konnte nicht geladen werden.";
  }
  std::string SaveFailure() const {
    return "Die Aufgabendatei \"" + path_ +
           "\" konnte nicht gespeichert werden. Es besteht die Gefahr, dass Daten verloren gehen.";
  }

  CalendarPtr calendar_;
  const std::string path_ = DataFile("tasks.xtf");
  double random_ = 0.5;
  tasks::TaskIdSource source_before_;
};
class TaskListTest : public TaskTest {};

TEST_F(TaskTest, RemindAtMakesMovesAndRemovesTheReminderAppointment) {
  TaskPtr task = Unlisted();
  task->SetRemindAt(0);  // no reminder yet: nothing happens
  EXPECT_EQ(std::tuple(task->ID(), calendar_->TasksLoaded()), std::tuple(0, false));

  // A task without ID is added first, so that the reminder carries its ID.
  const Date at = kMay14 + 1.5;
  task->SetRemindAt(at);
  EXPECT_EQ(task->ID(), 1073741800);
  EXPECT_EQ(calendar_->IncompleteTaskFromID(task->ID()), task);
  AppointmentPtr reminder = task->RemindAppointment();
  ASSERT_TRUE(reminder);
  EXPECT_EQ(reminder, task->ConnectedAppointment());
  EXPECT_EQ(reminder, calendar_->GetAppointment(200805, 1));  // filed
  EXPECT_EQ(std::tuple(reminder->Title(), reminder->Flags(), reminder->Remind(),
                       reminder->RemindAt(), reminder->AllDay(), reminder->TagsCount()),
            std::tuple(std::string("Erinnerung an Aufgabe \"Steuer\""), 31, true, 0, false, 1));
  EXPECT_EQ(Tag(*reminder, 1), std::tuple("TaskData", "TaskID", "1073741800"));
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
  EXPECT_EQ(std::tuple(id, task->ID()), std::tuple(1073741800, 1610612700));  // drawn anew
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

TEST_F(TaskListTest, AnOldFileIsReadAndWrittenBackNewAndAnEmptyListIsEightBytes) {
  EXPECT_EQ(calendar_->TasksFilePath(), path_);
  // Version 10000 has no reminder fields; they are written as zeros.
  const auto task = [](int32_t version) {
    MonthBytes b;
    b.Long(version).Long(5).Text("Alt").Text("").Text("Haus").Date(kMay14).Date(kMay14 + 2);
    if (version > 10000) b.Long(0).Long(0);
    return b.Long(0).str();
  };
  PutDataFile("tasks.xtf", task(10000));
  EXPECT_FALSE(calendar_->TasksLoaded());
  CollectionPtr<TaskPtr> list = calendar_->IncompleteTasks();
  EXPECT_EQ(notifier_->sent, Sent{"BeforeLoadTasks"});
  ASSERT_EQ(list->Count(), 1);
  TaskPtr loaded = list->Item(1);
  EXPECT_EQ(std::tuple(loaded->ID(), loaded->Title(), loaded->Project(),
                       loaded->DateTime()->EndDateTime(), loaded->RemindAppointment(),
                       loaded->GetCalendar()),
            std::tuple(5, std::string("Alt"), std::string("Haus"), kMay14 + 2, nullptr, calendar_));

  calendar_->Save();  // nothing changed: nothing written
  EXPECT_EQ(notifier_->sent.size(), 1u);
  loaded->NotifyChange();
  calendar_->Save();
  EXPECT_EQ(ReadBytes(path_), task(10001));
  EXPECT_EQ(notifier_->sent, (Sent{"BeforeLoadTasks", "DoChangeTask 5", "TasksSaved"}));
  EXPECT_FALSE(loaded->Changed() || calendar_->TasksChanged());
  EXPECT_FALSE(PathExists(path_ + ".1"));

  loaded->Remove();
  calendar_->Save();
  EXPECT_EQ(ReadBytes(path_), MonthBytes().Long(10001).Long(0).str());
  EXPECT_TRUE(messages_.messages.empty());
}

TEST_F(TaskListTest, AReminderIsFoundByFileAndNumberOrDroppedWhenItsMonthIsGone) {
  PutDataFile("200805.xmf", MonthBytes().Long(10003).Real(2, "Erinnerung", kMay14, kMay14).str());
  MonthBytes file;
  file.Long(10001);
  for (auto [id, month, number] : {std::tuple(1, 200806, 2), {2, 200805, 2}, {3, 200805, 9}}) {
    file.Long(id).Text("T" + std::to_string(id)).Text("").Text("").Date(0).Date(0);
    file.Long(month).Long(number);
  }
  PutDataFile("tasks.xtf", file.Long(0).str());
  CollectionPtr<TaskPtr> list = calendar_->IncompleteTasks();
  ASSERT_EQ(Titles(list), "T1T2T3");  // the number of a dropped reminder is still read
  EXPECT_EQ(list->Item(1)->RemindAppointment(), nullptr);
  EXPECT_EQ(list->Item(2)->RemindAppointment(), calendar_->GetAppointment(200805, 2));
  EXPECT_EQ(list->Item(3)->RemindAppointment(), nullptr);
  EXPECT_FALSE(calendar_->Files()->Exists("200806"));  // no month is made for it
  EXPECT_TRUE(messages_.messages.empty());
}

// What a message about a task carries: one record, made back into a task of
// this calendar with the reminder it holds.
TEST_F(TaskListTest, ATaskTravelsAsOneRecordWithItsReminder) {
  TaskPtr task = Listed("Steuer \xE2\x82\xAC", kMay14, kMay14 + 2);
  task->SetNotes("Belege");
  task->SetRemindAt(kMay14 + 1);
  TaskFileRecord record;
  ASSERT_TRUE(tasks::DecodeTaskRecord(tasks::EncodeTaskRecord(tasks::RecordOf(*task)), &record));
  TaskPtr copy = calendar_->TaskFromRecord(record);
  EXPECT_EQ(std::tuple(copy->ID(), copy->Title(), copy->Notes(), copy->DateTime()->StartDateTime(),
                       copy->PlannedEnd(), copy->RemindAppointment(), copy->GetCalendar()),
            std::tuple(task->ID(), task->Title(), std::string("Belege"), kMay14, kMay14 + 2,
                       task->RemindAppointment(), calendar_));
  EXPECT_EQ(calendar_->IncompleteTasks()->Count(), 1);  // not added
}

TEST_F(TaskListTest, AFileThatCannotBeReadKeepsWhatCameBeforeAndStaysAsTheBackup) {
  MonthBytes file;
  file.Long(10001).Long(1).Text("kept").Text("").Text("").Date(0).Date(0).Long(0).Long(0);
  const std::string damaged = file.Long(2).Text("cut").str();
  PutDataFile("tasks.xtf", damaged);
  EXPECT_EQ(Titles(calendar_->IncompleteTasks()), "kept");
  ExpectOnlyMessage(LoadFailure());

  Listed("new", kMay14, kMay14);
  calendar_->Save();
  EXPECT_EQ(ReadBytes(path_ + ".1"), damaged);
  EXPECT_EQ(Titles(calendar_->IncompleteTasks()), "keptnew");
  calendar_->SaveTasks();  // the next save leaves no backup
  EXPECT_FALSE(PathExists(path_ + ".2"));
  EXPECT_TRUE(messages_.messages.empty());

  // Without the notice to the other processes the file is not read.
  notifier_->failing = "BeforeLoadTasks";
  calendar_->LoadTasks();
  EXPECT_EQ(calendar_->IncompleteTasks()->Count(), 0);
  ExpectOnlyMessage(LoadFailure());
}

// The ways a replaced file can fail are tested on month files; here one of
// them, and the failures of the task list's own.
TEST_F(TaskListTest, AFailedSaveLeavesThePreviousFileAndTheListToBeSaved) {
  const std::string previous = MonthBytes().Long(10001).Long(0).str();
  PutDataFile("tasks.xtf", previous);
  TaskPtr task = Listed("neu", kMay14, kMay14 + 1);
  const std::pair<const char*, std::function<void(FaultFileSystem&)>> cases[] = {
      {"disk full half-way", [](FaultFileSystem& f) { f.LimitWrites(20); }},
      {"notifier fails", [this](FaultFileSystem&) { notifier_->failing = "TasksSaved"; }},
      {"task without period", [&task](FaultFileSystem&) { task->SetDateTime(nullptr); }},
  };
  for (const auto& [name, arm] : cases) {
    SCOPED_TRACE(name);
    notifier_->failing.clear();
    task->SetDateTime(DateTimeNormal::New(kMay14, kMay14 + 1));
    FaultFileSystem faults;
    testing::ScopedFileSystem installed(&faults);
    arm(faults);
    calendar_->Save();
    ExpectOnlyMessage(SaveFailure());
    EXPECT_EQ(ReadBytes(path_), previous);
    EXPECT_FALSE(PathExists(path_ + ".1"));
    EXPECT_TRUE(calendar_->TasksChanged() && task->Changed());
  }
}

TEST_F(TaskListTest, NewIdsAreDrawnAtRandomAndSteppedPastTheNumbersInUse) {
  // {random number, the IDs of three tasks drawing it one after the other}
  const std::tuple<double, int32_t, int32_t, int32_t> cases[] = {
      {0.5, 1073741800, 1073741801, 1073741802},
      {0.03125, 67108862, 67108863, 67108864},                // 67108862.5 rounds to even
      {0.09375, 201326588, 201326589, 201326590},             // 201326587.5 too
      {0.99999999999, 2147483600, -2147483600, -2147483599},  // the wrap
      {0.0, 0, 1, 2},
  };
  for (const auto& [random, first, second, third] : cases) {
    random_ = random;
    calendar_->IncompleteTasks()->Clear();
    const int32_t ids[] = {calendar_->Task()->ID(), calendar_->Task()->ID(),
                           calendar_->Task()->ID()};
    EXPECT_EQ(std::tuple(ids[0], ids[1], ids[2]), std::tuple(first, second, third)) << random;
  }
  // The default draws from a generator seeded with the clock's timer.
  tasks::SetTaskIdSource(nullptr);
  calendar_->IncompleteTasks()->Clear();
  const int32_t drawn = calendar_->Task()->ID();
  calendar_->IncompleteTasks()->Clear();
  EXPECT_EQ(calendar_->Task()->ID(), drawn);
  clock_->Advance(0.001);
  calendar_->IncompleteTasks()->Clear();
  EXPECT_NE(calendar_->Task()->ID(), drawn);
}

TEST_F(TaskListTest, AddingAndRemovingRaiseTasksChangeAndOnlyLocalChangesAreSent) {
  int raised = 0;
  ScopedSubscription watch(calendar_->Notificator(), Notificator::Event::kTasksChange,
                           [&] { ++raised; });
  TaskPtr unlisted = calendar_->Task({.SaveNow = false});
  EXPECT_EQ(std::tuple(unlisted->ID(), calendar_->TasksLoaded(), raised), std::tuple(0, false, 0));
  TaskPtr local = CalendarMain().Task();
  EXPECT_EQ(calendar_->IncompleteTaskFromID(local->ID()), local);

  // Another process's task keeps its ID.
  TaskPtr remote = Task::New();
  remote->SetID(77);
  calendar_->AddTask(remote, true);
  EXPECT_EQ(calendar_->FindTaskByID(77), remote);
  calendar_->RemoveTask(*remote, true);
  calendar_->SetTasksChanged(false);
  calendar_->RemoveTask(*remote, false);  // not listed: still a change
  EXPECT_TRUE(calendar_->TasksChanged());
  EXPECT_EQ(calendar_->FindTaskByID(77), nullptr);
  EXPECT_EQ(raised, 4);
  EXPECT_EQ(notifier_->sent, (Sent{"BeforeLoadTasks", "DoAddTask 1073741800", "DoDeleteTask 77"}));
}

TEST_F(TaskListTest, QueriesSelectByPeriodOrStartInListOrder) {
  const Date d = kMay14;
  Listed("A", d, d + 1);
  Listed("B", d + 1, d + 2);
  Listed("C", d - 1, d);
  Listed("D", d + 2, d + 2);
  Listed("E", d + 0.5, d + 0.5);
  const auto in = [&](Date from, Date to) {
    return Titles(calendar_->IncompleteTasksInPeriod(*DateTimeNormal::New(from, to)));
  };
  // The query period is asked about each task's period: touching ends do
  // not meet, and an instant task meets nothing but an instant query at
  // its moment.
  EXPECT_EQ(in(d + 0.5, d + 2), "AB");
  EXPECT_EQ(in(d + 2, d + 3), "");
  EXPECT_EQ(in(d + 0.5, d + 0.5), "AE");
  EXPECT_EQ(Titles(calendar_->IncompleteTasksBefore(d + 1)), "ACE");  // B starts exactly there
  EXPECT_NE(calendar_->IncompleteTasksBefore(d + 9), calendar_->IncompleteTasks());

  // Completed tasks are the appointments flagged calTask, reminders too.
  TaskPtr done = Listed("done", d - 3, d - 1);
  done->SetRemindAt(d + 0.25);
  Listed("reminded", d, d)->SetRemindAt(d + 0.75);
  done->Complete();
  CollectionPtr<TaskPtr> completed =
      calendar_->CompleteTasksInPeriod(*DateTimeNormal::New(d - 10, d + 10));
  ASSERT_EQ(completed->Count(), 2);
  EXPECT_TRUE(completed->Item(1)->Completed() && completed->Item(2)->Completed());
  EXPECT_EQ(completed->Item(1)->Title(), "Erinnerung an Aufgabe \"reminded\"");
  EXPECT_EQ(completed->Item(2)->ConnectedAppointment(), done->ConnectedAppointment());
}

TEST_F(TaskListTest, SortByEndAscendingOrDescendingAsTheFirstTaskSays) {
  const Date d = kMay14;
  auto listed = [&](std::initializer_list<std::pair<const char*, Date>> tasks) {
    auto list = std::make_shared<Collection<TaskPtr>>();
    for (auto [title, end] : tasks)
      list->Add(Listed(title, d - 9, end));
    return list;
  };
  CollectionPtr<TaskPtr> tasks =
      listed({{"c", d + 3}, {"a", d + 1}, {"e", d + 5}, {"b", d + 2}, {"d", d + 4}, {"b2", d + 2}});
  const CollectionPtr<TaskPtr> before = tasks;
  calendar_->SortTasks(tasks);
  EXPECT_NE(tasks, before);
  EXPECT_EQ(Titles(tasks), "abb2cde");

  // A completed first task sorts the whole list by latest end first, the
  // incomplete ones among them.
  TaskPtr done = Listed("x", d - 9, d);
  clock_->Set(d + 3.5);
  done->Complete();
  done->SetTitle("X");
  tasks = listed({{"a", d + 1}, {"e", d + 5}});
  const TaskPtr c = listed({{"c", d + 3}})->Item(1);
  auto completed_first = std::make_shared<Collection<TaskPtr>>();
  for (const TaskPtr& task : {done, tasks->Item(1), tasks->Item(2), c})
    completed_first->Add(task);
  tasks->Add(done);
  tasks->Add(c);
  calendar_->SortTasks(completed_first);
  EXPECT_EQ(Titles(completed_first), "eXca");
  calendar_->SortTasks(tasks);
  EXPECT_EQ(Titles(tasks), "acXe");

  CollectionPtr<TaskPtr> empty = std::make_shared<Collection<TaskPtr>>();
  const CollectionPtr<TaskPtr> same = empty;
  calendar_->SortTasks(empty);
  EXPECT_EQ(empty, same);
}

}  // namespace
}  // namespace orncal
