#include "sim/base/decimal.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace sim {
namespace {

constexpr Fixed kLowest = std::numeric_limits<Fixed>::min();
constexpr Fixed kHighest = std::numeric_limits<Fixed>::max();

/// An exponent beyond 64 bits is as good as any other that no number can have.
std::int64_t parseExponent(std::string_view text) {
  if (text.starts_with('+')) text.remove_prefix(1);
  constexpr std::int64_t kHuge = std::numeric_limits<std::int32_t>::max();
  std::int64_t exponent = 0;
  const auto error = std::from_chars(text.data(), text.data() + text.size(), exponent).ec;
  if (error != std::errc()) return text.starts_with('-') ? -kHuge : kHuge;
  return std::clamp(exponent, -kHuge, kHuge);
}

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

std::optional<std::int64_t> Spelled::inUnitsOf(int power) const {
  constexpr std::int64_t kMostDigits = std::numeric_limits<std::int64_t>::digits10 + 1;
  const std::int64_t zeros = digits.empty() ? 0 : exponent - power;
  if (zeros > kMostDigits) return {};
  std::string text = negative ? "-0" : "0";
  text.append(digits).append(static_cast<std::size_t>(zeros), '0');
  std::int64_t count = 0;
  const auto error = std::from_chars(text.data(), text.data() + text.size(), count).ec;
  return error == std::errc() ? std::optional(count) : std::nullopt;
}

Spelled parseNumber(std::string_view json) {
  Spelled number;
  number.negative = json.starts_with('-');
  if (number.negative) json.remove_prefix(1);
  const std::size_t end = std::min(json.find_first_of("eE"), json.size());
  const std::size_t point = std::min(json.find('.'), end);
  number.digits = json.substr(0, point);
  if (point < end) number.digits += json.substr(point + 1, end - point - 1);
  const auto written = static_cast<std::int64_t>(number.digits.size() - point);
  number.exponent = (end < json.size() ? parseExponent(json.substr(end + 1)) : 0) - written;
  const std::size_t last = number.digits.find_last_not_of('0') + 1;
  number.exponent += static_cast<std::int64_t>(number.digits.size() - last);
  number.digits.resize(last);
  number.digits.erase(0, number.digits.find_first_not_of('0'));
  if (number.digits.empty()) number.exponent = 0;
  number.precision = end < json.size() ? std::max<std::int64_t>(-number.exponent, 0) : written;
  return number;
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
