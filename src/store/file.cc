#include "orncalendar/file.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "core/calendar_state.h"
#include "core/shared_calendar.h"
#include "orncalendar/appointment.h"
#include "orncalendar/appointments.h"
#include "orncalendar/calendar.h"
#include "orncalendar/error.h"
#include "orncalendar/platform.h"
#include "platform/file_system.h"
#include "store/month_file_format.h"
#include "store/replace_file.h"

namespace orncal {
namespace {

std::string LoadFailureText(const std::string& path) {
  return "Schwerwiegender Fehler:\r\nDie Monatsdatei \"" + path + "\" konnte nicht geladen werden.";
}

std::string SaveFailureText(const std::string& path) {
  return "Die Monatsdatei \"" + path +
         "\" konnte nicht gespeichert werden. Es besteht die Gefahr, dass Daten verloren gehen.";
}

// The list of a file; error 91 when a client has taken it away.
Appointments& ListOf(const AppointmentsPtr& list) {
  if (!list) throw Error(ErrorNumber::kObjectNotSet);
  return *list;
}

// The real appointment a stored link stands for. Its destination numbers
// may name another stored link (written by other tools, or a damaged
// file); the chain is followed to its real appointment, through the
// destination a link holds already or else its stored numbers. A chain that
// comes back to a number it passed, grows too long or ends at nothing gives
// nullptr. Destinations are fetched with GetAppointment, which resolves no
// links of the months it reads, so the walk never re-enters ResolveLinks.
AppointmentPtr FinalDestination(Calendar& calendar, const AppointmentLink& link) {
  constexpr int kMaxHops = 64;
  std::vector<std::pair<int32_t, int32_t>> visited;
  int32_t file = link.DestinationFile(), id = link.DestinationID();
  for (int hop = 0; hop < kMaxHops; ++hop) {
    if (std::find(visited.begin(), visited.end(), std::pair(file, id)) != visited.end()) break;
    visited.emplace_back(file, id);
    AppointmentPtr found = calendar.GetAppointment(file, id);
    if (!found) break;
    if (found->AppointmentType() == 1) return found;
    auto* next = dynamic_cast<AppointmentLink*>(found.get());
    if (!next || next->AppointmentType() != 2) break;
    if (AppointmentPtr bound = next->DestinationAppointment();
        bound && bound->AppointmentType() == 1) {
      return bound;
    }
    file = next->DestinationFile();
    id = next->DestinationID();
  }
  return nullptr;
}

}  // namespace

File::File(Key) : appointments_(Appointments::New()) {}

File::~File() = default;

FilePtr File::New() { return std::make_shared<File>(Key{}); }

CalendarPtr File::Calendar() const { return owner_ ? owner_->Get() : core::SharedCalendar(); }

void File::SetCalendar(const CalendarPtr& calendar) {
  if (!owner_) {
    if (core::IsShared(calendar.get())) return;  // an empty reference already means it
    owner_ = std::make_unique<core::CalendarRef>();
  }
  owner_->SetOwner(calendar);
}

void File::ResolveLinks() {
  if (links_resolved_) return;
  const CalendarPtr calendar = Calendar();
  const AppointmentsPtr list = appointments_;
  for (int32_t i = 1; list && i <= list->Count(); ++i) {
    try {
      AppointmentPtr entry = list->Item(i);
      auto* link = dynamic_cast<AppointmentLink*>(entry.get());
      if (!link || link->AppointmentType() != 2) continue;
      AppointmentPtr destination;
      if (calendar) destination = FinalDestination(*calendar, *link);
      if (destination) {
        // From now on the link names its appointment directly, and is
        // written so at its month's next save: the links in between may go
        // (their appointment moved, their number handed to another) while
        // this one would still name them.
        link->SetDestinationFile(destination->File());
        link->SetDestinationID(destination->ID());
      }
      link->SetDestination(std::move(destination));
    } catch (const std::exception&) {
      // A link that cannot be resolved stays without destination.
    }
  }
  links_resolved_ = true;
}

int32_t File::GetEmptyID() {
  if (reserved_id_ != 0) {
    const int32_t id = reserved_id_;
    reserved_id_ = 0;
    return id;
  }
  const orncal::Appointments& list = ListOf(appointments_);
  int32_t id = 1;
  while (list.ExistsID(id))
    ++id;
  return id;
}

bool File::ItemExists(int32_t ID) const { return ListOf(appointments_).ExistsID(ID); }

bool File::Load() {
  try {
    const CalendarPtr calendar = Calendar();
    if (!calendar) throw Error(ErrorNumber::kObjectNotSet);
    calendar->Internal().Notifier().NotifyBeforeLoadFile(core::InstanceID(), file_long_,
                                                         calendar->Path());
    std::string bytes;
    const platform::FolderLock reading(file_path_, false);
    if (platform::Fs().ReadFile(file_path_, &bytes).ok() &&
        store::DecodeMonthFileInto(bytes, file_long_, calendar, ListOf(appointments_)).ok) {
      return true;
    }
  } catch (const std::exception&) {
    // A failing notifier, a missing list or a file too large for memory.
  }
  load_failed_ = true;
  ShowMessage(LoadFailureText(file_path_), MessageStyle::kCritical);
  return false;
}

void File::ResetChanged() {
  for (const AppointmentPtr& entry : ListOf(appointments_)) {
    try {
      entry->SetChanged(false);
    } catch (const Error&) {
      // An unresolved link has no destination to clear.
    }
  }
  changed_ = false;
}

void File::NewLoaded() {
  reserved_id_ = 0;
  SaveIfChanged();
}

void File::SaveIfChanged() {
  bool due = changed_;
  for (auto it = ListOf(appointments_).begin(); !due && it != appointments_->end(); ++it) {
    due = (*it)->AppointmentType() == 1 && (*it)->Changed();
  }
  if (due) SaveFile();
}

void File::SaveFile() {
  const std::string& path = file_path_;
  auto fail = [&] { ShowMessage(SaveFailureText(path), MessageStyle::kCritical); };

  // The whole file is made in memory first, so that an entry that cannot
  // be written leaves the old file untouched.
  std::string bytes;
  try {
    bytes = store::EncodeMonthFile(ListOf(appointments_));
  } catch (const std::exception&) {
    return fail();
  }

  const bool written =
      store::ReplaceFile(path, bytes,
                         {.Commit =
                              [&] {
                                // A failing notice puts the old file back, although Changed is
                                // already cleared.
                                changed_ = false;
                                const CalendarPtr calendar = Calendar();
                                if (!calendar) throw Error(ErrorNumber::kObjectNotSet);
                                calendar->Internal().own_changes.erase(file_long_);
                                calendar->Internal().Notifier().NotifySaved(
                                    core::InstanceID(), file_long_, calendar->Path());
                              },
                          // A month that could not be read whole is written from what was
                          // read: its old file stays as the backup, so that nothing unread is
                          // lost.
                          .KeepBackup = load_failed_});
  if (!written) return fail();
  load_failed_ = false;
}

}  // namespace orncal
