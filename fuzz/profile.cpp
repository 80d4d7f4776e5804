#include "fuzz/board_file.h"

/// The simulated board's profile, on the built-in manifest and properties.
void fuzz_profile(const std::uint8_t* data, std::size_t size) {
  static const sim::Document builtin = sim::parseJson(sim::kBuiltinProperties, "builtin");
  static const sim::Document manifest = sim::parseJson(sim::kBuiltinManifest, "builtin");
  static const sim::Topology board = sim::readTopology(manifest);
  static const sim::PropertyDb properties = sim::readProperties(builtin, builtin, manifest, board);
  fuzz::readBoardFile(data, size, [](const sim::Node& document) {
    return fuzz::BoardFiles{board, properties, sim::readProfile(document, board, properties)};
  });
}
