#include <stdexcept>

#include "cli/handlers.h"
#include "fuzz/reference.h"
#include "fuzz/target.h"
#include "tests/support/recording_library.h"
#include "tools/boardctl/numeric_arg.h"
#include "tools/boardctl/settings.h"

/// One word through the number parser, then all words through the raw commands, which pack them.

namespace {

std::string describe(const reference::Number& number) {
  if (number.error == reference::Number::Error::notANumber) return "invalid";
  if (number.error == reference::Number::Error::outOfRange) return "out of range";
  return std::to_string(number.value);
}

template <typename Parse>
std::string outcome(Parse parse) {
  try {
    return std::to_string(parse());
  } catch (const std::invalid_argument&) {
    return "invalid";
  } catch (const std::out_of_range&) {
    return "out of range";
  }
}

}  // namespace

void fuzz_numbers(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const unsigned mode = input.byte();
  const std::string first = input.line();
  fuzz::expectEqual("number", describe(reference::numeric(first)),
                    outcome([&] { return boardctl::parseNumericArg(first); }));
  fuzz::expectEqual("decimal", describe(reference::decimal(first)),
                    outcome([&] { return std::stoi(first); }));
  if (input.empty()) return;

  constexpr struct {
    const char* name;
    std::int32_t (*handler)(std::vector<std::string>);
  } kCommands[] = {{"raw", boardctl::rawData},
                   {"rawSyncCmd", boardctl::rawSyncCmdData},
                   {"rawAsyncCmd", boardctl::rawAsyncCmdData}};
  const auto& command = kCommands[mode % 3];
  reference::Answers answers;
  answers.postbox = mode < 128 ? 0 : -static_cast<int>(mode);
  answers.word = mode * 0x01020304;
  answers.output.assign(mode / 3 % 8, answers.word);
  std::vector<std::string> words = {command.name, mode % 4 == 3 ? "fpga" : "gpu", first};
  while (!input.empty()) words.push_back(input.line());
  const reference::Effect expected = reference::command(words, answers);

  resetLibrary();
  library().postboxResult = answers.postbox;
  library().outputWords = answers.output;
  for (unsigned int& word : library().words) word = answers.word;
  boardctl::shellActive = true;
  words.erase(words.begin());
  fuzz::Capture capture;
  bool raised = false;
  try {
    command.handler(words);
  } catch (const std::logic_error&) {
    raised = true;
  }
  fuzz::expectEqual("end", expected.raised ? "raised" : "", raised ? "raised" : "");
  fuzz::expectEqual("output", expected.printed, capture.text());
  fuzz::expectEqual("calls", fuzz::joined(expected.calls), fuzz::joined(library().calls));
}
