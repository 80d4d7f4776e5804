#pragma once

#include "sim/board/call.h"
#include "sim/library/journal.h"

namespace sim {

/// What the journal says of a call: its arguments, the fault, and what came of it.
JsonLine describe(const Call& call, const Result& result);

}  // namespace sim
