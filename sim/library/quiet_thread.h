#pragma once

#include <signal.h>

#include <thread>
#include <utility>

namespace sim {

/// Starts a thread to which no signal is delivered: signals are the affair of the process, which
/// does not know the thread. Throws `std::system_error`.
template <class Work>
std::thread startQuietThread(Work work) {
  struct WithoutSignals {
    WithoutSignals() {
      sigset_t all;
      sigfillset(&all);
      pthread_sigmask(SIG_SETMASK, &all, &before);
    }
    ~WithoutSignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    sigset_t before{};
  } const withoutSignals;
  return std::thread(std::move(work));
}

}  // namespace sim
