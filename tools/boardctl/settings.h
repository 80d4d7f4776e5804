#pragma once

#include <cstdint>
#include <string>

namespace boardctl {

/// Process-wide settings. Written on the main thread only: the file names by their options, before
/// the command runs; the flag by the shell.

/// File names as typed, empty when not given; handed to the library in this order.
extern std::string manifestFile;
extern std::string profileFile;
extern std::string propertiesFile;

/// True while the shell keeps the manager running: commands then neither start it, nor wait for it,
/// nor stop it.
extern bool shellActive;

/// Milliseconds that a command sleeps after it has started the manager; 0 or less for no sleep.
extern std::int32_t startupWaitMs;

}  // namespace boardctl
