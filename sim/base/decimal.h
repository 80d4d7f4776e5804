#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

/// A fixed-point number: a count of millionths. All values of the board are computed in it, so that
/// every machine gets the same digits; results that would not fit stay at the limit.
using Fixed = std::int64_t;

inline constexpr Fixed kOne = 1'000'000;
inline constexpr int kMaxPrecision = 6;

/// The largest number that a file may hold, in whole units.
inline constexpr std::int64_t kMaxWhole = 9'000'000'000'000;

struct Decimal {
  Fixed value = 0;
  int precision = 0;  ///< Digits after the point as written, 0 to 6.
};

/// Reads a decimal number: an optional minus, digits, and optionally a point and 1 to 6 digits.
/// Nothing for any other text and for numbers beyond `kMaxWhole`.
std::optional<Decimal> parseDecimal(std::string_view text);

/// Prints with `precision` digits (0 to 6) after the point, rounded half away from zero.
std::string formatDecimal(Fixed value, int precision);

/// The nearest whole number, halves away from zero.
std::int64_t roundToWhole(Fixed value);

/// Sums and products that stop at the limits instead of overflowing.
Fixed addClamped(Fixed a, Fixed b);
Fixed multiplyClamped(Fixed a, Fixed b);

}  // namespace sim
