// The root objects. Every CalendarMain of a process hands out the same
// Calendar, which owns the month files, tasks, categories and reminders of
// one data folder.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "orncalendar/collection.h"
#include "orncalendar/fwd.h"

namespace orncal {

// A month, named in one of three ways: by Month and Year (Month not -1), by
// FileLong (Month -1, FileLong not -1) or by Key, the decimal text of the
// FileLong (both -1). GetMonthFile fills in the other fields.
struct MonthRef {
  int32_t Month = -1;
  int32_t Year = 0;
  std::string Key{};
  int32_t FileLong = -1;
};

struct MonthFileOptions {
  // Bind the file's stored links to their destinations.
  bool ResolveLinks = false;
  // Answer only from the cache: nullptr for a month not loaded yet.
  bool OnlyLoaded = false;
};

// The switches and flag masks of the period queries. A mask test "above
// zero" is a signed 32-bit test, so bit 31 alone neither excludes through
// NotFlags nor satisfies OrFlags.
struct QueryOptions {
  // A recurring appointment yields one entry (a part) per occurrence.
  bool SeperateSerials = true;
  bool AlsoAllDay = true;
  bool OnlyAllDay = false;
  // Select by the remind moment (start + RemindAt seconds) instead of the
  // period, and only appointments that remind.
  bool UseRemindTime = false;
  // Every bit of Flags must be set.
  int32_t Flags = 0;
  // No bit of NotFlags may be set (by default invisible ones stay out).
  int32_t NotFlags = 1;
  // At least one bit of OrFlags must be set (0 = no test).
  int32_t OrFlags = 0;
  // Not all bits of NotAndFlags may be set at once (0 = no test).
  int32_t NotAndFlags = 0;
  // Leave out links whose appointment is in the result already; without it
  // links are replaced by their appointment.
  bool RemoveDoubles = false;
};

struct FindOptions {
  // > 0 forwards only, 0 both ways, < 0 backwards only.
  int16_t Direction = 0;
  // Where the search starts; 0 = now.
  Date StartAt = 0;
  bool SeperateSerials = true;
  bool AlsoAllDay = true;
  bool OnlyAllDay = false;
  int32_t Flags = 0;
  int32_t NotFlags = 1;
  int32_t OrFlags = 0;
  int32_t NotAndFlags = 0;
};

struct NewAppointmentOptions {
  // 0 means not given.
  Date StartDateTime = 0;
  Date EndDateTime = 0;
  // An all-day appointment is given by its last day: it ends at midnight
  // after EndDateTime.
  bool AllDay = false;
  // File the appointment at once (when a start is given).
  bool SaveNow = true;
};

struct NewTaskOptions {
  // Add the task to the list at once (with a new ID).
  bool SaveNow = true;
};

class Calendar : public std::enable_shared_from_this<Calendar> {
  struct Key {
    explicit Key() = default;
  };

 public:
  explicit Calendar(Key);
  ~Calendar();
  Calendar(const Calendar&) = delete;
  Calendar& operator=(const Calendar&) = delete;

  // The FileLong (Year * 100 + Month) of every month file in the data folder
  // or created since, keyed by its decimal text, in directory order. This is
  // the live collection.
  CollectionPtr<int32_t> AllFiles() const;

  // The data folder: trimmed (and lower-cased on Windows).
  const std::string& Path() const;

  // Every appointment that meets the period [start, end), after the
  // switches and flag masks. Months ascending, within a month in file order;
  // use Appointments::Sort for time order. An appointment reaching into
  // several months of the period stands once per month.
  AppointmentsPtr AllAppointmentsInPeriod(const DateTimeNormal& Period,
                                          const QueryOptions& options = {});

  // A new appointment with a simple period, filed (with SaveNow and a start)
  // into the months it reaches; the object returned is the one the month
  // file holds. Without dates it is not filed.
  AppointmentPtr Appointment(const NewAppointmentOptions& options = {});

  // The appointment with the title ApmName (whole title, blind to case and
  // surrounding spaces) nearest to StartAt, searched month by month within
  // the months on disk, for at most five seconds; nullptr when none.
  AppointmentPtr FindAppointment(std::string_view ApmName, const FindOptions& options = {});

  // The reminders due since the last poll, each handed out once: the
  // appointments whose remind moment has come and the special remind times
  // that are due. Out_Appointments is replaced only when something is due.
  bool GetRemindAppointments(CollectionPtr<AppointmentPtr>& Out_Appointments);

  // The categories, read from categor.ini at the first call.
  CategoriesPtr Categories();

