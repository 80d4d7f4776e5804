#include "fuzz/board_file.h"
#include "sim/property_db.h"
#include "sim/topology.h"

/// The simulated board's properties file, on the built-in manifest.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const sim::Document builtin = sim::parseJson(sim::kBuiltinProperties, "builtin");
  static const sim::Topology board =
      sim::readTopology(sim::parseJson(sim::kBuiltinManifest, "builtin"));
  fuzz::readBoardFile(data, size, [](const sim::Node& document) {
    fuzz::live(board, sim::readProperties(document, board, builtin), sim::Profile());
  });
  return 0;
}
