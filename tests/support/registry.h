// Registry scaffolding for tests that must not see the machine's own
// registry values, such as the "Shell Folders" fall-back of the special
// folders.
#pragma once

#include <memory>

namespace orncal::testing {

// For the life of the object the registry roots HKEY_CURRENT_USER and
// HKEY_LOCAL_MACHINE of this process are empty keys of their own, so every
// registry read answers its default. Where there is no registry this does
// nothing.
class ScopedEmptyRegistry {
 public:
  ScopedEmptyRegistry();
  ~ScopedEmptyRegistry();
  ScopedEmptyRegistry(const ScopedEmptyRegistry&) = delete;
  ScopedEmptyRegistry& operator=(const ScopedEmptyRegistry&) = delete;

 private:
  struct Keys;
  std::unique_ptr<Keys> keys_;
};

}  // namespace orncal::testing
