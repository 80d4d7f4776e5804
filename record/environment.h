#pragma once

#include <sys/types.h>

/// How `boardctl-record` tells the library that it preloads what to do: in variables that are gone
/// before the tool looks at its environment.
namespace record {

inline constexpr const char* kFileVariable = "BOARDCTL_RECORD";
inline constexpr const char* kLimitVariable = "BOARDCTL_RECORD_LIMIT";
inline constexpr const char* kKeepVariable = "BOARDCTL_RECORD_KEEP_IDENTITIES";

inline constexpr off_t kDefaultLimit = off_t{16} << 20;

struct Settings {
  const char* file = nullptr;  ///< An absolute name; null: nothing is to be recorded.
  off_t limit = kDefaultLimit;
  bool keepsIdentities = false;
};

/// Reads the settings and removes them from the environment, together with this library's name in
/// `LD_PRELOAD`. What they refer to stays valid.
Settings takeSettings();

}  // namespace record
