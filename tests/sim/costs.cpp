#include "tests/sim/costs.h"

#include <malloc.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>
#include <thread>

namespace {

std::atomic<std::size_t> live;
std::atomic<std::size_t> peak;
std::atomic<std::size_t> allocated;
std::atomic<std::size_t> refusedCount;
std::atomic<std::thread::id> onlyThread;  ///< That may allocate; none in particular at first.

double processorTime() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

double leastTime(const std::function<void(int)>& work, int n) {
  double least = std::numeric_limits<double>::max();
  for (int i = 0; i < 3; ++i) {
    const double begin = processorTime();
    work(n);
    least = std::min(least, processorTime() - begin);
  }
  return least;
}

}  // namespace

// Weak, since the thread sanitizer has its own.
__attribute__((weak)) void* operator new(std::size_t size, std::align_val_t alignment) {
  const std::thread::id only = onlyThread;
  const bool refused = only != std::thread::id() && only != std::this_thread::get_id();
  const auto step = static_cast<std::size_t>(alignment);
  void* const memory =
      refused ? nullptr : std::aligned_alloc(step, (size + step - 1) / step * step);
  if (refused) ++refusedCount;
  if (memory == nullptr) throw std::bad_alloc();
  ++allocated;
  const std::size_t now = live += malloc_usable_size(memory);
  for (std::size_t most = peak; most < now && !peak.compare_exchange_weak(most, now);) {
  }
  return memory;
}
__attribute__((weak)) void* operator new(std::size_t size) {
  return operator new (size, std::align_val_t{__STDCPP_DEFAULT_NEW_ALIGNMENT__});
}
__attribute__((weak)) void operator delete(void* memory) noexcept {
  live -= malloc_usable_size(memory);
  std::free(memory);
}
__attribute__((weak)) void operator delete(void* memory, std::size_t /*size*/) noexcept {
  operator delete(memory);
}
__attribute__((weak)) void operator delete(void* memory, std::align_val_t /*step*/) noexcept {
  operator delete(memory);
}
__attribute__((weak)) void operator delete(void* memory, std::size_t /*size*/,
                                           std::align_val_t /*step*/) noexcept {
  operator delete(memory);
}

namespace costs {

bool areCounted() {
  const std::size_t before = allocated;
  delete new int;
  return allocated != before;
}

std::size_t peakOf(const std::function<void()>& work) {
  const std::size_t before = live;
  peak = before;
  work();
  return peak - before;
}

void refuseOthers(bool refused) {
  onlyThread = refused ? std::this_thread::get_id() : std::thread::id();
}

std::size_t refusals() { return refusedCount; }

double growth(const std::function<void(int)>& work, int n) {
  const double one = leastTime(work, n);
  return leastTime(work, 8 * n) / one;
}

}  // namespace costs
