#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sim/base/decimal.h"
#include "sim/base/time.h"
#include "sim/config/json_file.h"

namespace sim {

/// Typed reading of the nodes of a file. Every function throws `FileError`, naming the place, when
/// the node is of another type or out of range.

/// Rejects a node that is not of that type.
const Node& require(const Node& node, JsonType type);

/// A string of 1 to 10239 printable characters; `require` alone admits the empty string.
std::string_view textOf(const Node& node);

/// A whole number in [low, high], however it is spelled: 1000, 1000.0 or 1e3.
std::int64_t wholeOf(const Node& node, std::int64_t low, std::int64_t high);

/// A number with at most six digits after the point, not beyond `kMaxWhole`.
Decimal decimalOf(const Node& node);

bool truthOf(const Node& node);

/// The position of a string in a list of words; rejected with a suggestion otherwise.
std::size_t wordOf(const Node& node, std::span<const std::string_view> words,
                   std::string_view what);

/// A time that is given in whole milliseconds, in [lowMs, highMs].
Time timeOf(const Node& node, std::int64_t lowMs, std::int64_t highMs);

/// The known word nearest to a mistyped one, as "; did you mean 'gpu'?", or nothing when no word is
/// near.
std::string suggestion(std::string_view typed, std::span<const std::string_view> words);

/// Rejects a node that names none of `names`; `what` says what they are.
[[noreturn]] void rejectName(const Node& node, std::string_view what,
                             std::span<const std::string_view> names);

/// Rejects an object that has none of the keys.
[[noreturn]] void rejectWithout(const Node& object, std::span<const std::string_view> keys);

/// Rejects a node that is not an object, and any member that is not in `known`.
const Node& requireObject(const Node& node, std::span<const std::string_view> known);

/// As `requireObject`, for a whole file: "$schema" and "about" are texts for people and editors.
const Node& requireDocument(const Node& node, std::span<const std::string_view> known);

/// The member of that name; rejects an object without it.
const Node& requireMember(const Node& object, std::string_view key);

}  // namespace sim
