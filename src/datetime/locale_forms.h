// The texts whose form a host's locale would decide: a date written as text
// (the planned end a completed task keeps in a tag) and a number written as
// text (the moments in SpRmdTim.ini). They are written in the German forms
// and read in the German, ISO 8601 and C forms, so that files written under
// any of these read back.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "orncalendar/fwd.h"

namespace orncal {

// "dd.mm.yyyy hh:mm:ss", the time rounded to the second and left out at
// midnight ("14.05.2008", "14.05.2008 10:30:00"). Error 6 for a date
// outside 1 January 100 to 31 December 9999.
std::string FormatLocaleDate(Date date);

// A date in one of these forms, surrounded by spaces or not; nullopt for
// anything else (or a day, month or time that does not exist):
//   German   d.m.yyyy, optionally followed by " h:mm" or " h:mm:ss"
//   ISO 8601 yyyy-mm-dd, optionally followed by "T" or " " and hh:mm[:ss]
//   C        m/d/yyyy, optionally followed by " h:mm[:ss]" and " AM"/" PM"
//   time     h:mm[:ss] alone: that time on 30 December 1899
// Years run from 100 to 9999. Before 30 December 1899 the time counts away
// from zero, as OLE dates do.
std::optional<Date> ParseLocaleDate(std::string_view text);

// The shortest text that reads back as exactly the same double, in plain
// positional notation with a decimal comma ("39520,5", "-1,25", "39582").
// Non-finite values are written as "0".
std::string FormatLocaleNumber(double value);

// A decimal number with a comma or a point as its decimal separator, an
// optional sign and exponent, surrounded by spaces or not; nullopt for
// anything else (a second separator, digit grouping, a non-finite value).
std::optional<double> ParseLocaleNumber(std::string_view text);

}  // namespace orncal
