#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "cli/handlers.h"
#include "fuzz/reference.h"
#include "fuzz/target.h"
#include "tests/support/recording_library.h"
#include "tools/boardctl/settings.h"

/// A session of the shell over the recording library, which answers as the input's beginning says.

namespace {

reference::Answers drawAnswers(fuzz::Input& input) {
  reference::Answers answers;
  const unsigned failing = input.byte();
  const unsigned shape = input.byte();
  const int code = static_cast<int>(input.word());
  int* const codes[] = {&answers.init, &answers.read,      &answers.set,     &answers.clear,
                        &answers.list, &answers.supported, &answers.postbox, &answers.registration};
  for (std::size_t i = 0; i < std::size(codes); ++i) {
    if ((failing >> i & 1U) != 0) *codes[i] = code;
  }
  answers.refreshing = shape % 2 != 0;
  answers.word = static_cast<unsigned>(code) * 0x01020304U;
  answers.output.assign(shape / 2, answers.word);
  answers.value = input.line();
  answers.listing = input.line();
  answers.names = {"gpu.a", "fpga.b c", "all", input.line()};
  return answers;
}

}  // namespace

void fuzz_shell(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const reference::Answers answers = drawAnswers(input);
  std::string session = input.rest() + "\nquit\n";

  resetLibrary();
  RecordingLibrary& told = library();
  told.initResult = answers.init;
  told.setResult = answers.set;
  told.clearResult = answers.clear;
  told.listResult = told.allListResult = answers.list;
  told.namesResult = answers.supported;
  told.postboxResult = answers.postbox;
  told.registerResult = answers.registration;
  told.listing = answers.listing;
  told.names = answers.names;
  told.refreshRunning = answers.refreshing;
  told.get = [&](const std::string&, char* buffer, int space) {
    answers.value.copy(buffer, static_cast<std::size_t>(space));
    return answers.read;
  };
  std::fill(std::begin(told.words), std::end(told.words), answers.word);
  told.outputWords = answers.output;
  boardctl::shellActive = false;

  const reference::Effect expected = reference::session(session, answers);
  std::FILE* const before = stdin;
  stdin = fmemopen(session.data(), session.size(), "r");
  bool raised = false;
  {
    fuzz::Capture capture;
    try {
      boardctl::runShell({});
    } catch (const std::logic_error&) {
      raised = true;
    }
    fuzz::expectEqual("output", expected.printed, capture.text());
  }
  std::fclose(stdin);
  stdin = before;
  fuzz::expectEqual("end", expected.raised ? "raised" : "", raised ? "raised" : "");
  fuzz::expectEqual("calls", fuzz::joined(expected.calls), fuzz::joined(library().calls));
}
