#include "tools/boardctl/entry.h"

#include <cstdlib>
#include <fstream>
#include <new>
#include <stdexcept>

#include "tests/unit/command_test.h"

namespace {

bool outOfMemory = false;
bool allocatesHere = false;

}  // namespace

// Weak, since the thread sanitizer has its own.
__attribute__((weak)) void* operator new(std::size_t size) {
  allocatesHere = true;
  void* const memory = outOfMemory ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
__attribute__((weak)) void operator delete(void* memory) noexcept { std::free(memory); }
__attribute__((weak)) void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

namespace boardctl {
namespace {

class EntryTest : public CommandTest {
 protected:
  EntryTest() : manifest_(testing::TempDir() + "boardctl_entry_manifest") {
    std::ofstream(manifest_) << "never looked at";
  }

  /// Runs the tool on these words; its standard error is kept in `errors_`.
  Outcome tool(std::vector<const char*> words) {
    words.insert(words.begin(), "./boardctl");
    testing::internal::CaptureStderr();
    const Outcome outcome = run(
        [&words](const Words&) {
          const std::int32_t result = runTool(static_cast<int>(words.size()), words.data());
          outOfMemory = false;
          return result;
        },
        {});
    errors_ = testing::internal::GetCapturedStderr();
    return outcome;
  }

  std::string manifest_;
  std::string errors_;
};

TEST_F(EntryTest, GivesTheLibrarysCodeAsItsStatus) {
  for (const int code : {0, 3, -1, INT32_MIN, INT32_MAX}) {
    SCOPED_TRACE(code);
    library().get = [code](const std::string&, char*, int) { return code; };
    EXPECT_EQ(tool({"-m", manifest_.c_str(), "get", "gpu", "0", "x", "0"}).result, code);
    EXPECT_EQ(errors_, "");
    EXPECT_EQ(library().calls[0], "GPUManagerInit(\"" + manifest_ + "\", \"\", \"t\")");
    library().calls.clear();
  }
}

TEST_F(EntryTest, ReportsAnErrorOfALibraryCall) {
  library().get = [](const std::string&, char*, int) -> int { throw std::runtime_error("%s bad"); };
  const Outcome outcome = tool({"-m", manifest_.c_str(), "get", "gpu", "0", "x", "0"});
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(errors_, "[E]%s bad\n");
  EXPECT_TRUE(outcome.output.starts_with(kStarting + "Device[gpu0](x) A Tool for OOB Device"));
}

TEST_F(EntryTest, ReportsAnErrorWhenNoMemoryIsLeftForTheUsage) {
  if (!allocatesHere) GTEST_SKIP() << "a sanitizer has an allocator of its own";
  library().get = [](const std::string&, char*, int) -> int {
    outOfMemory = true;
    throw std::bad_alloc();
  };
  const Outcome outcome = tool({"-m", manifest_.c_str(), "get", "gpu", "0", "x", "0"});
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(errors_, "[E]std::bad_alloc\n");
  EXPECT_EQ(outcome.output, kStarting + "Device[gpu0](x) ");
}

TEST_F(EntryTest, OptionsRunInKeyOrderBeforeTheCommand) {
  tool({"list", "all", "-m", manifest_.c_str(), "-l", "4", "-L", "log"});
  EXPECT_EQ(library().calls[0], "GPUSetLogger(\"log\")");
  EXPECT_EQ(library().calls[1], "GPUSetLogLevel(4)");
  EXPECT_TRUE(library().calls[2].starts_with("GPUManagerInit("));
}

TEST_F(EntryTest, AFailingOptionStopsTheRun) {
  tool({"-m", "missing.json", "-l", "4", "list", "all"});
  EXPECT_EQ(errors_, "[E]File missing.json not exist!\n");
  EXPECT_EQ(library().calls, Calls{"GPUSetLogLevel(4)"});
  library().calls.clear();
  tool({"-m", manifest_.c_str(), "-l", "6", "list", "all"});
  EXPECT_EQ(errors_, "[E]Level of our range[0-5]!\n");
  EXPECT_EQ(library().calls, Calls{});
}

TEST_F(EntryTest, SurvivesBeingStartedWithoutAnyArgument) {
  testing::internal::CaptureStderr();
  const Outcome outcome = run([](const Words&) { return runTool(0, nullptr); }, {});
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "[E]Arg -m is needed!\n");
  EXPECT_EQ(outcome.result, 0);
}

}  // namespace
}  // namespace boardctl
