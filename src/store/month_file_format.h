// The bytes of a month file. All fields are little-endian without padding:
//
//   file    = Long version, record*, Byte 0 (end mark; the end of the data
//             counts as the end mark too)
//   record  = Byte type (1 real, 2 link), Long number, then
//     real:   Text Title, Text Notes, Text Category, Flag AllDay,
//             Flag Remind, Long RemindAt,
//             [>= 10001] Long Flags, Long t, t x (Text name, type, data),
//             [>= 10003] Text Project,
//             Byte period type, then for 2 (recurring) Date Start, End,
//             SeriesStart, SeriesEnd, Flag Eternal, Long RepetitionMode,
//             Long n, Long m (n before m), Long Weekdays, [>= 10002] Long
//             InMonth; for any other type Date Start, Date End
//     link:   Long DestinationFile, Long DestinationID
//   Text    = Long count, count bytes of Windows-1252 (nothing when <= 0)
//   Flag    = Byte, written 255 for true, read true when not 0
//   Date    = 8-byte IEEE double, an OLE date
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "orncalendar/fwd.h"

namespace orncal::store {

struct DecodeResult {
  int32_t version = 0;
  // False for malformed bytes: a record cut short, a text or tag count
  // reaching beyond the end, an unknown record type or a number used twice.
  bool ok = true;
  std::string problem;
  // Whether the records ended with the end mark (the end of the data
  // counts as one, but a file cut short between two records ends so too).
  bool end_mark = false;
};

// Appends the records of a month file to `into`, keyed by their numbers, in
// file order. Every record gets `fileLong` as its OutsideFile; real
// appointments get `owner` as their owning calendar. A malformed record is
// left out and ends the reading; the records before it stay. Nothing is
// allocated beyond what the bytes can hold.
DecodeResult DecodeMonthFileInto(std::string_view bytes, int32_t fileLong, const CalendarPtr& owner,
                                 Appointments& into);

// The bytes of a month file of version 10003 holding the entries of `list`.
// Entries of a type other than 1 and 2 are written as their first two
// fields only. Raises orncal::Error for an entry that cannot be written (a
// real appointment without a period, a text beyond 2 GB).
std::string EncodeMonthFile(const Appointments& list);

// One real appointment as a record of the current version (type, number,
// fields), as the messages between processes carry it. Raises
// orncal::Error as EncodeMonthFile does.
std::string EncodeAppointmentRecord(const Appointment& appointment);
// Reads a record of a real appointment of the current version that fills
// `bytes` exactly, giving it `fileLong` as its File; nullptr (with
// `problem` said) for anything else.
AppointmentRealPtr DecodeAppointmentRecord(std::string_view bytes, int32_t fileLong,
                                           std::string* problem);

}  // namespace orncal::store
