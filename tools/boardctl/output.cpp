#include "tools/boardctl/output.h"

#include <algorithm>
#include <memory>
#include <string>

namespace boardctl {

void print(std::initializer_list<std::string_view> pieces) {
  std::size_t size = 0;
  for (const std::string_view piece : pieces) size += piece.size();
  // Usual lines are put together without an allocation.
  char usual[256];
  const std::unique_ptr<char[]> unusual(size > sizeof usual ? new char[size] : nullptr);
  char* const text = unusual ? unusual.get() : usual;
  char* end = text;
  for (const std::string_view piece : pieces) end = std::copy(piece.begin(), piece.end(), end);
  print(std::string_view(text, size));
}

void printHexCode(std::string_view prefix, std::int32_t code) {
  print(prefix);
  printFormat("%x\n", static_cast<unsigned>(code));
}

void printDecimalCode(std::string_view prefix, std::int32_t code, std::string_view suffix) {
  print({prefix, std::to_string(code), suffix});
}

void printMissingWords(std::string_view usage) { print({"Missing params!\n", usage, "\n"}); }

std::string_view bufferText(const char* buffer, std::size_t size) {
  const std::string_view text(buffer, size);
  return text.substr(0, text.find('\0'));
}

}  // namespace boardctl
