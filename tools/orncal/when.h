// WHEN arguments of the command line: YYYY-MM-DD, YYYY-MM-DDTHH:MM,
// YYYY-MM-DDTHH:MM:SS (local wall-clock time) or ole:NUMBER (a raw OLE
// date).
#pragma once

#include <string>
#include <string_view>

#include "orncalendar/fwd.h"

namespace orncal::cli {

// The OLE date of a WHEN argument: the day number plus
// (h * 3600 + m * 60 + s) / 86400 (minus, for days before 30 December 1899,
// whose time of day OLE counts away from zero). Throws std::invalid_argument
// with a message that names the argument when it is not a valid WHEN.
Date ParseWhen(std::string_view text);

}  // namespace orncal::cli
