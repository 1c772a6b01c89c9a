#include "interop/sync.h"

#include <libical/ical.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "interop/ical.h"
#include "interop/series_rule.h"
#include "orncalendar/appointment.h"
#include "orncalendar/calendar.h"
#include "orncalendar/ole_date.h"
#include "orncalendar/task.h"

namespace orncal::interop {
namespace {

constexpr double kYear = 365.2425;

struct Known {
  std::string href;
  std::string etag;
  std::string digest;
};

using State = std::map<std::string, Known>;

// A member's text, or empty when it is missing or not a text.
std::string TextOf(const nlohmann::json& object, const char* key) {
  const auto it = object.find(key);
  return it != object.end() && it->is_string() ? it->get<std::string>() : std::string();
}

State LoadState(const std::string& path, const std::string& url) {
  State state;
  const std::optional<std::string> text = ReadWholeFile(path);
  if (!text) return state;
  const nlohmann::json doc = nlohmann::json::parse(*text, nullptr, false);
  if (!doc.is_object() || !doc.contains("items") || !doc["items"].is_array() ||
      TextOf(doc, "url") != url) {
    throw SyncError("the sync state '" + path +
                    "' cannot be read; move it away to start afresh (nothing is lost: what "
                    "differs is then kept twice)");
  }
  for (const nlohmann::json& item : doc["items"]) {
    if (!item.is_object() || TextOf(item, "uid").empty()) continue;
    state[TextOf(item, "uid")] = {TextOf(item, "href"), TextOf(item, "etag"),
                                  TextOf(item, "digest")};
  }
  return state;
}

void SaveState(const std::string& path, const std::string& url, const State& state) {
  nlohmann::json items = nlohmann::json::array();
  for (const auto& [uid, known] : state)
    items.push_back(
        {{"uid", uid}, {"href", known.href}, {"etag", known.etag}, {"digest", known.digest}});
  const nlohmann::json doc = {{"url", url}, {"items", items}};
  if (!WriteFileAtomically(path, doc.dump(1) + "\n")) {
    throw SyncError("the sync state '" + path + "' could not be written");
  }
}

// What a sync needs to know of an object's data before it imports it: the
// UID of its first event or to-do, and whether that is an open to-do (with
// its title and DUE as written).
struct Facts {
  std::string uid;
  bool open_todo = false;
  std::string summary;
  std::string due;
};

Facts FactsOfData(const std::string& data) {
  Facts facts;
  icalcomponent* root = icalparser_parse_string(data.c_str());
  if (!root) return facts;
  for (icalcomponent* c = icalcomponent_get_first_component(root, ICAL_ANY_COMPONENT);
       c && facts.uid.empty(); c = icalcomponent_get_next_component(root, ICAL_ANY_COMPONENT)) {
    const icalcomponent_kind kind = icalcomponent_isa(c);
    if ((kind != ICAL_VEVENT_COMPONENT && kind != ICAL_VTODO_COMPONENT) ||
        !icalcomponent_get_uid(c)) {
      continue;
    }
    facts.uid = icalcomponent_get_uid(c);
    if (kind != ICAL_VTODO_COMPONENT) break;
    icalproperty* status = icalcomponent_get_first_property(c, ICAL_STATUS_PROPERTY);
    facts.open_todo = !icalcomponent_get_first_property(c, ICAL_COMPLETED_PROPERTY) &&
                      !(status && icalproperty_get_status(status) == ICAL_STATUS_COMPLETED);
    if (const char* summary = icalcomponent_get_summary(c)) facts.summary = summary;
    if (icalproperty* due = icalcomponent_get_first_property(c, ICAL_DUE_PROPERTY)) {
      if (const char* text = icalproperty_get_value_as_string(due)) facts.due = text;
    }
  }
  icalcomponent_free(root);
  return facts;
}

std::string GroupDigest(const std::vector<LocalItem>& items) {
  std::string all;
  for (const LocalItem& item : items)
    all += ContentDigest(item);
  return items.size() == 1 ? all : Digest(all);
}

// Expanded recurrences stand here as several appointments under one UID;
// they are the server's, and local changes to them stay here.
bool Expanded(const std::vector<LocalItem>& items) {
  if (items.size() != 1) return true;
  return items.front().appointment && TagValue(*items.front().appointment, kInstanceTag);
}

}  // namespace

std::string StatePath(const std::string& dataFolder, const std::string& url) {
  return FolderFile(dataFolder, "sync-" + Digest(url) + ".json");
}

SyncReport Synchronize(Calendar& calendar, Identity& identity, const SyncOptions& options,
                       const std::function<void()>& save) {
  SyncReport report;
  const std::string state_path = StatePath(calendar.Path(), options.Url);
  State state = LoadState(state_path, options.Url);
  DavClient server(options.Url, options.User, options.Password);

  std::optional<std::vector<RemoteObject>> listed = server.List();
  if (!listed) {
    if (!options.Create) {
      throw SyncError("the server has no collection at the URL (--create makes one)");
    }
    server.MakeCalendar();
    listed.emplace();
  }
  std::map<std::string, RemoteObject> remote;
  std::map<std::string, Facts> open_todos;
  for (RemoteObject& object : *listed) {
    Facts facts = FactsOfData(object.Data);
    if (facts.uid.empty()) continue;
    if (facts.open_todo) open_todos[facts.uid] = facts;
    remote[facts.uid] = std::move(object);
  }

  std::map<std::string, std::vector<LocalItem>> local;
  for (LocalItem& item : CollectItems(calendar, identity, kMinDate, kMaxDate + 1))
    local[item.uid].push_back(std::move(item));

  // A task completed here is its completion appointment now, under a UID
  // of its own. It takes back the UID of the open to-do it was (known from
  // the last sync, gone here, still open on the server with the same title
  // and due time), so that the server sees that to-do completed rather than
  // one removed and another added.
  std::vector<std::pair<std::string, std::string>> renames;
  std::set<std::string> taken;
  for (const auto& [uid, items] : local) {
    if (items.size() != 1 || items.front().kind != LocalItem::kDoneTask || state.contains(uid) ||
        remote.contains(uid) || TagValue(*items.front().appointment, kUidTag)) {
      continue;
    }
    Task& task = *items.front().task;
    const std::string due = task.PlannedEnd() == 0 ? "" : IcalDateTimeText(task.PlannedEnd());
    for (const auto& [other, facts] : open_todos) {
      if (state.contains(other) && !local.contains(other) && !taken.contains(other) &&
          facts.summary == task.Title() && facts.due == due) {
        renames.emplace_back(uid, other);
        taken.insert(other);
        break;
      }
    }
  }
  for (const auto& [from, to] : renames) {
    auto node = local.extract(from);
    for (LocalItem& item : node.mapped()) {
      item.uid = to;
      SetTagValue(*item.appointment, kUidTag, to);
      item.appointment->NotifyChange();
    }
    node.key() = to;
    local.insert(std::move(node));
  }

  Importer importer(calendar, identity);
  ImportOptions pull;
  pull.Now = options.Now;
  pull.HorizonYears = options.HorizonYears;
  const ExportOptions window{options.Now - 5 * kYear, options.Now + 5 * kYear};

  // What an object becomes here after a pull, as the state records it.
  const auto digest_here = [&](const std::string& uid) {
    return GroupDigest(importer.ItemsOf(uid));
  };
  // The UID of what is pushed sticks to it from now on.
  const auto keep_uid = [&](const std::vector<LocalItem>& items) {
    for (const LocalItem& item : items) {
      if (item.kind == LocalItem::kOpenTask) {
        identity.SetTaskUid(item.task->ID(), item.uid);
      } else if (!TagValue(*item.appointment, kUidTag)) {
        SetTagValue(*item.appointment, kUidTag, item.uid);
        item.appointment->NotifyChange();
      }
    }
  };
  // Puts the local version; false when the server's object changed
  // meanwhile.
  const auto push = [&](const std::string& uid, const std::vector<LocalItem>& items,
                        const std::string& href, const std::string& ifMatch) {
    const std::string data = ExportItems(calendar, items, window);
    if (data.find("BEGIN:V", 15) == std::string::npos) return true;  // nothing to write
    const DavClient::PutResult put = server.Put(href, data, ifMatch);
    if (put.outcome != DavClient::Outcome::kDone) {
      ++report.Deferred;
      return false;
    }
    keep_uid(items);
    state[uid] = {href, put.ETag, GroupDigest(items)};
    ++report.Pushed;
    return true;
  };
  const auto pull_object = [&](const std::string& uid, const RemoteObject& object) {
    const ImportReport r = importer.Import(object.Data, pull);
    report.Unstorable.insert(report.Unstorable.end(), r.Unstorable.begin(), r.Unstorable.end());
    state[uid] = {object.Href, object.ETag, digest_here(uid)};
    ++report.Pulled;
  };
  // Whether the server's object holds what the calendar holds.
  const auto same = [&](const RemoteObject& object) {
    ImportOptions dry = pull;
    dry.DryRun = true;
    const ImportReport r = importer.Import(object.Data, dry);
    return r.Created == 0 && r.Updated == 0 && r.TasksCreated == 0 && r.TasksUpdated == 0;
  };

  std::set<std::string> uids;
  for (const auto& [uid, _] : state)
    uids.insert(uid);
  for (const auto& [uid, _] : remote)
    uids.insert(uid);
  for (const auto& [uid, _] : local)
    uids.insert(uid);

  try {
    for (const std::string& uid : uids) {
      const auto s = state.find(uid);
      const auto r = remote.find(uid);
      const auto l = local.find(uid);
      const bool was = s != state.end(), there = r != remote.end(), here = l != local.end();
      const bool changed_here = here && (!was || GroupDigest(l->second) != s->second.digest);
      const bool changed_there = there && (!was || r->second.ETag != s->second.etag);
      try {
        if (!there && !here) {
          state.erase(uid);
        } else if (!there) {
          if (was && !changed_here) {
            importer.Remove(uid);
            state.erase(uid);
            ++report.DeletedHere;
          } else if (!Expanded(l->second)) {
            push(uid, l->second, server.HrefFor(uid), "");
          }
        } else if (!here) {
          if (was && !changed_there) {
            if (server.Delete(r->second.Href, r->second.ETag) ==
                DavClient::Outcome::kPreconditionFailed) {
              ++report.Deferred;
              continue;
            }
            state.erase(uid);
            ++report.DeletedThere;
          } else {
            pull_object(uid, r->second);
          }
        } else if (!changed_here && !changed_there) {
          ++report.Unchanged;
        } else if (!changed_here) {
          pull_object(uid, r->second);
        } else if (!changed_there || Expanded(l->second)) {
          if (Expanded(l->second)) {
            state[uid] = {r->second.Href, r->second.ETag, GroupDigest(l->second)};
          } else {
            push(uid, l->second, r->second.Href, r->second.ETag);
          }
        } else if (same(r->second)) {
          state[uid] = {r->second.Href, r->second.ETag, GroupDigest(l->second)};
          ++report.Unchanged;
        } else {
          // Changed on both sides: the server's version comes in as a new
          // object beside the local one, and both go to the server.
          ImportOptions copy = pull;
          copy.AsNewCopies = true;
          copy.TitleSuffix = kConflictMarker;
          const ImportReport added = importer.Import(r->second.Data, copy);
          report.Unstorable.insert(report.Unstorable.end(), added.Unstorable.begin(),
                                   added.Unstorable.end());
          push(uid, l->second, r->second.Href, r->second.ETag);
          for (const std::string& copy_uid : added.Uids) {
            const std::vector<LocalItem> items = importer.ItemsOf(copy_uid);
            for (const LocalItem& item : items) {
              report.Conflicts.push_back(item.task ? item.task->Title()
                                                   : item.appointment->Title());
            }
            if (!items.empty() && !Expanded(items))
              push(copy_uid, items, server.HrefFor(copy_uid), "");
          }
        }
      } catch (const ImportError&) {
        // An object the server holds that is no iCalendar data stays there,
        // unread, and is not taken for a deletion.
        ++report.Deferred;
      }
    }
  } catch (const SyncError&) {
    // What was done so far is kept, so the next sync goes on from there.
    save();
    identity.Save();
    SaveState(state_path, options.Url, state);
    throw;
  }
  save();
  if (!identity.Save())
    throw SyncError("the interop file in '" + calendar.Path() + "' could not be written");
  SaveState(state_path, options.Url, state);
  return report;
}

}  // namespace orncal::interop
