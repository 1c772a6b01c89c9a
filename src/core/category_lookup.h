// How an appointment finds the colour of its category.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "orncalendar/fwd.h"

namespace orncal::core {

// The colour the calendar's category store gives a category, or nullopt
// when the store knows no such category.
std::optional<int32_t> CategoryColor(Calendar& calendar, std::string_view category);

}  // namespace orncal::core
