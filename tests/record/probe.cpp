#include <dlfcn.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

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

}  // namespace

int main(int argc, char** argv) {
  const std::string_view what = argc > 1 ? argv[1] : "";
  if (what == "logger") return lookForLogger();
  if (what == "fork") return callInChild();
  if (what == "errno") return keepErrno();
  if (what == "environment") return showEnvironment();
  if (what == "descriptors") return showDescriptors();
  return 2;
}
