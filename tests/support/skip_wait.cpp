#include <dlfcn.h>
#include <poll.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>

/// Preloaded into a program, this lets its sleeps return at once and puts its clocks forward by the
/// time slept, so that nothing in the process can tell that it did not wait. SKIP_WAIT_FORWARD in
/// the environment starts the clocks that many seconds ahead. SKIP_WAIT_HALF_MINUTE names a file:
/// when it is there and a `poll` or `ppoll` has seen nothing happen, the clocks go forward by half
/// a minute and the file is removed. A `ppoll` then takes a moment at most.

namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
std::atomic<std::int64_t> slept = [] {
  const char* const forward = std::getenv("SKIP_WAIT_FORWARD");
  return forward == nullptr ? 0 : std::atoll(forward) * kSecond;
}();

const char* const halfMinute = std::getenv("SKIP_WAIT_HALF_MINUTE");

void seeNothingHappen() {
  if (halfMinute != nullptr && unlink(halfMinute) == 0) slept += 30 * kSecond;
}

template <class Time>
int shiftedTime(const char* function, clockid_t clock, Time* now) {
  using Function = int(clockid_t, Time*);
  static const auto real = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, function));
  const int result = real(clock, now);
  const std::int64_t time = now->tv_nsec + slept;
  now->tv_sec += static_cast<decltype(now->tv_sec)>(time / kSecond);
  now->tv_nsec = static_cast<decltype(now->tv_nsec)>(time % kSecond);
  return result;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int nanosleep(const timespec* request, timespec* remaining) {
  static_cast<void>(remaining);
  slept += request->tv_sec * kSecond + request->tv_nsec;
  return 0;
}

__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* now) {
  // On 32-bit machines the functions for 64-bit times have names of their own.
  return shiftedTime(sizeof(time_t) > sizeof(long) ? "__clock_gettime64" : "clock_gettime", clock,
                     now);
}

#ifdef _TIME_BITS
struct ShortTime {
  long tv_sec;
  long tv_nsec;
};
/// What the C++ library calls there.
__attribute__((visibility("default"))) int shortTime(clockid_t clock,
                                                     ShortTime* now) asm("clock_gettime");
int shortTime(clockid_t clock, ShortTime* now) { return shiftedTime("clock_gettime", clock, now); }
#endif

__attribute__((visibility("default"))) int poll(pollfd* files, nfds_t count, int timeout) {
  using Function = int(pollfd*, nfds_t, int);
  static const auto real = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "poll"));
  constexpr int kMoment = 10;
  const bool shortened = halfMinute != nullptr && timeout > kMoment;
  const int ready = real(files, count, shortened ? kMoment : timeout);
  if (ready == 0) seeNothingHappen();
  return ready;
}

}  // extern "C"
