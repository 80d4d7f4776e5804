#pragma once

#include "journal/capture.h"
#include "sim/board/call.h"

namespace sim {

/// Hands over to the caller what a call gave: of a failed one the registers only.
void handOver(const Result& result, const journal::Capture& capture);

}  // namespace sim
