#include "sim/base/decimal.h"

#include <algorithm>
#include <limits>

namespace sim {
namespace {

constexpr Fixed kLowest = std::numeric_limits<Fixed>::min();
constexpr Fixed kHighest = std::numeric_limits<Fixed>::max();

bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::uint64_t magnitude(Fixed value) {
  const auto bits = static_cast<std::uint64_t>(value);
  return value < 0 ? 0U - bits : bits;
}

std::uint64_t powerOfTen(int exponent) {
  std::uint64_t power = 1;
  while (exponent-- > 0) power *= 10;
  return power;
}

}  // namespace

std::optional<Decimal> parseDecimal(std::string_view text) {
  const bool negative = text.starts_with('-');
  if (negative) text.remove_prefix(1);
  const std::size_t point = std::min(text.find('.'), text.size());
  const std::string_view whole = text.substr(0, point);
  const std::string_view fraction = point < text.size() ? text.substr(point + 1) : "";
  if (whole.empty() || whole.size() > 13 || !std::ranges::all_of(whole, isDigit)) return {};
  if (!std::ranges::all_of(fraction, isDigit)) return {};
  if (point < text.size() && (fraction.empty() || fraction.size() > kMaxPrecision)) return {};

  Fixed value = 0;
  for (const char digit : whole) value = value * 10 + (digit - '0');
  if (value > kMaxWhole) return {};
  for (std::size_t i = 0; i < kMaxPrecision; ++i) {
    value = value * 10 + (i < fraction.size() ? fraction[i] - '0' : 0);
  }
  return Decimal{negative ? -value : value, static_cast<int>(fraction.size())};
}

std::string formatDecimal(Fixed value, int precision) {
  const std::uint64_t cut = powerOfTen(kMaxPrecision - precision);
  const std::uint64_t kept = (magnitude(value) + cut / 2) / cut;
  const std::uint64_t scale = powerOfTen(precision);
  std::string text = value < 0 && kept != 0 ? "-" : "";
  text += std::to_string(kept / scale);
  if (precision > 0) {
    const std::string digits = std::to_string(kept % scale);
    text += '.' + std::string(static_cast<std::size_t>(precision) - digits.size(), '0') + digits;
  }
  return text;
}

std::int64_t roundToWhole(Fixed value) {
  const auto whole = static_cast<std::int64_t>((magnitude(value) + kOne / 2) / kOne);
  return value < 0 ? -whole : whole;
}

Fixed addClamped(Fixed a, Fixed b) {
  Fixed sum = 0;
  if (!__builtin_add_overflow(a, b, &sum)) return sum;
  return a < 0 ? kLowest : kHighest;
}

Fixed multiplyClamped(Fixed a, Fixed b) {
  Fixed whole = 0;
  Fixed part = 0;
  if (__builtin_mul_overflow(a / kOne, b, &whole)) return (a < 0) == (b < 0) ? kHighest : kLowest;
  if (__builtin_mul_overflow(a % kOne, b, &part)) {
    // The divided form loses less than one millionth of the second factor.
    part = a % kOne * (b / kOne);
    return addClamped(whole, part);
  }
  return addClamped(whole, part / kOne);
}

}  // namespace sim
