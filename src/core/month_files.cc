// The calendar's month files: the cache, the making of a month that has no
// file, saving, the lookup by file and number, and the filing of an
// appointment into the months its period reaches.
#include <algorithm>
#include <limits>
#include <vector>

#include "core/calendar_state.h"
#include "core/shared_calendar.h"
#include "orncalendar/appointment.h"
#include "orncalendar/appointments.h"
#include "orncalendar/calendar.h"
#include "orncalendar/date_time.h"
#include "orncalendar/date_time_serial.h"
#include "orncalendar/file.h"
#include "orncalendar/ole_date.h"
#include "orncalendar/platform.h"
#include "platform/system.h"

namespace orncal {
namespace {

int32_t CheckedFileLong(int32_t year, int32_t month) {
  const int64_t file_long = int64_t{year} * 100 + month;
  if (file_long < std::numeric_limits<int32_t>::min() ||
      file_long > std::numeric_limits<int32_t>::max()) {
    throw Error(ErrorNumber::kOverflow);
  }
  return static_cast<int32_t>(file_long);
}

// The FileLong a key stands for: a decimal number, optionally signed and
// surrounded by spaces. Error 13 for anything else, 6 beyond 32 bits.
int32_t ParseKey(std::string_view key) {
  const size_t first = key.find_first_not_of(' ');
  if (first == std::string_view::npos) throw Error(ErrorNumber::kTypeMismatch);
  key = key.substr(first, key.find_last_not_of(' ') - first + 1);
  const bool negative = key[0] == '-';
  if (key[0] == '-' || key[0] == '+') key.remove_prefix(1);
  if (key.empty()) throw Error(ErrorNumber::kTypeMismatch);
  int64_t value = 0;
  for (char c : key) {
    if (c < '0' || c > '9') throw Error(ErrorNumber::kTypeMismatch);
    value = value * 10 + (c - '0');
    if (value > int64_t{std::numeric_limits<int32_t>::max()} + 1) {
      throw Error(ErrorNumber::kOverflow);
    }
  }
  if (negative) value = -value;
  if (value > std::numeric_limits<int32_t>::max()) throw Error(ErrorNumber::kOverflow);
  return static_cast<int32_t>(value);
}

// The first day of the month, 00:00, to the first day of the next month.
// Error 5 for a month outside the dates the calendar can hold.
DateTimeNormalPtr MonthPeriod(int32_t year, int32_t month) {
  if (month == std::numeric_limits<int32_t>::max()) throw Error(ErrorNumber::kInvalidProcedureCall);
  return DateTimeNormal::New(DateFromParts(year, month, 1), DateFromParts(year, month + 1, 1));
}

// Whether a period reaches into the listed month `fileLong`. A month that
// names no date (0, or one beyond the calendar's dates) is reached by
// nothing, except that month 0 counts for an endless series.
bool Reaches(DateTime& period, int32_t fileLong) {
  if (fileLong == 0) {
    DateTimeSerialPtr series = period.DateTimeType() == 2 ? period.Series() : nullptr;
    return series && series->Eternal();
  }
  DateTimeNormalPtr month;
  try {
    month = MonthPeriod(fileLong / 100, fileLong % 100);
  } catch (const Error&) {
    return false;
  }
  return period.OverLapsWith(*month);
}

// Whether an earlier appointment's period meets a month. A period that
// fails to answer (a broken series stored in a file) meets nothing, so one
// bad record does not keep every later month from being made.
bool Meets(DateTime& period, const DateTimeNormal& month) {
  try {
    return period.OverLapsWith(month);
  } catch (const Error&) {
    return false;
  }
}

DateTimePtr PeriodOf(const Appointment& appointment) {
  DateTimePtr period = appointment.DateTime();
  if (!period) throw Error(ErrorNumber::kObjectNotSet);
  return period;
}

Appointments& ListOf(const File& file) {
  AppointmentsPtr list = file.Appointments();
  if (!list) throw Error(ErrorNumber::kObjectNotSet);
  return *list;
}

MonthRef ByFileLong(int32_t fileLong) {
  // The key is given as well, so that a FileLong of -1 is not mistaken for
  // "no FileLong".
  return MonthRef{.Key = std::to_string(fileLong), .FileLong = fileLong};
}

bool Holds(const Appointments& list, const AppointmentPtr& appointment) {
  if (list.ItemByID(appointment->OutsideID()) == appointment) return true;
  return std::find(list.begin(), list.end(), appointment) != list.end();
}

// The real appointment that the home month holds already under the number
// another process gave the appointment: the month was read after that
// process wrote it there.
AppointmentRealPtr HeldUnderItsNumber(const File& home, const Appointments& list,
                                      const Appointment& appointment) {
  if (home.FileLong() != appointment.File()) return nullptr;
  const AppointmentPtr entry = list.ItemByID(appointment.ID());
  if (!entry || entry->AppointmentType() != 1) return nullptr;
  return std::dynamic_pointer_cast<AppointmentReal>(entry);
}

// The lowest number no entry of the list has, other than `besides`.
int32_t LowestFree(const Appointments& list, int32_t besides = 0) {
  int32_t id = 1;
  while (id == besides || list.ExistsID(id))
    ++id;
  return id;
}

// The next free number of a file for what another process filed: its
// reserved number only when that is still free (the other process's own
// filing may have taken it here already).
int32_t FreeForRemote(File& file, const Appointments& list) {
  const int32_t id = file.GetEmptyID();
  return list.ExistsID(id) ? LowestFree(list) : id;
}

// The stored link of a month that names the appointment File/ID.
AppointmentLink* LinkTo(const Appointments& list, int32_t file, int32_t id) {
  for (const AppointmentPtr& entry : list) {
    if (entry->AppointmentType() != 2) continue;
    auto* link = dynamic_cast<AppointmentLink*>(entry.get());
    if (link && link->File() == file && link->ID() == id) return link;
  }
  return nullptr;
}

}  // namespace

CollectionPtr<FilePtr> Calendar::Files() const { return state_->files; }

FilePtr Calendar::GetMonthFile(MonthRef&& month, const MonthFileOptions& options) {
  return GetMonthFile(month, options);
}

FilePtr Calendar::GetMonthFile(MonthRef& month, const MonthFileOptions& options) {
  State& s = *state_;
  if (month.Month != -1) {
    month.FileLong = CheckedFileLong(month.Year, month.Month);
  } else {
    if (month.FileLong == -1) month.FileLong = ParseKey(month.Key);
    month.Year = month.FileLong / 100;
    month.Month = month.FileLong % 100;
  }
  // One spelling per month, so that " 200805" and "200805" share a file.
  month.Key = std::to_string(month.FileLong);

  if (const FilePtr* cached = s.files->Find(month.Key)) {
    FilePtr file = *cached;
    if (!file->LinksResolved() && options.ResolveLinks) file->ResolveLinks();
    return file;
  }
  if (options.OnlyLoaded) return nullptr;

  std::string path = s.path + platform::kPathSeparator + month.Key + ".xmf";
  if (!core::FileExists(path)) {
    // Another process may hold the month unsaved: asked as before a load,
    // it writes it first, and the file is read after all. Made in memory
    // it is when no one could be asked.
    try {
      s.Notifier().NotifyBeforeLoadFile(core::InstanceID(), month.FileLong, s.path);
    } catch (const std::exception&) {
    }
    if (const FilePtr* cached = s.files->Find(month.Key)) return *cached;
    if (!core::FileExists(path)) {
      return CreateMonthFile(month.Month, month.Year, path, options.ResolveLinks);
    }
  }
  FilePtr file = File::New();
  file->SetFileName(month.Key);
  file->SetMonth(month.Month);
  file->SetYear(month.Year);
  file->SetFilePath(std::move(path));
  file->SetFileLong(month.FileLong);
  file->Load();  // a file that fails to load is kept with what it held
  file->SetCalendar(shared_from_this());
  s.files->Add(file, month.Key);
  // A file another process wrote after the listing is listed from now on.
  if (!s.all_files->Exists(month.Key)) s.all_files->Add(month.FileLong, month.Key);
  if (options.ResolveLinks) file->ResolveLinks();
  return file;
}

FilePtr Calendar::CreateMonthFile(int32_t Month, int32_t Year, const std::string& FilePath,
                                  bool ResolveLinks) {
  State& s = *state_;
  const int32_t file_long = CheckedFileLong(Year, Month);
  const std::string key = std::to_string(file_long);
  FilePtr file = File::New();
  file->SetFileLong(file_long);
  file->SetFileName(key);
  file->SetFilePath(FilePath);
  file->SetMonth(Month);
  file->SetYear(Year);
  file->SetLinksResolved(ResolveLinks);
  file->SetCalendar(shared_from_this());

  if (file_long > 0) {
    // Every earlier real appointment that reaches into this month gets a
    // link here, numbered from 1 in the order found. The index leaves out
    // the months of links only, and, for a month of the calendar (1 to 12),
    // the appointments that end before it; a month numbered 0 or 13 may lie
    // before its number's predecessors and looks at all of them.
    const DateTimeNormalPtr period = MonthPeriod(Year, Month);
    const bool proper = Month >= 1 && Month <= 12;
    std::vector<int32_t> earlier;
    for (int32_t listed : s.reach.Months(*s.all_files)) {
      if (listed < file_long) earlier.push_back(listed);
    }
    // Months without a file are made first, earliest first, so that making
    // one does not recurse through all those before it.
    std::vector<int32_t> ascending = earlier;
    std::sort(ascending.begin(), ascending.end());
    for (int32_t listed : ascending)
      GetMonthFile(ByFileLong(listed));

    Appointments& links = ListOf(*file);
    int32_t counter = 0;
    std::vector<AppointmentPtr> all;
    for (int32_t listed : earlier) {
      FilePtr source = GetMonthFile(ByFileLong(listed));
      const std::vector<AppointmentPtr>* candidates = &s.reach.Reaching(*source);
      if (!proper) {
        all.assign(ListOf(*source).begin(), ListOf(*source).end());
        candidates = &all;
      }
      for (const AppointmentPtr& a : *candidates) {
        if (a->AppointmentType() != 1) continue;
        const DateTimePtr reach = a->DateTime();
        if (!reach || !Meets(*reach, *period)) continue;
        AppointmentLinkPtr link = AppointmentLink::New();
        link->SetOutsideID(++counter);
        link->SetOutsideFile(file_long);
        link->SetDestinationFile(a->File());
        link->SetDestinationID(a->ID());
        if (ResolveLinks) link->SetDestination(a);
        links.AddKeyed(std::move(link));
      }
    }
  }

  // Only the present month is written without being touched: the other
  // months made for browsing stay in memory.
  const DateParts now = SplitDate(CurrentClock().Now());
  file->SetChanged(Month == now.Month && Year == now.Year);
  s.files->Add(file, key);
  // A month listed before but whose file has gone is listed already.
  if (!s.all_files->Exists(key)) {
    s.all_files->Add(file_long, key);
    s.reach.MadeLinkOnly(*s.all_files, file_long);
  } else {
    s.reach.MadeListedLinkOnly(file_long);
  }
  return file;
}

void Calendar::Save() {
  const std::vector<FilePtr> files(state_->files->begin(), state_->files->end());
  for (const FilePtr& file : files)
    file->SaveIfChanged();
  SaveTasksIfChanged();
}

AppointmentPtr Calendar::GetAppointment(int32_t File, int32_t ID) {
  try {
    FilePtr file = GetMonthFile(MonthRef{.Month = -1, .Year = 0, .Key = "", .FileLong = File});
    return file ? ListOf(*file).ItemByID(ID) : nullptr;
  } catch (const std::exception&) {
    return nullptr;
  }
}

AppointmentPtr Calendar::FindStoredAppointment(int32_t File, int32_t ID) {
  try {
    MonthRef month = ByFileLong(File);
    FilePtr file = GetMonthFile(month, {.OnlyLoaded = true});
    if (!file && core::FileExists(state_->path + platform::kPathSeparator + month.Key + ".xmf")) {
      file = GetMonthFile(month);
    }
    AppointmentPtr found = file ? ListOf(*file).ItemByID(ID) : nullptr;
    return found && found->AppointmentType() == 1 ? found : nullptr;
  } catch (const std::exception&) {
    return nullptr;
  }
}

bool Calendar::IsFiled(const orncal::Appointment& appointment) {
  if (appointment.ID() == 0) return false;
  try {
    FilePtr file = GetMonthFile(ByFileLong(appointment.File()), {.OnlyLoaded = true});
    AppointmentsPtr list = file ? file->Appointments() : nullptr;
    return list && list->ItemByID(appointment.ID()).get() == &appointment;
  } catch (const Error&) {
    return false;
  }
}

void Calendar::DetachAppointment(const AppointmentPtr& appointment, bool Remote) {
  State& s = *state_;
  const DateTimePtr period = PeriodOf(*appointment);
  const int32_t file_no = appointment->File();
  const int32_t id = appointment->ID();
  // The months its period reaches, and always the month that stores it: a
  // series need not meet the month it is anchored in.
  std::vector<int32_t> months;
  for (int32_t listed : std::vector<int32_t>(s.all_files->begin(), s.all_files->end())) {
    if (Reaches(*period, listed)) months.push_back(listed);
  }
  if (file_no != 0 && std::find(months.begin(), months.end(), file_no) == months.end() &&
      s.files->Exists(std::to_string(file_no))) {
    months.push_back(file_no);
  }
  for (int32_t listed : months) {
    FilePtr file = GetMonthFile(ByFileLong(listed));
    Appointments& list = ListOf(*file);
    for (int32_t i = 1; i <= list.Count();) {
      const AppointmentPtr entry = list.Item(i);
      if (entry->File() != file_no || entry->ID() != id) {
        ++i;
        continue;
      }
      // The number is kept for the appointment's return to this file.
      list.RemoveAt(i);
      file->SetReservedID(entry->OutsideID());
      file->SetChanged(true);
      if (!Remote) s.own_changes.insert(listed);
      s.own_filed.erase({listed, entry->OutsideID()});
    }
  }
  if (!Remote) s.Notifier().NotifyDoDelete(core::InstanceID(), *appointment, s.path);
}

void Calendar::AttachAppointment(AppointmentPtr& appointment, bool Remote) {
  State& s = *state_;
  const DateTimePtr period = PeriodOf(*appointment);
  const Date first = period->GetFirstDate();
  const FilePtr home = GetMonthFile(MonthRef{.Month = MonthOf(first), .Year = YearOf(first)});
  Appointments& home_list = ListOf(*home);

  AppointmentPtr stored = appointment;
  AppointmentRealPtr held = Remote ? HeldUnderItsNumber(*home, home_list, *appointment) : nullptr;
  // One this process filed itself is another appointment: both processes
  // gave the number at the same time.
  if (held && s.own_filed.count({home->FileLong(), held->ID()})) held = nullptr;
  if (held) {
    // Brought up to date rather than filed twice.
    held->CopyFrom(*appointment);
    held->SetProject(appointment->Project());
    s.reach.PeriodsChanged();
    stored = std::move(held);
  } else if (!Holds(home_list, appointment)) {
    // A real appointment that no month file holds (a new one, or one taken
    // out by DetachAppointment to be moved) is filed itself, so that the
    // client's object stays the stored one and keeps its Project (a copy
    // would not take it). Anything else is filed as a copy.
    auto real = std::dynamic_pointer_cast<AppointmentReal>(appointment);
    if (real && !IsFiled(*real)) {
      real->SetChanged(true);
    } else {
      real = AppointmentReal::New();
      real->CopyFrom(*appointment);
    }
    int32_t id;
    const int32_t theirs = appointment->ID();
    if (Remote && theirs > 0 && home->FileLong() == appointment->File() &&
        !s.own_filed.count({home->FileLong(), theirs})) {
      // Filed under the number the other process gave it. Links carry no
      // number anyone refers to, and months made in memory number theirs
      // each in their own order: a link in the way moves aside.
      if (home_list.ExistsID(theirs)) {
        AppointmentPtr aside = home_list.ItemByID(theirs);
        home_list.RemoveByID(theirs);
        aside->SetOutsideID(LowestFree(home_list, theirs));
        home_list.AddKeyed(std::move(aside));
      }
      if (home->ReservedID() == theirs) home->SetReservedID(0);
      id = theirs;
    } else {
      id = Remote ? FreeForRemote(*home, home_list) : home->GetEmptyID();
      // The other process numbered it otherwise than this one can: the two
      // disagree about the numbering.
      if (Remote && id != theirs) ShowMessage("UNSTIMMIGKEIT!!!");
      if (!Remote) s.own_filed.insert({home->FileLong(), id});
    }
    real->SetID(id);
    real->SetFile(home->FileLong());
    real->SetOwnerCalendar(shared_from_this());
    home_list.AddKeyed(real);
    home->SetChanged(true);
    if (!Remote) s.own_changes.insert(home->FileLong());
    s.reach.Filed(home->FileLong());
    stored = std::move(real);
  }

  const std::vector<int32_t> months(s.all_files->begin(), s.all_files->end());
  for (int32_t listed : months) {
    if (listed < 1 || listed == home->FileLong() || !Reaches(*period, listed)) continue;
    FilePtr file = GetMonthFile(ByFileLong(listed));
    // A month read after the other process linked it there holds the link.
    if (AppointmentLink* link = LinkTo(ListOf(*file), stored->File(), stored->ID())) {
      if (file->LinksResolved()) link->SetDestination(stored);
      continue;
    }
    AppointmentLinkPtr link = AppointmentLink::New();
    link->SetOutsideFile(file->FileLong());
    link->SetOutsideID(Remote ? FreeForRemote(*file, ListOf(*file)) : file->GetEmptyID());
    link->SetDestinationFile(stored->File());
    link->SetDestinationID(stored->ID());
    if (file->LinksResolved()) link->SetDestination(stored);
    ListOf(*file).AddKeyed(std::move(link));
    file->SetChanged(true);
    if (!Remote) s.own_changes.insert(listed);
  }

  if (!Remote) s.Notifier().NotifyDoWrite(core::InstanceID(), *stored, s.path);
  appointment = std::move(stored);
}

}  // namespace orncal
