#include "logging/log.h"

#include <algorithm>
#include <sstream>

#include "fuzz/target.h"

/// The log writer: any level, any configured level, any text behind every format that is used.

namespace {

/// The letter and the message, as they must follow the time stamp.
std::string referenceLine(int level, const std::string& message) {
  const int low = level & 0xFF;
  std::string line(1, low >= 1 && low <= 5 ? "PEWDI"[low - 1] : 'O');
  line += message;
  return line.substr(0, 1024);
}

bool passes(const std::string& configured, int level) {
  if (configured.empty()) return false;
  return ((static_cast<unsigned char>(configured[0]) + 256 - '0') % 256) >= (level & 0xFF);
}

void checkStamp(std::string_view stamp) {
  constexpr std::string_view kForm = "[00/00/00 00:00:00.000000000]";
  std::string form(stamp);
  for (char& character : form) {
    if (character >= '0' && character <= '9') character = '0';
  }
  fuzz::expectEqual("time stamp", kForm, form);
}

}  // namespace

void fuzz_log(const std::uint8_t* data, std::size_t size) {
  static Logger target;
  static std::stringbuf lines;
  if (!target.output.is_open()) {
    target.output.open("/dev/null");
    // The stream writes into memory from here on.
    static_cast<std::ios&>(target.output).rdbuf(&lines);
  }
  fuzz::Input input(data, size);
  target.levelText = input.line();
  const int level = static_cast<int>(input.word());
  const unsigned form = input.byte();
  const int number = static_cast<int>(input.word());
  const std::string text = input.rest();
  const char* const words = text.c_str();

  lines.str("");
  std::string message = "[" + std::string(words) + ":" + std::to_string(number) + "]";
  switch (form % 4) {
    case 0:
      boardctl::logWrite(target, level, "[%s:%d][%s]: Entry().\n", words, number, words);
      message += "[" + std::string(words) + "]: Entry().\n";
      break;
    case 1:
      boardctl::logWrite(target, level,
                         "[%s:%d][%s]: devId : %d, propName : %s, accMode : %d, devType : %d.\n",
                         words, number, "getGpuData", number, words, number, number);
      message += "[getGpuData]: devId : " + std::to_string(number) + ", propName : " + words +
                 ", accMode : " + std::to_string(number) + ", devType : " + std::to_string(number) +
                 ".\n";
      break;
    case 2:
      boardctl::logWrite(target, level, "%s", words);
      message = words;
      break;
    default:
      boardctl::logWrite(target, level, "%s:%d:%c%s", words, number, number, words);
      message = std::string(words) + ":" + std::to_string(number) + ":";
      // A NUL that a format writes ends the message.
      if ((number & 0xFF) != 0) message += static_cast<char>(number) + std::string(words);
      break;
  }
  std::string expected = passes(target.levelText, level) ? referenceLine(level, message) : "";
  std::string found = lines.str();
  if (!found.empty() && (level & boardctl::kLogNoTimeStamp) == 0) {
    checkStamp(std::string_view(found).substr(0, std::min<std::size_t>(29, found.size())));
    found.erase(0, 29);
  }
  fuzz::expectEqual("line", expected, found);
}
