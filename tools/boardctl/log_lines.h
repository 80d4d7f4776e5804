#pragma once

namespace boardctl {

/// The source lines that the log lines of `get`, `set` and `clear` name. They are given and do not
/// follow the sources: scripts recognise log lines by them.
inline constexpr int kGetEntryLine = 182;
inline constexpr int kGetRequestLine = 209;
inline constexpr int kGetFailuresLine = 276;
inline constexpr int kSetEntryLine = 285;
inline constexpr int kSetRequestLine = 298;
inline constexpr int kClearEntryLine = 362;
inline constexpr int kClearRequestLine = 374;

}  // namespace boardctl
