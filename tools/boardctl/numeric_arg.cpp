#include "tools/boardctl/numeric_arg.h"

namespace boardctl {

int parseNumericArg(const std::string& word) {
  const bool hexadecimal = word.starts_with("0x") || word.starts_with("0X");
  return std::stoi(word, nullptr, hexadecimal ? 16 : 10);
}

}  // namespace boardctl
