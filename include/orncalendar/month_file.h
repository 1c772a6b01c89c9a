// Reading a month file's bytes without a calendar, for tools that inspect
// the data folder.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "orncalendar/fwd.h"

namespace orncal {

// The version the library writes.
inline constexpr int32_t kMonthFileVersion = 10003;

struct MonthFileContents {
  // The version field as stored (any value is read).
  int32_t Version = 0;
  // The records in file order, keyed by their numbers: AppointmentReal for
  // real appointments, AppointmentLink (unresolved, see DestinationFile and
  // DestinationID) for links.
  AppointmentsPtr Records;
  // False when the bytes are malformed; Records then holds what was read
  // before the fault and Problem says what and where it was.
  bool Complete = true;
  std::string Problem;
  // Whether the records ended with the end mark the writer always writes;
  // without it the file may have been cut short between two records.
  bool EndMark = false;
};

// Decodes the bytes of a month file whose FileLong is `fileLong` (every
// record gets it as its OutsideFile). Never raises for any bytes given.
MonthFileContents DecodeMonthFile(std::string_view bytes, int32_t fileLong);

}  // namespace orncal
