#pragma once

#include <string>

#include "journal/capture.h"

namespace sim {

/// How messages show a call: its name, and its inputs but for those that are always the same.
std::string textOf(const journal::Call& call);
std::string textOf(const journal::Capture& capture);

/// What makes the call another one than the recorded one.
std::string whatDiffers(const journal::Call& recorded, const journal::Capture& capture);

}  // namespace sim
