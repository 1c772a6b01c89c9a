#include "core/category_lookup.h"

#include "orncalendar/calendar.h"
#include "orncalendar/categories.h"

namespace orncal::core {

std::optional<int32_t> CategoryColor(Calendar& calendar, std::string_view category) {
  CategoriesPtr categories = calendar.Categories();
  return categories ? categories->KnownColor(category) : std::nullopt;
}

}  // namespace orncal::core
