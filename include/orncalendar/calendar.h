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

  // Saves; a calendar other than the shared one then drops its caches.
  void Release();

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
