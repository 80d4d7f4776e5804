#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "bench/row.h"
#include "devmgr/manager.h"
#include "devmgr/properties.h"
#include "tools/boardctl-export/collector.h"
#include "tools/boardctl-export/formats.h"
#include "tools/boardctl-export/settings.h"

/// A collection of all values of the example board, in a process that has been started, and the
/// same reads without anything around them.

namespace {

constexpr const char* kDevices =
    "gpu:0-7,korswitch:0-3,fpga:0,hsc:0-9,pcieretimer:0-7,pcieswitch:0,pciegen4sw:0,pcbTemp:0-3,"
    "inletTemp:0-1,outputhsc:0-1,standbyhsc:0,baseboard:0,altPressureSensor:0,"
    "korlinkBridgeConn:0-3,sysvr5v:0,sysvr3v3:0,sysvr1v8:0,sysvr0v9:0,llc_ab_mps:0,llc_cd_mps:0,"
    "hmc:0,hostBmc:0,moduleTemp:0-7,cpu:0-1";

exporter::Settings settings() {
  std::array<std::string, 7> words = {
      "bench",  "-m",        "examples/oob_manifest.json", "--devices",
      kDevices, "--library", BOARDCTL_SIM_LIBRARY};
  std::array<char*, 8> arguments = {};
  for (std::size_t i = 0; i < words.size(); ++i) arguments[i] = words[i].data();
  return *exporter::parseCommandLine(static_cast<int>(words.size()), arguments.data());
}

struct Read {
  int device;
  std::string property;
};

std::vector<Read> allReads(const exporter::Settings& board) {
  std::vector<Read> reads;
  for (const auto& device : board.devices) {
    std::vector<std::string> names;
    std::vector<std::string> details;
    DeviceGetSupportedProperties(static_cast<int>(device.kind->type), names, details);
    for (std::string& name : names) reads.push_back({device.number, std::move(name)});
  }
  return reads;
}

}  // namespace

int main() {
  constexpr int kRounds = 30;
  const exporter::Settings board = settings();
  // First, so that its process does not have the manager that is started below.
  exporter::Collector collector(board);
  if (!collector.collect().up) return 1;
  if (GPUManagerInit(board.manifest.c_str(), "", "") != 0 || GPUManagerRun(0, 0) != 0) return 1;
  const std::vector<Read> reads = allReads(board);
  std::size_t size = 0;
  const bench::Pair pair = bench::compare(
      kRounds, [&] { size += formatPrometheus(collector.collect(), board).size(); },
      [&] {
        static char value[kPropertyValueSize];
        for (const Read& read : reads) {
          std::memset(value, 0, sizeof value);
          size += static_cast<std::size_t>(DeviceGetData(read.device, read.property.c_str(), 0, 0,
                                                         value, kPropertyValueSize, 0, 0) == 0);
        }
      });
  GPUManagerStop();
  collector.stop();
  const auto count = static_cast<double>(reads.size());
  bench::row("export of the example board, each value, vs. its bare read", pair.measured / count,
             pair.baseline / count, "ns");
  return size == 0 ? 1 : 0;
}
