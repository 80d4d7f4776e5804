#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "cli/output.h"

/// What the commands print. There is no format state that one line could leave behind for the next.
/// Main thread only.
namespace boardctl {

void print(std::initializer_list<std::string_view> pieces);

/// The failure line of a library call: `prefix`, the code in lower-case hexadecimal without padding
/// (a negative code as its 32-bit two's complement), and a newline.
void printHexCode(std::string_view prefix, std::int32_t code);

/// `prefix`, the code in decimal, `suffix`.
void printDecimalCode(std::string_view prefix, std::int32_t code, std::string_view suffix);

/// What is printed when a command is given too few words: the fact, and how to use the command.
void printMissingWords(std::string_view usage);

/// The text that the library has written to a buffer: up to its first NUL, never past its end.
std::string_view bufferText(const char* buffer, std::size_t size);

}  // namespace boardctl
