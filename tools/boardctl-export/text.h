#pragma once

#include <string>
#include <string_view>

namespace exporter {

/// Whether the whole text is a decimal number of at most 32 characters: an optional sign, digits,
/// and optionally a point and digits.
bool isNumber(std::string_view text);

/// The number with its decimal point moved to the right by `places`, or to the left if negative.
/// No digit is lost. The result is also a number in JSON: without '+' and leading zeros.
std::string movePoint(std::string_view number, int places);

/// With three decimals.
std::string decimal(double value);

/// The text with each byte that is not part of a UTF-8 character as \xNN.
std::string toUtf8(std::string_view text);

/// As above, and control characters as \xNN too.
std::string toPrintable(std::string_view text);

/// Whether the name is one that the pattern stands for; '*' stands for any characters.
bool matches(std::string_view pattern, std::string_view name);

/// Whether there can be a name that both patterns stand for.
bool overlap(std::string_view one, std::string_view other);

}  // namespace exporter
