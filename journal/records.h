#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "journal/entry_points.h"

namespace journal {

/// A value of a call's `args`. `monostate`: not recorded; `nullptr_t`: a null pointer.
using Value = std::variant<std::monostate, std::nullptr_t, std::int64_t, std::string,
                           std::vector<std::uint32_t>, std::vector<std::string>>;

/// The first line.
struct Header {
  int version = 0;
  std::string clock;
  std::vector<std::string> arguments;  ///< Of the process.
  std::string tool;                    ///< Build ids, empty when unknown.
  std::string library;
  bool redacted = false;
  std::optional<std::int64_t> seed;
};

/// A call that returned, or its beginning. Times are microseconds since the recording began.
struct Call {
  Entry entry = Entry::setLogger;
  std::int64_t number = 0;  ///< In the order of entry, from 1.
  std::int64_t at = 0;
  std::vector<Value> values;  ///< One for each parameter of the entry point.
  bool unterminated = false;  ///< The text that was filled in has no NUL.
  std::optional<int> code;    ///< Missing: this is the beginning of the call.
  std::int64_t took = 0;
  std::optional<std::int64_t> fault;  ///< The simulated board's rule that fired.
  std::size_t line = 0;               ///< Of the file.

  [[nodiscard]] const EntryPoint& point() const { return entryPoint(entry); }
  /// The value of the parameter of that name; null when it has none, or was not recorded.
  [[nodiscard]] const Value* find(std::string_view parameter) const {
    const std::size_t position = point().find(parameter);
    if (position >= values.size() || values[position].index() == 0) return nullptr;
    return &values[position];
  }
};

/// A callback was called. In version 1 only `at`, `api` and `sequence` are known, with the others
/// 0.
struct Update {
  std::int64_t at = 0;
  std::string api;
  std::int64_t registration = 0;  ///< The number of the call that registered the callback.
  std::int64_t id = 0;            ///< What the callback got.
  std::uint64_t sequence = 0;
  std::int64_t after = 0;  ///< The number of the latest call that had been entered.
  bool during = false;     ///< That call had not returned.
  std::size_t line = 0;
};

/// How often a fault rule of the simulated board fired.
struct FiredRule {
  std::int64_t rule = 0;
  std::int64_t fired = 0;
};

/// The last line.
struct End {
  std::string how;  ///< "exit", "stop", "limit" or "error".
  std::optional<std::int64_t> status;
  std::int64_t calls = 0;
};

using Record = std::variant<Header, Call, Update, FiredRule, End>;

}  // namespace journal
