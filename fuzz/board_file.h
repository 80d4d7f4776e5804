#pragma once

#include <functional>

#include "fuzz/target.h"
#include "sim/board/board.h"
#include "sim/config/readers.h"
#include "sim/library/builtin.h"

namespace fuzz {

/// What the files of a board say.
struct BoardFiles {
  sim::Topology topology;
  sim::PropertyDb properties;
  sim::Profile profile;
};

/// Runs a board for two minutes: its first and last devices are read and written, subscribed to and
/// asked through their postboxes, and the faults of the profile happen.
void runBoard(BoardFiles files);

/// Reads one file of the simulated board with `read`, which adds what the other files say. The file
/// is accepted and its board run, or it is rejected in one line that names it. Reading takes memory
/// in proportion to its size.
void readBoardFile(const std::uint8_t* data, std::size_t size,
                   const std::function<BoardFiles(const sim::Node&)>& read);

}  // namespace fuzz
