#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

/// The device kinds and their fixed codes, in the order of the codes. Code 22 belongs to no kind.
struct Kind {
  std::string_view word;
  int code;
};

inline constexpr std::array kKinds{
    Kind{"gpu", 0},
    Kind{"korswitch", 1},
    Kind{"fpga", 2},
    Kind{"hsc", 3},
    Kind{"pcieretimer", 4},
    Kind{"pcieswitch", 5},
    Kind{"pciegen4sw", 6},
    Kind{"pcbTemp", 7},
    Kind{"inletTemp", 8},
    Kind{"outputhsc", 9},
    Kind{"standbyhsc", 10},
    Kind{"baseboard", 11},
    Kind{"altPressureSensor", 12},
    Kind{"korlinkBridgeConn", 13},
    Kind{"sysvr5v", 14},
    Kind{"sysvr3v3", 15},
    Kind{"sysvr1v8", 16},
    Kind{"sysvr0v9", 17},
    Kind{"llc_ab_mps", 18},
    Kind{"llc_cd_mps", 19},
    Kind{"hmc", 20},
    Kind{"hostBmc", 21},
    Kind{"moduleTemp", 23},
    Kind{"cpu", 24},
};

/// Position of a kind in `kKinds`; everything inside the library counts kinds this way.
using KindIndex = int;

inline constexpr KindIndex kGpu = 0;
inline constexpr KindIndex kKorswitch = 1;
inline constexpr KindIndex kFpga = 2;

/// The kind of a word, exact and case-sensitive.
std::optional<KindIndex> kindOfWord(std::string_view word);

/// The kind of a device type code.
std::optional<KindIndex> kindOfCode(int code);

inline std::string_view wordOf(KindIndex kind) {
  return kKinds[static_cast<std::size_t>(kind)].word;
}

/// The words of all kinds, in the order of `kKinds`.
std::array<std::string_view, kKinds.size()> kindWords();

/// One device of the board.
struct Device {
  KindIndex kind = 0;
  int id = 0;
  friend bool operator==(const Device&, const Device&) = default;
};

/// The device's name, the kind's word followed by the number: "gpu3".
std::string nameOf(Device device);

/// Reads such a name. Numbers have no leading zero and lie in 0..254.
std::optional<Device> parseDevice(std::string_view name);

}  // namespace sim
