// The roots are redirected (RegOverridePredefKey) to one empty, volatile key
// below HKEY_CURRENT_USER\Software\OrnavelCalendarTests, which is removed
// again afterwards and would vanish with the session anyway.
#include <windows.h>

#include <string>

#include "support/registry.h"

namespace orncal::testing {

struct ScopedEmptyRegistry::Keys {
  std::string path;
  HKEY empty = nullptr;
};

ScopedEmptyRegistry::ScopedEmptyRegistry() : keys_(std::make_unique<Keys>()) {
  static int count = 0;
  keys_->path = "Software\\OrnavelCalendarTests\\empty-" + std::to_string(GetCurrentProcessId()) +
                "-" + std::to_string(++count);
  if (RegCreateKeyExA(HKEY_CURRENT_USER, keys_->path.c_str(), 0, nullptr, REG_OPTION_VOLATILE,
                      KEY_ALL_ACCESS, nullptr, &keys_->empty, nullptr) != ERROR_SUCCESS) {
    keys_->empty = nullptr;
    return;
  }
  RegOverridePredefKey(HKEY_CURRENT_USER, keys_->empty);
  RegOverridePredefKey(HKEY_LOCAL_MACHINE, keys_->empty);
}

ScopedEmptyRegistry::~ScopedEmptyRegistry() {
  if (!keys_->empty) return;
  RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
  RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  RegCloseKey(keys_->empty);
  RegDeleteKeyA(HKEY_CURRENT_USER, keys_->path.c_str());
  RegDeleteKeyA(HKEY_CURRENT_USER, "Software\\OrnavelCalendarTests");  // only when empty
}

}  // namespace orncal::testing
