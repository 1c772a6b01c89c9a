#include "support/registry.h"

namespace orncal::testing {

struct ScopedEmptyRegistry::Keys {};

ScopedEmptyRegistry::ScopedEmptyRegistry() = default;
ScopedEmptyRegistry::~ScopedEmptyRegistry() = default;

}  // namespace orncal::testing
