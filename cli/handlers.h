#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// The handlers that the registry binds; `tools/boardctl/` defines all but `printUsage`. Each has
/// the `CommandHandler` signature and runs on the main thread.
namespace boardctl {

std::int32_t printUsage(std::vector<std::string> words);

/// Keep the name of a file that opens for reading; raise `std::runtime_error` for one that does
/// not.
std::int32_t setManifestFile(std::vector<std::string> words);
std::int32_t setProfileFile(std::vector<std::string> words);
std::int32_t setPropertiesFile(std::vector<std::string> words);

/// Sets the library's log level, 0 to 5; raises `std::runtime_error` for any other number.
std::int32_t setLogLevel(std::vector<std::string> words);

/// Names the library's log file; raises `std::runtime_error` for an empty name.
std::int32_t setLogFile(std::vector<std::string> words);

std::int32_t listGpuProperties(std::vector<std::string> words);
std::int32_t getGpuData(std::vector<std::string> words);
std::int32_t setGpuData(std::vector<std::string> words);
std::int32_t clearGpuData(std::vector<std::string> words);
std::int32_t registerCallbackApi(std::vector<std::string> words);
std::int32_t rawData(std::vector<std::string> words);
std::int32_t rawSyncCmdData(std::vector<std::string> words);
std::int32_t rawAsyncCmdData(std::vector<std::string> words);
std::int32_t runShell(std::vector<std::string> words);

}  // namespace boardctl
