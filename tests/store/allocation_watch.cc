// The global allocation functions of the robustness test program, replaced
// to record the largest single allocation. They stand in a file of their
// own so that they are not inlined where the tests allocate: GCC then takes
// the malloc and free inside them for a mismatch with new and delete.
#include <cstddef>
#include <cstdlib>
#include <new>

size_t g_largest_allocation = 0;

void* operator new(size_t size) {
  if (size > g_largest_allocation) g_largest_allocation = size;
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
