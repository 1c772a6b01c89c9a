#include "core/category_lookup.h"

namespace orncal::core {

// The calendar has no category store yet, so no category is known.
std::optional<int32_t> CategoryColor(Calendar&, std::string_view) { return std::nullopt; }

}  // namespace orncal::core
