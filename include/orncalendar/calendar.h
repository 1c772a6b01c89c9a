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

  // The extra remind times (the live collection).
  CollectionPtr<SpecialRemindTimePtr> SpecialRemindTimes() const;

  // The calendar's event source.
  NotificatorPtr Notificator() const;

  // Writes every changed month file, in the order the months were first
  // used.
  void Save();

  // Saves; a calendar other than the shared one then drops its caches.
  void Release();

  // The appointment numbered ID in the month file of FileLong `File`, or
  // nullptr. A month without a file is made in memory (with its links).
  // Never raises.
  AppointmentPtr GetAppointment(int32_t File, int32_t ID);

  // Restarts the reminder scan from the present moment.
  void ResetRemindScan();

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
  // its period reaches. A real appointment that no month file holds is
  // filed itself; anything else as a copy. `appointment` is replaced by the
  // appointment the month file holds. Unless Remote, the other processes
  // are told; when Remote and the numbers disagree, "UNSTIMMIGKEIT!!!" is
  // shown.
  void AttachAppointment(AppointmentPtr& appointment, bool Remote);
  // Whether the month file the appointment names holds this very object
  // under its number (only loaded months are asked).
  bool IsFiled(const orncal::Appointment& appointment);

  // The query engine behind AllAppointmentsInPeriod and FindAppointment:
  // ApmName, when not empty, keeps only appointments whose trimmed,
  // lower-cased title equals it.
  AppointmentsPtr QueryPeriod(const DateTimeNormal& Period, const QueryOptions& options,
                              std::string_view ApmName);

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
