#include <sys/resource.h>

#include <array>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "bench/row.h"
#include "catalogue/api_property_map.h"
#include "devmgr/callbacks.h"
#include "devmgr/device_type.h"
#include "devmgr/manager.h"
#include "devmgr/properties.h"

/// What the simulated board costs: one read, all reads, and a second of its own work.

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

double peakKiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss);
}

void row(const std::string& what, double cost, const char* unit) {
  bench::row(("simulated board, " + what).c_str(), cost, 0, unit);
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
  constexpr int kSeconds = 2;
  if (GPUManagerInit("", "", "") != 0 || GPUManagerRun(0, 0) != 0) return 1;

  double before = cpuSeconds();
  for (int i = 0; i < kReads; ++i) read(i % 8, "gpu.power.consumption", 1);
  row("pass-through read", (cpuSeconds() - before) / kReads * 1e9, "ns");

  before = cpuSeconds();
  const int reads = readAll(0);
  row("all " + std::to_string(reads) + " values, read once", (cpuSeconds() - before) * 1e3, "ms");

  const int registrations = listenToAll();
  before = cpuSeconds();
  std::this_thread::sleep_for(std::chrono::seconds(kSeconds));
  row("a second of " + std::to_string(registrations) + " callbacks",
      (cpuSeconds() - before) / kSeconds * 1e3, "ms");
  row("peak memory with all of that", peakKiB(), "KiB");
  GPUManagerStop();
}
