#pragma once

#include <string>

namespace boardctl {

/// The value of a numeric word of the raw commands: base 16 after "0x" or "0X", else base 10.
/// Leading blanks and a sign are accepted and the conversion stops at the first character that is
/// no digit. Raises `std::invalid_argument` for a word without digits and `std::out_of_range` for a
/// value that is no `int`, both with the message "stoi".
int parseNumericArg(const std::string& word);

}  // namespace boardctl
