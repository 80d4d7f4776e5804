#pragma once

#include <mutex>

/// What the members of a class need, for the compilers that check it (clang's -Wthread-safety).
#ifdef __clang__
#define SIM_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define SIM_THREAD_SAFETY(attribute)
#endif
#define SIM_GUARDED_BY(mutex) SIM_THREAD_SAFETY(guarded_by(mutex))
#define SIM_REQUIRES(mutex) SIM_THREAD_SAFETY(requires_capability(mutex))

namespace sim {

/// A mutex that the compiler knows to be one.
class SIM_THREAD_SAFETY(capability("mutex")) Mutex {
 public:
  void lock() SIM_THREAD_SAFETY(acquire_capability()) { mutex_.lock(); }
  void unlock() SIM_THREAD_SAFETY(release_capability()) { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

/// Holds a mutex while it lives.
class SIM_THREAD_SAFETY(scoped_lockable) Lock {
 public:
  explicit Lock(Mutex& mutex) SIM_THREAD_SAFETY(acquire_capability(mutex)) : mutex_(mutex) {
    mutex_.lock();
  }
  ~Lock() SIM_THREAD_SAFETY(release_capability()) { mutex_.unlock(); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  Mutex& mutex_;
};

}  // namespace sim
