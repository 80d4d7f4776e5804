// What the simulated board costs: one read, all reads, and a second of its own work.

#include <sys/resource.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "catalogue/api_property_map.h"
#include "devmgr/callbacks.h"
#include "devmgr/device_type.h"
#include "devmgr/manager.h"
#include "devmgr/properties.h"

void value_type::ValueType::onChange() {}
void data_info::DataInfo::onChange() {}

namespace {

double cpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double peakMiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

int read(int id, const std::string& name, int mode) {
  std::array<char, kPropertyValueSize> buffer;
  return DeviceGetData(id, name.c_str(), 0, 0, buffer.data(), static_cast<int>(buffer.size()), mode,
                       0);
}

/// Reads every property of every device; the number of reads.
int readAll(int mode) {
  int reads = 0;
  for (const DeviceKind& kind : kDeviceKinds) {
    std::vector<std::string> names;
    std::vector<std::string> details;
    DeviceGetSupportedProperties(static_cast<int>(kind.type), names, details);
    for (const std::string& name : names) {
      for (int id = 0; read(id, name, mode) == 0; ++id) ++reads;
    }
  }
  return reads;
}

/// Registers a callback for every API name on every device; the number of registrations.
int listenToAll() {
  int registrations = 0;
  for (std::size_t i = 0; i < PropertyCatalogue::ApiPropertyMap.size(); ++i) {
    const std::string name(PropertyCatalogue::ApiPropertyMap.entry(i).apiName);
    for (int id = 0; DeviceSetCallbackUpdateData(
                         id, name, [](auto...) {}, -1, "", "", -1) == 0;
         ++id) {
      ++registrations;
    }
  }
  return registrations;
}

}  // namespace

int main() {
  constexpr int kReads = 200'000;
  constexpr int kSeconds = 10;
  if (GPUManagerInit("", "", "") != 0 || GPUManagerRun(0, 0) != 0) return 1;

  double before = cpuSeconds();
  for (int i = 0; i < kReads; ++i) read(i % 8, "gpu.power.consumption", 1);
  std::printf("pass-through read: %.2f us\n", (cpuSeconds() - before) / kReads * 1e6);

  before = cpuSeconds();
  const int reads = readAll(0);
  const double all = cpuSeconds() - before;
  std::printf("all %d values of the board read once: %.1f ms, %.2f %% of a core if each second\n",
              reads, all * 1e3, all * 1e2);

  const int registrations = listenToAll();
  before = cpuSeconds();
  std::this_thread::sleep_for(std::chrono::seconds(kSeconds));
  std::printf("%d callbacks looked at each second: %.2f %% of a core\n", registrations,
              (cpuSeconds() - before) / kSeconds * 1e2);
  std::printf("peak memory of the process: %.1f MiB\n", peakMiB());
  GPUManagerStop();
}
