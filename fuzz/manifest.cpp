#include "fuzz/board_file.h"
#include "sim/property_db.h"
#include "sim/topology.h"

/// The simulated board's manifest, together with the built-in properties that it may override.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const sim::Document builtin = sim::parseJson(sim::kBuiltinProperties, "builtin");
  fuzz::readBoardFile(data, size, [](sim::Document document) {
    sim::Topology board = sim::readTopology(std::move(document));
    sim::PropertyDb properties = sim::readProperties(builtin, board, builtin);
    fuzz::live(std::move(board), std::move(properties), sim::Profile());
  });
  return 0;
}
