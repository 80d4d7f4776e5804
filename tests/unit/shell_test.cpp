#include <poll.h>
#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "cli/handlers.h"
#include "tests/unit/command_test.h"
#include "tools/boardctl/shell_commands.h"

namespace boardctl {
namespace {

using namespace std::string_literals;

class ShellTest : public CommandTest {
 protected:
  /// What one read of standard input delivers: text, nothing at its end, or an error. A read that
  /// delivers text may leave an error number behind.
  struct Delivery {
    std::string text;
    int error = 0;
  };

  /// Runs the shell on this text, which has to end it.
  template <typename Handler = std::int32_t (*)(Words)>
  Outcome type(std::string input, Handler handler = runShell) {
    return runOn(fmemopen(input.data(), input.size(), "r"), handler);
  }

  /// Runs the shell on standard input that is delivered in these pieces.
  Outcome deliver(std::vector<Delivery> deliveries) {
    std::reverse(deliveries.begin(), deliveries.end());
    const auto read = [](void* cookie, char* buffer, std::size_t) -> ssize_t {
      auto& left = *static_cast<std::vector<Delivery>*>(cookie);
      if (left.empty()) std::abort();
      const Delivery next = left.back();
      left.pop_back();
      errno = next.error;
      if (next.error != 0 && next.text.empty()) return -1;
      return static_cast<ssize_t>(next.text.copy(buffer, next.text.size()));
    };
    return runOn(fopencookie(&deliveries, "r", {read, nullptr, nullptr, nullptr}));
  }

