#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cli/handlers.h"

namespace boardctl {

/// The handler of `snapshot`, which only the shell offers: it relies on the shell's running manager
/// and starts nothing. Returns -1 when no word is given, else 0.
std::int32_t snapshotData(std::vector<std::string> words);

/// A command of the shell: the first word of a line, and what runs with the others.
struct ShellCommand {
  std::string_view word;
  std::int32_t (*handler)(std::vector<std::string>);
};

inline constexpr ShellCommand kShellCommands[] = {
    {"get", getGpuData},
    {"set", setGpuData},
    {"clear", clearGpuData},
    {"list", listGpuProperties},
    {"set_callback", registerCallbackApi},
    {"raw", rawData},
    {"rawSyncCmd", rawSyncCmdData},
    {"rawAsyncCmd", rawAsyncCmdData},
    {"snapshot", snapshotData},
};

/// Lines that the shell answers by itself.
inline constexpr std::string_view kShellHelp = "help";
inline constexpr std::string_view kShellEnds[] = {"quit", "exit"};

}  // namespace boardctl
