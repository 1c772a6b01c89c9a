// What a month made in memory has to be linked to.
//
// A month without a file gets a link to every real appointment of an
// earlier listed month whose period reaches into it. Walked plainly that is
// every appointment of every listed month for every month made, and a query
// over centuries makes one month for each month it passes, so the walk grows
// with the square of the months. The index keeps out of that walk what
// cannot make a link:
// - months made in memory hold links only until an appointment is filed
//   into them, so they are not walked;
// - of a month's real appointments only those whose period may reach past
//   the month's end are looked at: a simple period or a series that is over
//   by then meets no later month.
// Both are worked out again when what they were worked out from changes
// (the month list or a month's appointments, told by their versions, and
// any appointment said to be changed), so the links made, and their order,
// are those of the plain walk.
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "orncalendar/collection.h"
#include "orncalendar/fwd.h"

namespace orncal::core {

class ReachIndex {
 public:
  // The listed months that may hold real appointments, in their listed
  // order.
  const std::vector<int32_t>& Months(const Collection<int32_t>& allFiles);
  // A month of links only was made and added at the end of the list.
  void MadeLinkOnly(const Collection<int32_t>& allFiles, int32_t fileLong);
  // A month listed already (its file gone, or an odd name) was made, of
  // links only.
  void MadeListedLinkOnly(int32_t fileLong);
  // An appointment was filed into a month.
  void Filed(int32_t fileLong);
  // The real appointments of a month that may reach a later month, in the
  // order of the month's list.
  const std::vector<AppointmentPtr>& Reaching(const File& file);
  // An appointment was changed in place: its period may reach further now.
  void PeriodsChanged();
  void Clear();

 private:
  struct Reach {
    std::weak_ptr<const Collection<AppointmentPtr>> list;
    uint64_t version = 0;
    std::vector<AppointmentPtr> appointments;
  };

  const Collection<int32_t>* all_files_ = nullptr;
  uint64_t all_files_version_ = 0;
  std::vector<int32_t> months_;
  std::unordered_set<int32_t> link_only_;
  std::unordered_map<int32_t, Reach> reach_;
};

}  // namespace orncal::core
