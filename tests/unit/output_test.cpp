#include "tools/boardctl/output.h"

#include <cerrno>
#include <cstdio>

#include "tests/unit/command_test.h"

namespace boardctl {
namespace {

class OutputTest : public CommandTest {
 protected:
  /// What `work` prints.
  template <typename Work>
  std::string printed(Work work) {
    return run(
               [&work](const Words&) {
                 work();
                 return 0;
               },
               {})
        .output;
  }

  /// The error that `work` leaves when nothing can be written.
  template <typename Work>
  int errorOfFullOutput(Work work) {
    std::FILE* const before = stdout;
    stdout = std::fopen("/dev/full", "w");
    work();
    std::fclose(stdout);
    stdout = before;
    return takeOutputError();
  }
};

TEST_F(OutputTest, PutsPiecesOfAnyLengthTogether) {
  for (const std::size_t first : {0U, 1U, 255U, 256U, 257U, 1000U}) {
    SCOPED_TRACE(first);
    for (const std::size_t second : {0U, 1U, 255U, 256U, 257U, 1000U}) {
      SCOPED_TRACE(second);
      const std::string a(first, 'a');
      const std::string b(second, 'b');
      EXPECT_EQ(printed([&] {
                  print({"<", a, "|", b, "|", a, ">"});
                }),
                "<" + a + "|" + b + "|" + a + ">");
    }
  }
  EXPECT_EQ(printed([] { print({}); }), "");
  EXPECT_EQ(printed([] { print({std::string_view()}); }), "");
}

TEST_F(OutputTest, RemembersTheFirstFailureOfAnyWayToPrint) {
  const std::string moreThanABuffer(100'000, 'x');
  const char* const text = moreThanABuffer.c_str();
  EXPECT_EQ(errorOfFullOutput([&] { print(std::string_view(text)); }), ENOSPC);
  EXPECT_EQ(errorOfFullOutput([&] { printFormat("%s", text); }), ENOSPC);
  EXPECT_EQ(errorOfFullOutput([] {
              print("x");
              flushOutput();
              errno = EIO;
              print("y");
            }),
            ENOSPC);
  EXPECT_EQ(takeOutputError(), 0);
}

TEST_F(OutputTest, PrintingNothingDoesNotFail) {
  errno = EIO;
  EXPECT_EQ(printed([] { printFormat("%s", ""); }), "");
  EXPECT_EQ(takeOutputError(), 0);
}

}  // namespace
}  // namespace boardctl
