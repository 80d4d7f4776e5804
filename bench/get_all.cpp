#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdlib>
#include <new>
#include <string>

#include "bench/null_library.h"
#include "bench/row.h"
#include "cli/handlers.h"
#include "tools/boardctl/settings.h"

/// `get` with "all" over growing lists: the time for each property once they are listed, beside
/// that of the shortest list, and the memory that the command takes beyond the list itself.

namespace {

std::size_t live = 0;
std::size_t peak = 0;
std::size_t listed = 0;

std::chrono::steady_clock::time_point listedAt;

void onceListed() {
  listed = peak = live;
  listedAt = std::chrono::steady_clock::now();
}

double perProperty(int names) {
  nullLibrary.names = names;
  double best = 1e18;
  for (int round = 0; round < 500'000 / names; ++round) {
    boardctl::getGpuData({"gpu", "0", "all"});
    const std::chrono::duration<double, std::nano> elapsed =
        std::chrono::steady_clock::now() - listedAt;
    best = std::min(best, elapsed.count() / names);
  }
  return best;
}

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  live += malloc_usable_size(memory);
  peak = std::max(peak, live);
  return memory;
}
void operator delete(void* memory) noexcept {
  live -= malloc_usable_size(memory);
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept { operator delete(memory); }

int main() {
  std::fflush(stdout);
  const int results = dup(STDOUT_FILENO);
  dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
  boardctl::shellActive = true;
  struct {
    int names;
    double time;
    double memory;
  } sizes[] = {{10, 0, 0}, {100, 0, 0}, {1000, 0, 0}, {10000, 0, 0}};
  for (auto& size : sizes) {
    nullLibrary.afterNames = onceListed;
    size.time = perProperty(size.names);
    size.memory = static_cast<double>(peak - listed);
  }
  std::fflush(stdout);
  dup2(results, STDOUT_FILENO);
  for (const auto& size : sizes) {
    const std::string what = "get all, " + std::to_string(size.names) + " properties, ";
    bench::row((what + "each").c_str(), size.time, sizes[0].time, "ns");
    bench::row((what + "memory beyond the list").c_str(), size.memory, sizes[0].memory, "bytes");
  }
  return 0;
}
