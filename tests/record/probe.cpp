#include <dlfcn.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>

#include "devmgr/logger.h"
#include "devmgr/properties.h"

/// Calls the device library in ways that the tool does not. Its argument says how.

namespace {

int get(int device) {
  char buffer[16] = {};
  return DeviceGetData(device, "probe.value", 0, 0, buffer, sizeof buffer, 0, 0);
}

/// Whether each way to the log object leads to the same one.
int lookForLogger() {
  void* const library = dlopen("libdevmgr.so.0", RTLD_NOW | RTLD_NOLOAD);
  const bool isOne = library != nullptr && dlsym(library, "logger") == &logger &&
                     dlsym(RTLD_DEFAULT, "logger") == &logger;
  std::puts(isOne ? "one logger" : "several loggers");
  return 0;
}

int callInChild() {
  get(1);
  if (fork() == 0) {
    get(2);
    _exit(0);
  }
  int status = 0;
  wait(&status);
  return get(3);
}

/// Children leave the process while another thread calls the library.
int forkWhileBusy() {
  constexpr int kChildren = 100;
  std::atomic<bool> isOver = false;
  std::thread busy([&] {
    while (!isOver) get(1);
  });
  int left = 0;
  for (int i = 0; i < kChildren; ++i) {
    const pid_t child = fork();
    if (child == 0) std::exit(0);
    int status = 1;
    left += waitpid(child, &status, 0) == child && status == 0 ? 1 : 0;
  }
  isOver = true;
  busy.join();
  std::printf("%d children\n", left);
  return 0;
}

int keepErrno() {
  errno = EXDEV;
  get(1);
  std::printf("%d\n", errno == EXDEV);
  return 0;
}

int showEnvironment() {
  for (char** entry = environ; *entry != nullptr; ++entry) std::puts(*entry);
  return 0;
}

/// The numbers that the process gets for a file, and how many it has open.
int showDescriptors() {
  std::printf("%d\n", dup(0));
  for (int i = 0; i < 3; ++i) std::printf("%d", fcntl(i, F_GETFD));
  std::puts("");
  return 0;
}

/// Which descriptors another program gets.
int execute() {
  get(1);
  execlp("ls", "ls", "/proc/self/fd", nullptr);
  return 1;
}

long countWrites() {
  std::ifstream file("/proc/self/io");
  for (std::string name; file >> name;) {
    long count = 0;
    if (name == "syscw:" && file >> count) return count;
  }
  return -1;
}

/// The calls of `write` that one call of the library makes.
int showWrites() {
  get(1);
  const long before = countWrites();
  get(2);
  std::printf("%ld\n", countWrites() - before);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view what = argc > 1 ? argv[1] : "";
  if (what == "logger") return lookForLogger();
  if (what == "fork") return callInChild();
  if (what == "errno") return keepErrno();
  if (what == "environment") return showEnvironment();
  if (what == "descriptors") return showDescriptors();
  if (what == "busy fork") return forkWhileBusy();
  if (what == "exec") return execute();
  if (what == "writes") return showWrites();
  return 2;
}
