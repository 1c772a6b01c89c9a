// Two-way sync of a calendar with one CalDAV collection.
//
// The state of the last sync is kept per collection in the data folder
// (sync-<digest of the URL>.json): for every UID the object's href and
// ETag on the server and a digest of what the calendar held. What changed
// on one side since then goes to the other, deletions too; what changed on
// both sides is kept twice: the local version goes to the server and the
// server's version comes in beside it as a new object, its title marked.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "interop/caldav.h"
#include "interop/identity.h"
#include "orncalendar/fwd.h"

namespace orncal::interop {

// Put after the title of the server's copy of something changed on both
// sides.
inline constexpr const char* kConflictMarker = " [Konflikt]";

struct SyncOptions {
  std::string Url;
  std::string User;
  std::string Password;
  // Make the collection when the server has none at the URL.
  bool Create = false;
  Date Now = 0;
  // Recurrences no series describes come in as appointments this many
  // years around Now; series no rule describes go out as their days from a
  // year before Now to this many years after it.
  double HorizonYears = 2;
};

struct SyncReport {
  int Pushed = 0;
  int Pulled = 0;
  int DeletedHere = 0;
  int DeletedThere = 0;
  int Unchanged = 0;
  // Changed on the server while this sync ran: left for the next one.
  int Deferred = 0;
  // The titles of what was kept twice.
  std::vector<std::string> Conflicts;
  // "UID: FIELD" of every text taken in with characters Windows-1252 has
  // not (kept as '?').
  std::vector<std::string> Unstorable;
};

// Syncs. `save` writes the calendar's changes (it throws when it cannot);
// it runs before the state is written, at the end and also when the
// server fails part way (then SyncError is raised after it, and the next
// sync goes on from what was done).
SyncReport Synchronize(Calendar& calendar, Identity& identity, const SyncOptions& options,
                       const std::function<void()>& save);

// The state file of a collection in a data folder.
std::string StatePath(const std::string& dataFolder, const std::string& url);

}  // namespace orncal::interop
