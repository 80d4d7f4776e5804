#include "fuzz/costs.h"

#include <time.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>

// Of the sanitizers' allocator.
extern "C" {
__attribute__((weak)) std::size_t __sanitizer_get_allocated_size(const volatile void* memory);
__attribute__((weak)) int __sanitizer_install_malloc_and_free_hooks(
    void (*onMalloc)(const volatile void*, std::size_t), void (*onFree)(const volatile void*));
}

namespace fuzz {
namespace {

std::int64_t live;
std::int64_t peak;
std::uint64_t allocated;

void countMalloc(const volatile void* /*memory*/, std::size_t size) {
  allocated += size;
  live += static_cast<std::int64_t>(size);
  peak = std::max(peak, live);
}

void countFree(const volatile void* memory) {
  if (memory != nullptr) live -= static_cast<std::int64_t>(__sanitizer_get_allocated_size(memory));
}

/// Of this thread: microseconds.
std::uint64_t processorTime() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000 +
         static_cast<std::uint64_t>(now.tv_nsec) / 1000;
}

void checkOne(const char* what, std::uint64_t figure, Bound bound, std::size_t size) {
  const std::uint64_t most = bound.fixed + bound.perByte * size;
  if (figure <= most) return;
  std::fprintf(stderr,
               "%s: %" PRIu64 " for an input of %zu bytes; the bound is %" PRIu64 " = %" PRIu64
               " + %" PRIu64 " for each byte\n",
               what, figure, size, most, bound.fixed, bound.perByte);
  std::abort();
}

}  // namespace

Costs::Costs() {
  static const bool counted =
      __sanitizer_install_malloc_and_free_hooks != nullptr &&
      __sanitizer_install_malloc_and_free_hooks(countMalloc, countFree) != 0;
  static_cast<void>(counted);
  liveBefore_ = peak = live;
  allocatedBefore_ = allocated;
  begin_ = processorTime();
}

void Costs::check(std::size_t inputSize, Bound peakBytes, Bound allocatedBytes) const {
  // Generous, as other programs slow this one down; too much copying shows up in the bytes.
  constexpr Bound kMicroseconds{1'000'000, 100};
  const std::uint64_t time = processorTime() - begin_;
  if (BOARDCTL_FUZZ != 0) checkOne("microseconds", time, kMicroseconds, inputSize);
  checkOne("bytes of memory at once", static_cast<std::uint64_t>(peak - liveBefore_), peakBytes,
           inputSize);
  checkOne("bytes of memory allocated in all", allocated - allocatedBefore_, allocatedBytes,
           inputSize);
}

}  // namespace fuzz
