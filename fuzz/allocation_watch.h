// The largest single allocation since the last Reset, seen through the
// sanitizers' allocation hooks: the readers of outside bytes must not
// allocate more than those bytes can justify.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>

// The sanitizer runtime's hook registration (declared here rather than
// through its header, which not every compiler ships).
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*malloc_hook)(const volatile void*,
                                                                             size_t),
                                                         void (*free_hook)(const volatile void*));

namespace orncal::fuzz {

class AllocationWatch {
 public:
  AllocationWatch() {
    static const bool installed = __sanitizer_install_malloc_and_free_hooks(&Seen, &Freed);
    (void)installed;
    Reset();
  }
  void Reset() { Largest() = 0; }
  // Aborts when an allocation since Reset was larger than `bound` bytes.
  void Expect(size_t bound, const char* what) const {
    if (Largest() > bound) {
      std::fprintf(stderr, "%s allocated %zu bytes at once (bound %zu)\n", what, Largest(), bound);
      std::abort();
    }
  }

 private:
  static size_t& Largest() {
    static size_t largest = 0;
    return largest;
  }
  static void Seen(const volatile void*, size_t size) {
    if (size > Largest()) Largest() = size;
  }
  static void Freed(const volatile void*) {}
};

}  // namespace orncal::fuzz
