#include "tools/boardctl/output.h"

#include <string>

namespace boardctl {

void print(std::initializer_list<std::string_view> pieces) {
  // Usual lines go out at once; only what is longer is not worth gathering.
  char text[256];
  std::size_t size = 0;
  for (const std::string_view piece : pieces) {
    if (piece.size() > sizeof text - size) {
      print(std::string_view(text, size));
      size = 0;
      if (piece.size() > sizeof text) {
        print(piece);
        continue;
      }
    }
    piece.copy(text + size, piece.size());
    size += piece.size();
  }
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
