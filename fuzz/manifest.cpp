#include "fuzz/board_file.h"

/// The simulated board's manifest, together with the built-in properties that it may override.
void fuzz_manifest(const std::uint8_t* data, std::size_t size) {
  static const sim::Document builtin = sim::parseJson(sim::kBuiltinProperties, "builtin");
  fuzz::readBoardFile(data, size, [](const sim::Node& manifest) {
    const sim::Topology board = sim::readTopology(manifest);
    return fuzz::BoardFiles{board, sim::readProperties(builtin, builtin, manifest, board), {}};
  });
}