  // The extra remind times (the live collection).
  CollectionPtr<SpecialRemindTimePtr> SpecialRemindTimes() const;

  // The calendar's event source.
  NotificatorPtr Notificator() const;

  // Handles the changes other processes sent that have arrived (their
  // callbacks run now, on this thread, and raise this calendar's events);
  // returns how many messages it handled. It does not wait for messages;
  // handling one may wait briefly for the other processes, as reading a
  // month file does. Callbacks run only here and, for the few that other
  // processes wait on, inside calls of the library that wait themselves.
  int ProcessNotifications();
  // What an event loop waits on (poll, select, epoll on POSIX): it becomes
  // readable when ProcessNotifications has something to do, also when the
  // link to the notifier has to be made again. -1 when the calendar works
  // alone. The value stays the same for the life of the process; it is an
  // intptr_t so that it can carry a handle where the system uses those.
  std::intptr_t NotificationDescriptor() const;

  // Writes every changed month file, in the order the months were first
  // used, then the task list when it changed.
  void Save();

  // Writes SpRmdTim.ini (the moment the reminder scan has reached and the
  // extra remind times still to come) and tells the other processes.
  // Failures are quiet.
  void SaveSpecialRemindTimes();

  // Saves and writes the special remind times; a calendar other than the
  // shared one then drops its caches, tasks, categories and special remind
  // times.
  void Release();

  // Shows the library's name, version and the data folder in a plain
  // message.
  void ShowAbout() const;

  // The appointment numbered ID in the month file of FileLong `File`, or
  // nullptr. A month without a file is made in memory (with its links).
  // Never raises.
  AppointmentPtr GetAppointment(int32_t File, int32_t ID);

  // Restarts the reminder scan from the present moment.
  void ResetRemindScan();

  // The incomplete tasks: the live list, read from tasks.xtf at first use.
  CollectionPtr<TaskPtr> IncompleteTasks();
  // New lists of the incomplete tasks, in list order: those whose period
  // meets Period (as Period.OverLapsWith sees it), and those that start
  // strictly before DateTime.
  CollectionPtr<TaskPtr> IncompleteTasksInPeriod(const DateTimeNormal& Period);
  CollectionPtr<TaskPtr> IncompleteTasksBefore(Date DateTime);
  // A completed task for every appointment flagged calTask that meets
  // Period (whatever its other flags; links to appointments in the result
  // left out), in the order of the period query.
  CollectionPtr<TaskPtr> CompleteTasksInPeriod(const DateTimeNormal& Period);
  // A new task of this calendar; with SaveNow it is added to the list with
  // a new ID at once.
  TaskPtr Task(const NewTaskOptions& options = {});
  // Replaces Tasks by a new list sorted by the end of each task's period:
  // ascending when the first task is incomplete, descending when it is
  // completed (latest completion first). An empty list is left as it is.
  void SortTasks(CollectionPtr<TaskPtr>& Tasks);
  // The listed task with this ID, or nullptr.
  TaskPtr IncompleteTaskFromID(int32_t ID);

  // -- Library-internal

  // A calendar that is not initialised yet.
  static CalendarPtr New();
  // One-time initialisation on a data folder; later calls do nothing.
  void InitCalendar(std::string_view dataFolder);
  bool Initialized() const;
  // Lists the month files of the data folder into AllFiles.
  void ScanMonthFiles();
  void AddClient();
  int32_t ClientCount() const;
  const std::string& TasksFilePath() const;
  int32_t RemindScanHour() const;
  Date RemindScanFrom() const;

  // The month-file cache: every File used so far, keyed by its month's key.
  // Nothing is evicted.
  CollectionPtr<FilePtr> Files() const;
  // The File of a month: from the cache, else loaded from its file, else
  // made by CreateMonthFile. Fills in the other fields of `month`. A key
  // that is no number raises error 13, a FileLong beyond 32 bits error 6.
  FilePtr GetMonthFile(MonthRef& month, const MonthFileOptions& options = {});
  FilePtr GetMonthFile(MonthRef&& month, const MonthFileOptions& options = {});
  // Makes and caches the File of a month that has no file on disk. It links
  // every earlier real appointment whose period reaches into the month, and
  // is marked changed only for the present month.
  FilePtr CreateMonthFile(int32_t Month, int32_t Year, const std::string& FilePath,
                          bool ResolveLinks);
  // Takes an appointment out of every month file its period reaches: the
  // entry itself and the links to it. Its number is reserved in each file
  // for re-filing. Unless Remote, the other processes are told.
  void DetachAppointment(const AppointmentPtr& appointment, bool Remote);
  // Files an appointment into the month of its first date (unless that file
  // already holds this very object) and links into every other listed month
  // its period reaches (unless that month links to it already). A real
  // appointment that no month file holds is filed itself; anything else as
  // a copy. `appointment` is replaced by the appointment the month file
  // holds. Unless Remote, the other processes are told. Remote (another
  // process filed it): a real appointment under its number in its home
  // month is taken to be it and brought up to date; when it has to be
  // filed and the numbers disagree, "UNSTIMMIGKEIT!!!" is shown.
  void AttachAppointment(AppointmentPtr& appointment, bool Remote);
  // Whether the month file the appointment names holds this very object
  // under its number (only loaded months are asked).
  bool IsFiled(const orncal::Appointment& appointment);

