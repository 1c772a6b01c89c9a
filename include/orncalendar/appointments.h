// The ordered, 1-based list of appointments: the content of a month file
// (keyed by appointment number) and the result of the calendar's queries
// (unkeyed).
#pragma once

#include <cstdint>
#include <string_view>

#include "orncalendar/collection.h"
#include "orncalendar/fwd.h"

namespace orncal {

class Appointments {
  struct Key {
    explicit Key() = default;
  };

 public:
  using Items = Collection<AppointmentPtr>;

  explicit Appointments(Key);
  static AppointmentsPtr New();

  // The list's own collection, not a copy: changes through it change this
  // list (until Sort replaces it).
  CollectionPtr<AppointmentPtr> ConvertToCollection() const { return items_; }
  // The entry at a 1-based position (error 9 when there is none) ...
  const AppointmentPtr& Item(int32_t IndexKey) const { return items_->Item(IndexKey); }
  // ... or under a key, the text of an appointment number (error 5).
  const AppointmentPtr& Item(std::string_view IndexKey) const { return items_->Item(IndexKey); }
  int32_t Count() const { return items_->Count(); }
  // Removes every link whose destination is also in the list, itself or
  // through another entry: of two such entries the earlier link goes. Only
  // links (type 2) are ever removed, and the test is identity.
  void RemoveDoubles();
  // Walks the entries in order (the object model's NewEnum). The list must
  // not change during the walk.
  Items::const_iterator begin() const { return items_->begin(); }
  Items::const_iterator end() const { return items_->end(); }
  // Orders the list for display: all-day entries first, then by start, each
  // entry seen through its Target. The order of equal entries is the one a
  // Shell sort with the gaps ..., 40, 13, 4, 1 leaves, not the original
  // order. The sorted list carries no keys any more, so the lookups by
  // number find nothing afterwards: Sort is meant for query results.
  void Sort();

  // -- Library-internal

  // Appends under the text of the appointment's OutsideID; a number already
  // in the list raises error 457.
  void AddKeyed(AppointmentPtr appointment);
  // Appends without key.
  void Add(AppointmentPtr appointment) { items_->Add(std::move(appointment)); }
  // Makes room for `count` keyed entries in all.
  void Reserve(size_t count) { items_->Reserve(count, true); }
  // The entry numbered ID, or nullptr; never raises.
  AppointmentPtr ItemByID(int32_t ID) const;
  bool ExistsID(int32_t ID) const;
  // Error 9 for a position that does not exist.
  void RemoveAt(int32_t Index) { items_->Remove(Index); }
  // Error 5 for a number that is not in the list.
  void RemoveByID(int32_t ID);

 private:
  CollectionPtr<AppointmentPtr> items_;
};

}  // namespace orncal
