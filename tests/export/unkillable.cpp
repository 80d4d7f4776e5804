#include <dlfcn.h>
#include <signal.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdlib>

/// Preloaded into a program, this keeps its SIGKILL from other processes while there is the file
/// that UNKILLABLE names, as if they waited in a device driver.
extern "C" __attribute__((visibility("default"))) int kill(pid_t process, int number) {
  using Function = int(pid_t, int);
  static const auto real = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "kill"));
  const char* const file = std::getenv("UNKILLABLE");
  if (number == SIGKILL && file != nullptr && access(file, F_OK) == 0) return 0;
  return real(process, number);
}
