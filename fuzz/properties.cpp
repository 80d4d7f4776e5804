#include "fuzz/board_file.h"

/// The simulated board's properties file, on the built-in manifest.
void fuzz_properties(const std::uint8_t* data, std::size_t size) {
  static const sim::Document builtin = sim::parseJson(sim::kBuiltinProperties, "builtin");
  static const sim::Document manifest = sim::parseJson(sim::kBuiltinManifest, "builtin");
  static const sim::Topology board = sim::readTopology(manifest);
  fuzz::readBoardFile(data, size, [](const sim::Node& document) {
    return fuzz::BoardFiles{board, sim::readProperties(document, builtin, manifest, board), {}};
  });
}
