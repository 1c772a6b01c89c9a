// The calendar as iCalendar text and back: appointments as VEVENT, tasks as
// VTODO (see docs/INTEROP.md for what maps how).
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "interop/identity.h"
#include "orncalendar/fwd.h"

namespace orncal::interop {

// Input that is no iCalendar data; its text says where and why.
class ImportError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One thing of the calendar that becomes one iCalendar object.
struct LocalItem {
  enum Kind { kAppointment, kOpenTask, kDoneTask };
  Kind kind = kAppointment;
  // The appointment, or a completed task's completion appointment.
  AppointmentPtr appointment;
  TaskPtr task;
  std::string uid;
};

// Every visible appointment (reminder and completion appointments of tasks
// aside), every open task and every completed task, in month order, then
// the task list's order. Appointments and completed tasks are those whose
// period meets [from, to); open tasks all.
std::vector<LocalItem> CollectItems(Calendar& calendar, Identity& identity, Date from, Date to);

// A digest of what an item holds (texts, switches, period or series, task
// state), not of how it is written: it stays the same across exports.
std::string ContentDigest(const LocalItem& item);

struct ExportOptions {
  // Series that no rule describes are written as their occurrences in
  // [From, To).
  Date From = 0;
  Date To = 0;
};

struct ExportCounts {
  int Events = 0;
  int SeriesAsRule = 0;
  int SeriesAsDates = 0;
  // Series that show no day in the period (they are left out).
  int SeriesWithoutDays = 0;
  int Todos = 0;
};

// One VCALENDAR holding the items. Items a series without days in the
// period leaves out are counted, not written.
std::string ExportItems(Calendar& calendar, const std::vector<LocalItem>& items,
                        const ExportOptions& options, ExportCounts* counts = nullptr);

struct ImportOptions {
  // Recurrences that no series describes are expanded into single
  // appointments from Now - HorizonYears to Now + HorizonYears.
  double HorizonYears = 2;
  Date Now = 0;
  // Change nothing, only count.
  bool DryRun = false;
  // Put after the title of everything imported (a conflict's copy).
  std::string TitleSuffix;
  // Import as new objects under new UIDs instead of updating (a
  // conflict's copy stands beside the local one).
  bool AsNewCopies = false;
};

struct ImportReport {
  int Created = 0;
  int Updated = 0;
  int Unchanged = 0;
  int Series = 0;
  int TasksCreated = 0;
  int TasksUpdated = 0;
  int TasksUnchanged = 0;
  // Recurring events no series describes, and the appointments they became.
  int Expanded = 0;
  int ExpandedAppointments = 0;
  Date ExpandedFrom = 0;
  Date ExpandedTo = 0;
  // "UID: FIELD" of every text with characters Windows-1252 has not.
  std::vector<std::string> Unstorable;
  // The UIDs imported, in the order of the input.
  std::vector<std::string> Uids;
};

// Applies iCalendar text to a calendar. Each text is read whole first:
// anything malformed raises ImportError and nothing is changed. Then every
// VEVENT and VTODO is applied: an object whose UID the calendar knows
// updates it, any other is added. Nothing is saved; the caller saves the
// calendar, the categories (CategoriesChanged) and the identity.
class Importer {
 public:
  Importer(Calendar& calendar, Identity& identity);
  ~Importer();

  ImportReport Import(std::string_view text, const ImportOptions& options);
  // Removes what carries a UID: its appointments (every instance of an
  // expanded one) or its task. Returns whether anything was removed.
  bool Remove(const std::string& uid);
  // The items that now carry a UID (after an import: what it became).
  std::vector<LocalItem> ItemsOf(const std::string& uid);
  bool CategoriesChanged() const { return categories_changed_; }

  struct Index;

 private:
  Index& Known();
  Calendar& calendar_;
  Identity& identity_;
  std::unique_ptr<Index> index_;
  bool categories_changed_ = false;
};

ImportReport ImportText(Calendar& calendar, Identity& identity, std::string_view text,
                        const ImportOptions& options);

// A colour as the categories keep it (0x00BBGGRR): its CSS name when it is
// exactly one, else "". And back: the colour of a CSS name or "#rrggbb",
// -1 for neither.
std::string CssColorName(int32_t color);
int32_t ColorFromCss(std::string_view text);

// Whether every character of UTF-8 text has a Windows-1252 byte.
bool FitsCp1252(std::string_view text);

}  // namespace orncal::interop
