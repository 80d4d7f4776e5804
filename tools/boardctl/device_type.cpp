#include "tools/boardctl/device_type.h"

namespace boardctl {
namespace {

struct Row {
  std::string_view word;
  DeviceType type;
};

constexpr Row kRows[] = {
    {"gpu", kDeviceGpu},
    {"korswitch", kDeviceKorswitch},
    {"fpga", kDeviceFpga},
    {"hsc", 3},
    {"pcieretimer", 4},
    {"pcieswitch", 5},
    {"pciegen4sw", 6},
    {"pcbTemp", 7},
    {"inletTemp", 8},
    {"outputhsc", 9},
    {"standbyhsc", 10},
    {"baseboard", 11},
    {"altPressureSensor", 12},
    {"korlinkBridgeConn", 13},
    {"sysvr5v", 14},
    {"sysvr3v3", 15},
    {"sysvr1v8", 16},
    {"sysvr0v9", 17},
    {"llc_ab_mps", 18},
    {"llc_cd_mps", 19},
    {"hmc", 20},
    {"hostBmc", 21},
    {"moduleTemp", 23},
    {"cpu", 24},
};

}  // namespace

DeviceType getDeviceType(std::string_view word) {
  for (const Row& row : kRows) {
    if (row.word == word) return row.type;
  }
  return -1;
}

std::vector<std::string_view> deviceWords() {
  std::vector<std::string_view> words;
  for (const Row& row : kRows) words.push_back(row.word);
  return words;
}

}  // namespace boardctl
