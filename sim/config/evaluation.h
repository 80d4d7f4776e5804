#pragma once

#include "sim/board/property_db.h"
#include "sim/board/topology.h"
#include "sim/config/names.h"

namespace sim {

/// The last step of reading properties: rejects a value that is computed from itself, in however
/// many steps, from a text, or from too many others to be computed when somebody asks. `names` and
/// `manifest` give the places. Throws `FileError`.
void boundEvaluation(const PropertyDb& properties, const Topology& topology,
                     const DefinedNames& names, const Node& manifest);

}  // namespace sim
