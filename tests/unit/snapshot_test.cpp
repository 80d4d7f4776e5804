#include <stdio_ext.h>

#include "tests/unit/command_test.h"
#include "tools/boardctl/shell_commands.h"

namespace boardctl {
namespace {

class SnapshotTest : public CommandTest {};

TEST_F(SnapshotTest, PrintsWhetherARefreshRuns) {
  for (const bool running : {true, false}) {
    SCOPED_TRACE(running);
    for (const bool inShell : {true, false}) {
      SCOPED_TRACE(inShell);
      resetLibrary();
      shellActive = inShell;
      library().refreshRunning = running;
      const Outcome outcome = run(snapshotData, {"refresh_status", "ignored"});
      EXPECT_EQ(outcome.result, 0);
      EXPECT_EQ(outcome.output,
                std::string("Snapshot Refresh Status: ") + (running ? "1" : "0") + "\n");
      EXPECT_EQ(library().calls, Calls{"SnapShotRefreshStatus(false)"});
    }
  }
}

TEST_F(SnapshotTest, TheStatusDoesNotWaitInTheBuffer) {
  std::size_t pending = 1;
  const Outcome outcome = run(
      [&pending](const Words& words) {
        const std::int32_t result = snapshotData(words);
        pending = __fpending(stdout);
        return result;
      },
      {"refresh_status"});
  EXPECT_EQ(pending, 0U);
  EXPECT_EQ(outcome.output, "Snapshot Refresh Status: 0\n");
}

TEST_F(SnapshotTest, WithoutAWordPrintsTheHint) {
  const Outcome outcome = run(snapshotData, {});
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.output, "Missing params!\npossible params: refresh_status\n");
  EXPECT_EQ(library().calls, Calls{});
}

TEST_F(SnapshotTest, AnyOtherWordPrintsNothing) {
  for (const char* word : {"", "refresh", "Refresh_status", "refresh_status "}) {
    SCOPED_TRACE(word);
    const Outcome outcome = run(snapshotData, {word});
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.output, "");
  }
  EXPECT_EQ(library().calls, Calls{});
}

}  // namespace
}  // namespace boardctl
