#include <dlfcn.h>
#include <poll.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

/// Preloaded into a program, this lets one of its allocations fail. The environment says which:
/// FAIL_AT is its number, from 1; with FAIL_ALL set every later one fails too. FAIL_REPORT names a
/// file that gets, when the program ends, the number of allocations before `main` and altogether.

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
}

namespace {

std::atomic<long> made = 0;
std::atomic<long> beforeMain = 0;
long failAt = 0;
bool failAll = false;

/// Reads the environment before any other constructor allocates.
__attribute__((constructor(101))) void readEnvironment() {
  const char* const at = std::getenv("FAIL_AT");
  failAt = at == nullptr ? 0 : std::atol(at);
  failAll = std::getenv("FAIL_ALL") != nullptr;
}

__attribute__((destructor)) void report() {
  const char* const name = std::getenv("FAIL_REPORT");
  if (name == nullptr) return;
  const long total = made;
  std::FILE* const file = std::fopen(name, "w");
  std::fprintf(file, "%ld %ld\n", beforeMain.load(), total);
  std::fclose(file);
}

bool fails() {
  const long count = ++made;
  if (failAt == 0 || count < failAt || (count > failAt && !failAll)) return false;
  errno = ENOMEM;
  return true;
}

}  // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED void* malloc(std::size_t size) { return fails() ? nullptr : __libc_malloc(size); }
EXPORTED void* calloc(std::size_t count, std::size_t size) {
  return fails() ? nullptr : __libc_calloc(count, size);
}
EXPORTED void* realloc(void* memory, std::size_t size) {
  return fails() ? nullptr : __libc_realloc(memory, size);
}

/// The program looks at its standard descriptors before anything else.
EXPORTED int poll(pollfd* entries, nfds_t count, int timeout) {
  using Function = int(pollfd*, nfds_t, int);
  static const auto real = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "poll"));
  if (beforeMain == 0) beforeMain = made.load();
  return real(entries, count, timeout);
}
