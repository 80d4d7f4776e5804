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

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int nanosleep(const timespec* request, timespec* remaining) {
  static_cast<void>(remaining);
  slept += request->tv_sec * kSecond + request->tv_nsec;
  return 0;
}

__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* now) {
  using Function = int(clockid_t, timespec*);
  // On 32-bit machines the functions for 64-bit times have names of their own.
  constexpr const char* kName =
      sizeof(time_t) > sizeof(long) ? "__clock_gettime64" : "clock_gettime";
  static const auto real = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, kName));
  const int result = real(clock, now);
  const std::int64_t time = now->tv_nsec + slept;
  now->tv_sec += static_cast<time_t>(time / kSecond);
  now->tv_nsec = static_cast<decltype(now->tv_nsec)>(time % kSecond);
  return result;
}

__attribute__((visibility("default"))) int poll(pollfd* files, nfds_t count, int timeout) {
  using Function = int(pollfd*, nfds_t, int);
  static const auto real = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "poll"));
  const int ready = real(files, count, timeout);
  if (ready == 0) seeNothingHappen();
  return ready;
}

__attribute__((visibility("default"))) int ppoll(pollfd* files, nfds_t count,
                                                 const timespec* timeout, const sigset_t* mask) {
  using Function = int(pollfd*, nfds_t, const timespec*, const sigset_t*);
  constexpr const char* kName = sizeof(time_t) > sizeof(long) ? "__ppoll64" : "ppoll";
  static const auto real = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, kName));
  const timespec moment = {0, 10'000'000};
  const bool longer = timeout->tv_sec > 0 || timeout->tv_nsec > moment.tv_nsec;
  const int ready = real(files, count, halfMinute != nullptr && longer ? &moment : timeout, mask);
  if (ready == 0) seeNothingHappen();
  return ready;
}

}  // extern "C"
