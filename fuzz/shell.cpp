#include <stdexcept>

#include "cli/handlers.h"
#include "fuzz/naive.h"
#include "fuzz/target.h"
#include "tests/unit/recording_library.h"
#include "tools/boardctl/settings.h"

/// A session of the shell over the recording library.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const unsigned mode = input.byte();
  naive::Answers answers;
  answers.names = {"gpu.a", "fpga.b c", "all"};
  answers.code = mode % 4 == 0 ? static_cast<int>(mode) : 0;
  answers.word = mode * 0x01020304;
  answers.output.assign(mode / 4 % 4, answers.word);
  std::string session = input.rest() + "\nquit\n";

  resetLibrary();
  library().names = answers.names;
  library().outputWords = answers.output;
  for (unsigned int& word : library().words) word = answers.word;
  for (int* code : {&library().listResult, &library().allListResult, &library().namesResult,
                    &library().postboxResult, &library().registerResult}) {
    *code = answers.code;
  }
  boardctl::shellActive = false;

  const naive::Effect expected = naive::session(session, answers);
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
  return 0;
}
