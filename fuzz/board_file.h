#pragma once

#include <string_view>

#include "fuzz/target.h"
#include "sim/board/board.h"
#include "sim/config/readers.h"
#include "sim/library/builtin.h"

namespace fuzz {

/// Reads one file of the simulated board. It is accepted, or rejected in one line that names it.
template <typename Read>
void readBoardFile(const std::uint8_t* data, std::size_t size, Read read) {
  try {
    read(sim::parseJson({reinterpret_cast<const char*>(data), size}, "file"));
  } catch (const sim::FileError& error) {
    const std::string_view why = error.what();
    expectEqual("start of the rejection", "file:", why.substr(0, 5));
    expectEqual("line breaks in the rejection", "", why.find('\n') == why.npos ? "" : why);
  }
}

/// Runs a board for two minutes: its first and last devices are read and written, subscribed to and
/// asked through their postboxes, and the faults of the profile happen.
void runBoard(sim::Topology topology, sim::PropertyDb properties, sim::Profile profile);

}  // namespace fuzz
