#pragma once

#include <string_view>

#include "fuzz/target.h"
#include "sim/board.h"
#include "sim/builtin.h"
#include "sim/json_file.h"

namespace fuzz {

/// Reads one file of the simulated board. It is taken, or refused in one line that names it.
template <typename Read>
void readBoardFile(const std::uint8_t* data, std::size_t size, Read read) {
  try {
    read(sim::parseJson({reinterpret_cast<const char*>(data), size}, "file"));
  } catch (const sim::FileError& error) {
    const std::string_view why = error.what();
    expectEqual("start of the refusal", "file:", why.substr(0, 5));
    expectEqual("line breaks in the refusal", "", why.find('\n') == why.npos ? "" : why);
  }
}

/// Lets a board live for two minutes: its first and last devices are read, written, listened to and
/// asked through their post-boxes, and suffer the faults of the profile.
void live(sim::Topology topology, sim::PropertyDb properties, sim::Profile profile);

}  // namespace fuzz
