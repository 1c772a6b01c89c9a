// The global allocation functions of the robustness test program, replaced
// to record the largest single allocation and the bytes held at once. They
// stand in a file of their own so that they are not inlined where the
// tests allocate: GCC then takes the malloc and free inside them for a
// mismatch with new and delete.
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

size_t g_largest_allocation = 0;
std::atomic<size_t> g_held_bytes{0};
std::atomic<size_t> g_peak_held_bytes{0};

namespace {
// Each block carries its size in front of it, so that its release is
// counted too.
constexpr size_t kHeader = alignof(std::max_align_t);
}  // namespace

void* operator new(size_t size) {
  if (size > g_largest_allocation) g_largest_allocation = size;
  void* block = std::malloc(size + kHeader);
  if (!block) throw std::bad_alloc();
  *static_cast<size_t*>(block) = size;
  const size_t held = g_held_bytes += size;
  for (size_t peak = g_peak_held_bytes; held > peak;)
    if (g_peak_held_bytes.compare_exchange_weak(peak, held)) break;
  return static_cast<char*>(block) + kHeader;
}
void operator delete(void* p) noexcept {
  if (!p) return;
  void* block = static_cast<char*>(p) - kHeader;
  g_held_bytes -= *static_cast<size_t*>(block);
  std::free(block);
}
void operator delete(void* p, size_t) noexcept { operator delete(p); }