  // The query engine behind AllAppointmentsInPeriod and FindAppointment:
  // ApmName, when not empty, keeps only appointments whose trimmed,
  // lower-cased title equals it.
  AppointmentsPtr QueryPeriod(const DateTimeNormal& Period, const QueryOptions& options,
                              std::string_view ApmName);

  // The real appointment numbered ID in the month file of FileLong `File`
  // when that month is loaded or has a file on disk (no month is made for
  // it), else nullptr. Never raises.
  AppointmentPtr FindStoredAppointment(int32_t File, int32_t ID);

  // -- Library-internal: tasks

  // Whether the task list was read (or an attempt was made).
  bool TasksLoaded() const;
  // Reads tasks.xtf into a new list, after telling the other processes. A
  // missing file gives an empty list; a file that cannot be read shows the
  // load message and keeps what was read, and its next save keeps the old
  // file as the backup.
  void LoadTasks();
  // Writes the list to tasks.xtf with the same backup discipline as the
  // month files, clears the changed marks and tells the other processes.
  // Failures show the save message; nothing is raised.
  void SaveTasks();
  // SaveTasks when the list was loaded and it or one of its tasks changed.
  void SaveTasksIfChanged();
  bool TasksChanged() const;
  void SetTasksChanged(bool value);
  // Appends a task to the list (loading it first), marks the list changed
  // and raises TasksChange. Unless Silent (a task another process added),
  // the task gets a new ID and the other processes are told.
  void AddTask(const TaskPtr& task, bool Silent);
  // Takes the first task with the task's ID out of the list, marks the list
  // changed (also when none was found) and raises TasksChange; unless
  // Silent, the other processes are told.
  void RemoveTask(const orncal::Task& task, bool Silent);
  // The first listed task with this ID (loading the list first), or nullptr.
  TaskPtr FindTaskByID(int32_t ID);
  // A completed task viewing the appointment.
  TaskPtr TaskFromCompletedAppointment(AppointmentPtr appointment);
  // A listed-shape task of this calendar made from a task record (as the
  // task file and the messages about tasks carry it): its ID, texts and
  // period, and its reminder when this calendar holds that appointment
  // (see FindStoredAppointment). It is not added to the list.
  TaskPtr TaskFromRecord(TaskFileRecord record);

  // -- Library-internal: side stores

  // Reads SpRmdTim.ini into a new collection, keeping only the records whose
  // appointment exists; sets the reminder scan's start from its first line
  // (the present moment without one). Failures are quiet.
  void LoadSpecialRemindTimes();
  // Writes SpRmdTim.ini without telling anyone. Failures are quiet.
  void WriteSpecialRemindTimes();
  // Forgets the categories, so that the next Categories() reads the file
  // again.
  void DropCategories();

  struct State;
  State& Internal() { return *state_; }

 private:
  std::unique_ptr<State> state_;
};

// The creatable entry object. Creating the first one in a process resolves
// and creates the data folder and initialises the shared Calendar.
class CalendarMain {
 public:
  CalendarMain();

  // The process-wide Calendar (nullptr only if start-up could not create it).
  CalendarPtr Calendar() const;
  // A second name for Calendar().
  CalendarPtr Calend() const;

  // Calendar()->Appointment(options).
  AppointmentPtr Appointment(const NewAppointmentOptions& options = {}) const;
  // Calendar()->Task(options).
  TaskPtr Task(const NewTaskOptions& options = {}) const;

  // Whether the collection holds an entry under the key (or at the 1-based
  // position); never raises.
  template <class T>
  static bool CollectionItemExists(const Collection<T>& Coll, std::string_view ItemKey) {
    return Coll.Exists(ItemKey);
  }
  template <class T>
  static bool CollectionItemExists(const Collection<T>& Coll, int32_t Index) {
    return Index >= 1 && Index <= Coll.Count();
  }
};

}  // namespace orncal
