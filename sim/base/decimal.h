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

/// The largest number that a value may have in a file, in whole units.
inline constexpr std::int64_t kMaxWhole = 9'000'000'000'000;

struct Decimal {
  Fixed value = 0;
  int precision = 0;  ///< Digits after the point as written, or as needed; 0 to 6.
};

/// A number as JSON spells it: `digits`, tenfold `exponent` times.
struct Spelled {
  bool negative = false;
  std::string digits;         ///< Without zeros at either end; empty for 0.
  std::int64_t exponent = 0;  ///< Of ten.
  /// Digits after the point: as many as are written or, with an exponent, as the value needs.
  std::int64_t precision = 0;

  [[nodiscard]] bool isMultipleOf(int power) const { return exponent >= power; }

  /// How many units of ten to that power it is; it must be a multiple. Nothing beyond 64 bits.
  [[nodiscard]] std::optional<std::int64_t> inUnitsOf(int power) const;
};

/// Reads a number that is correct JSON.
Spelled parseNumber(std::string_view json);

/// Prints with `precision` digits (0 to 6) after the point, rounded half away from zero.
std::string formatDecimal(Fixed value, int precision);

/// The nearest whole number, halves away from zero.
std::int64_t roundToWhole(Fixed value);

/// Sums and products that stop at the limits instead of overflowing.
Fixed addClamped(Fixed a, Fixed b);
Fixed multiplyClamped(Fixed a, Fixed b);

}  // namespace sim
