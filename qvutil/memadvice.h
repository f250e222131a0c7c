// Internal memory helpers of qvutil for large buffers: the kernel faults them in page by page,
// and asking for transparent huge pages on their untouched part cuts that cost (and the TLB
// misses of random access) several-fold where the system offers them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace qvutil_detail {

inline void adviseHugePages(void* begin, std::size_t length) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  constexpr std::uintptr_t kHuge = std::uintptr_t(1) << 21;
  if (length < 2 * kHuge) return;
  const std::uintptr_t first = (reinterpret_cast<std::uintptr_t>(begin) + kHuge - 1) & ~(kHuge - 1);
  const std::uintptr_t last = (reinterpret_cast<std::uintptr_t>(begin) + length) & ~(kHuge - 1);
  if (last > first) madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#else
  (void)begin;
  (void)length;
#endif
}

struct FreeDeleter {
  void operator()(void* p) const { std::free(p); }
};

// A zero-filled array whose pages are only touched when written (calloc of a large block maps
// fresh zero pages), so an array sized for the worst case costs what is used.
template <typename T>
std::unique_ptr<T[], FreeDeleter> zeroedArray(std::size_t n) {
  void* p = std::calloc(n, sizeof(T));
  if (!p) throw std::bad_alloc();
  adviseHugePages(p, n * sizeof(T));
  return std::unique_ptr<T[], FreeDeleter>(static_cast<T*>(p));
}

}  // namespace qvutil_detail
