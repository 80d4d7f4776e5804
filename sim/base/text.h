#pragma once

#include <string>
#include <string_view>

namespace sim {

/// Whether the text is UTF-8 and every character may be sent to a terminal: none is a control
/// character, ends a line or turns the direction of writing.
bool isPrintable(std::string_view text);

/// The text as one line for a terminal: '?' replaces each character that is not printable, and each
/// byte that is not UTF-8.
std::string printable(std::string_view text);

/// What is left of a text that a message quotes: all of it, or, when it is longer than a name may
/// be, whole characters and "...".
std::string shortened(std::string_view text);

/// The same in quotation marks.
std::string inQuotes(std::string_view text);

}  // namespace sim