  template <typename Handler = std::int32_t (*)(Words)>
  Outcome runOn(std::FILE* file, Handler handler = runShell) {
    std::FILE* const before = stdin;
    stdin = file;
    struct Restore {
      std::FILE* before;
      std::FILE* file;
      ~Restore() {
        stdin = before;
        std::fclose(file);
      }
    } const restore = {before, file};
    return run(handler, {"ignored"});
  }
};

TEST_F(ShellTest, KnowsEachOfItsWords) {
  std::vector<std::string_view> words = {kShellHelp};
  for (const ShellCommand& command : kShellCommands) words.push_back(command.word);
  EXPECT_EQ(words.size(), 10u);
  for (const std::string_view word : words) {
    EXPECT_NE(type(std::string(word) + "\nquit\n").output, "> > ") << word;
  }
  for (const std::string_view word : kShellEnds) {
    EXPECT_EQ(type(std::string(word) + "\n").output, "> ") << word;
  }
}

TEST_F(ShellTest, StartsOnceRunsCommandsAndStopsOnce) {
  startupWaitMs = 6000;
  library().names = {"gpu.a"};
  library().listing = "gpu.a";
  const Outcome outcome = type(
      "get gpu 0 gpu.a\n"
      "set 0 gpu.a 1\n"
      "clear 0 gpu.a\n"
      "list all\n"
      "list\n"
      "set_callback 0 GPUGetVendorIdV2\n"
      "raw gpu 0 1 2 3 1 2 3 4 5 6 7 8\n"
      "rawSyncCmd fpga 0 1 2 3 1 2 3 4 5 6 7 8\n"
      "rawAsyncCmd korswitch 0 1 2 3 4\n"
      "snapshot refresh_status\n"
      "quit\n"
      "get gpu 0 never.reached\n");
  EXPECT_EQ(outcome.result, 0);
  EXPECT_FALSE(shellActive);
  EXPECT_EQ(
      library().calls,
      (Calls{kInit, kRun, readCall("gpu.a"), "DeviceGetSupportedProperties(0, 0)",
             "DeviceSetData(0, \"gpu.a\", 1, 4, 0)", "DeviceGetSupportedProperties(0, 0)",
             "DeviceClearData(0, \"gpu.a\", 0)", "DeviceGetAllSupportedProperties(true, 20480)",
             "DeviceSetCallbackUpdateData(0, \"GPUGetVendorIdV2\", -1, \"\", \"\", -1)",
             "TesselCmd(0, 1, 2, 3, {67305985 134678021}, {}, false)",
             "TesselSyncCmdFpga(0, 1, 2, 3, 67305985, 134678021, 0, 0, 0, false)",
             "TesselAsyncCmdKorswitch(0, 3, {}, 0, 0, {}, 1, false)",
             "SnapShotRefreshStatus(false)", kStop}));
  EXPECT_EQ(outcome.output.find(kStarting), std::string::npos);
}

TEST_F(ShellTest, TheFlagIsSetWhileTheManagerStartsAndUntilItHasStopped) {
  std::string flags;
  library().during = [&flags](const std::string&) { flags += shellActive ? '1' : '0'; };
  type("quit\n");
  EXPECT_EQ(flags, "111");
  EXPECT_FALSE(shellActive);
}

TEST_F(ShellTest, AFailedInitEndsItAndLeavesTheFlagSet) {
  for (const int code : {42, -1, INT32_MIN, INT32_MAX}) {
    SCOPED_TRACE(code);
    shellActive = false;
    library().calls.clear();
    library().initResult = code;
    const Outcome outcome = type("quit\n");
    EXPECT_EQ(outcome.result, code);
    EXPECT_EQ(outcome.output, "GPU Manager Init failed!!\n");
    EXPECT_EQ(library().calls, Calls{kInit});
    EXPECT_TRUE(shellActive);
  }
}

TEST_F(ShellTest, StartsAndStopsTheManagerHoweverTheOneBeforeEnded) {
  const Calls whole = {kInit, kRun, kStop};
  library().initResult = 42;
  type("quit\n");
  ASSERT_TRUE(shellActive);
  resetLibrary();
  EXPECT_EQ(type("quit\n").result, 0);
  EXPECT_EQ(library().calls, whole);
  EXPECT_FALSE(shellActive);

  EXPECT_THROW(type("get gpu x y\n"), std::invalid_argument);
  ASSERT_TRUE(shellActive);
  resetLibrary();
  EXPECT_EQ(type("quit\n").result, 0);
  EXPECT_EQ(library().calls, whole);
  EXPECT_FALSE(shellActive);
}

TEST_F(ShellTest, QuitAndExitEndItOnlyAsWholeLines) {
  EXPECT_EQ(type("quit\n").output, "> ");
  EXPECT_EQ(type("exit\n").output, "> ");
  EXPECT_EQ(type("exit").output, "> ");
  EXPECT_EQ(type("Quit\nEXIT\n quit\nquit \nexit now\nexit\r\nquit\n").output, "> > > > > > > ");
}

TEST_F(ShellTest, HelpListsItsNineWords) {
  EXPECT_EQ(type("help\nquit\n").output,
            "> help\nget\nset\nclear\nraw\nrawSyncCmd\nrawAsyncCmd\nset_callback\nquit\n> ");
  EXPECT_EQ(type(" help\nhelp \nHelp\nhelp me\nquit\n").output, "> > > > > ");
}

TEST_F(ShellTest, SplitsAtSpacesOnlyAndDropsEmptyFields) {
  EXPECT_EQ(type("   get  gpu   0    gpu.a  \nquit\n").output, "> Device[gpu0](gpu.a) value\n> ");
  EXPECT_EQ(type("get\tgpu 0 gpu.a\nquit\n").output, "> > ");
  EXPECT_EQ(type("get gpu 0 a\tb\nquit\n").output, "> Device[gpu0](a\tb) value\n> ");
}

TEST_F(ShellTest, IgnoresWhatItDoesNotKnow) {
  EXPECT_EQ(type("\n   \nshell\n-h\nGet gpu 0 x\ngett\nlist\0all\n\x01\xff\nquit\n"s).output,
            "> > > > > > > > > ");
  EXPECT_EQ(library().calls, (Calls{kInit, kRun, kStop}));
}

TEST_F(ShellTest, IgnoresTheResultsOfCommands) {
  library().namesResult = 31;
  const Outcome outcome = type("set 0 gpu.a 1\nget\nquit\n");
  EXPECT_EQ(outcome.result, 0);
  EXPECT_TRUE(outcome.output.starts_with(
      "> Get Properties list failed, rc = 31.\n> Missing params!\nget <deviceType>"));
}

TEST_F(ShellTest, AnErrorLeavesItWithoutAStop) {
  EXPECT_THROW(type("get gpu x gpu.a\nquit\n"), std::invalid_argument);
  EXPECT_EQ(output_, "> ");
  EXPECT_EQ(library().calls, (Calls{kInit, kRun}));
  EXPECT_TRUE(shellActive);
}

TEST_F(ShellTest, ABadNumberInAnyCommandLeavesItWithoutAStop) {
  const std::string raw = " gpu 0 zz 2 3 1 2 3 4 5 6 7 8";
  for (const std::string& line :
       {"get gpu 0 a x"s, "set 0 a 2147483648"s, "clear x a"s, "set_callback x GPUGetVendorIdV2"s,
        "raw" + raw, "rawSyncCmd" + raw, "rawAsyncCmd" + raw}) {
    shellActive = false;
    library().calls.clear();
    EXPECT_THROW(type(line + "\nquit\n"), std::logic_error) << line;
    EXPECT_EQ(library().calls, (Calls{kInit, kRun})) << line;
  }
}

TEST_F(ShellTest, WritesAtMostOncePerPrompt) {
  const auto writes = [] {
    std::ifstream file("/proc/self/io");
    for (std::string key, value; file >> key >> value;) {
      if (key == "syscw:") return std::stol(value);
    }
    return -1L;
  };
  if (writes() < 0 || std::getenv("BOARDCTL_EMULATOR") != nullptr) {
    GTEST_SKIP() << "the system does not count this process's calls";
  }
  std::string input;
  for (int i = 0; i < 100; ++i) input += "get gpu 0 gpu.a\n";
  long count = 0;
  const auto counted = [&](const Words&) {
    const long before = writes();
    const std::int32_t result = runShell({});
    count = writes() - before;
    return result;
  };
  type(input + "quit\n", counted);
  EXPECT_LE(count, 101);
  EXPECT_GE(count, 1);
}

TEST_F(ShellTest, TakesALastLineWithoutANewline) {
  EXPECT_EQ(type("snapshot refresh_status\nquit").output, "> Snapshot Refresh Status: 0\n> ");
}

TEST_F(ShellTest, ASignalDoesNotCutALine) {
  EXPECT_EQ(deliver({{"", EINTR}, {"quit\n"}}).output, "> ");
  EXPECT_EQ(
      deliver({{"he"}, {"", EINTR}, {"", EINTR}, {"l"}, {"p\nq"}, {"", EINTR}, {"uit\n"}}).output,
      type("help\nquit\n").output);
  EXPECT_EQ(deliver({{"quit"}, {"", EINTR}, {""}}).output, "> ");
  EXPECT_EQ(deliver({{"qu"}, {"", EINTR}, {"it\n", EINTR}}).output, "> ");
}

TEST_F(ShellTest, InputThatDoesNotWaitIsWaitedFor) {
  EXPECT_EQ(deliver({{"", EAGAIN}, {"he"}, {"", EAGAIN}, {"", EINTR}, {"", EAGAIN}, {"lp\nquit\n"}})
                .output,
            type("help\nquit\n").output);
}

TEST_F(ShellTest, EachWaitForInputIsForItsDescriptorAndWithoutEnd) {
  deliver({{"", EAGAIN}, {"qu"}, {"", EINTR}, {"", EAGAIN}, {"it\n"}});
  // What is delivered here has no descriptor.
  const std::string wait = "poll(-1, " + std::to_string(POLLIN) + ", -1)";
  EXPECT_EQ(callsWhileRunning(), (Calls{wait, wait}));
}

TEST_F(ShellTest, AReadThatFailsDeliversWhatItHas) {
  EXPECT_EQ(deliver({{"help\nqu"}, {"it"}, {"", EIO}}).output, type("help\nquit\n").output);
}

TEST_F(ShellTest, NoMemoryForALineIsAnError) {
  try {
    deliver({{"", ENOMEM}});
    FAIL() << "a line was read without memory";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), std::strerror(ENOMEM));
  }
}

TEST_F(ShellTest, TakesALongLine) {
  const std::string name(200000, 'x');
  EXPECT_EQ(type("get gpu 0 " + name + "\nquit\n").output,
            "> Device[gpu0](" + name + ") value\n> ");
}

TEST_F(ShellTest, NamesItsThread) {
  type("quit\n");
  char name[16] = {};
  pthread_getname_np(pthread_self(), name, sizeof name);
  EXPECT_STREQ(name, "GPU shell");
}

TEST_F(ShellTest, ANumberAfterAFailureIsDecimalAgain) {
  library().get = [](const std::string&, char*, int) { return -1; };
  EXPECT_EQ(type("get gpu 31 a\nget gpu 31 b\nquit\n").output,
            "> Device[gpu31](a) Get Failed, rc = 0xffffffff\n"
            "> Device[gpu31](b) Get Failed, rc = 0xffffffff\n> ");
}

}  // namespace
}  // namespace boardctl
