#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/row.h"
#include "devmgr/manager.h"
#include "devmgr/properties.h"

/// Runs itself under the recorder, over the simulated board, and compares a recorded call
/// with the same call of the library and one `write` of the same line.

namespace {

constexpr int kCalls = 100;
constexpr int kRounds = 300;
constexpr int kGpus = 8;

using Get = decltype(DeviceGetData);

void call(Get* function, int device, const char* property) {
  static char buffer[kPropertyValueSize];
  if (function(device, property, 0, 0, buffer, sizeof buffer, 1, 0) != 0) std::abort();
}

std::string lastLine(const std::filesystem::path& file) {
  std::ifstream lines(file);
  std::string last;
  for (std::string line; std::getline(lines, line);) last = line;
  return last + '\n';
}

int measure(const std::filesystem::path& folder) {
  void* const library = dlopen("libdevmgr.so.0", RTLD_NOW | RTLD_NOLOAD);
  auto* const bare = reinterpret_cast<Get*>(dlsym(library, "DeviceGetData"));
  if (bare == nullptr || bare == &DeviceGetData) return 1;
  if (GPUManagerInit("", "", "") != 0 || GPUManagerRun(0, 0) != 0) return 1;
  for (int gpu = 0; gpu < kGpus; ++gpu) {
    call(DeviceGetData, gpu, "gpu.inventory.serialNumber");
    call(DeviceGetData, gpu, "gpu.inventory.gpuGUID");
  }
  const auto repeat = [](auto work) {
    return [=] {
      for (int i = 0; i < kCalls; ++i) work();
    };
  };
  constexpr const char* kProperty = "gpu.thermal.temperature.primaryGPU.singlePrecision";
  const auto recorded = [=] { call(DeviceGetData, 3, kProperty); };
  recorded();
  const std::string line = lastLine(folder / "recording");
  if (line.find(kProperty) == std::string::npos) return 1;
  const int file = open((folder / "lines").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const auto written = [&] {
    call(bare, 3, kProperty);
    if (write(file, line.data(), line.size()) != static_cast<ssize_t>(line.size())) std::abort();
  };
  const auto [cost, baseline] = bench::compare(kRounds, repeat(recorded), repeat(written));
  bench::row("recorded read, vs. the read and one write of its line", cost / kCalls,
             baseline / kCalls, "ns");
  GPUManagerStop();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2) {
    const int status = measure(argv[1]);
    std::filesystem::remove_all(argv[1]);
    return status;
  }
  std::string folder = "recorded-call-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) return 1;
  const std::string file = folder + "/recording";
  execl(RECORD, RECORD, file.c_str(), argv[0], folder.c_str(), nullptr);
  return 1;
}
