#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <thread>
#include <utility>

#include "tests/sim/board_fixture.h"

namespace {

class Journal : public BoardTest {
 protected:
  /// The log goes to one of the standard streams, by what the process configured before.
  static void capture() {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
  }
  static std::string captured() {
    return testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
  }

  /// How the message begins that the fixture's profile cannot name that journal.
  static std::string refusal(const std::string& file) {
    return 'E' + path("profile.json") + ":1:59: /journal: '" + file + "' ";
  }
  /// What the library says when the profile names that journal, which it has to refuse.
  std::string refused(const std::string& file) {
    capture();
    EXPECT_EQ(init("\"journal\": \"" + file + '"'), sim::kFileRefused);
    const std::string lines = captured();
    return lines.substr(lines.find(']') + 1);
  }

  /// Everything that a journal can hold, in one run.
  std::string record() {
    const std::string file = path("journal");
    start("\"journal\": \"" + file + R"(", "seed": 5, "latencyMs": {"gpu": 250}, "faults": [
      {"device": "gpu1", "operation": "get", "code": "ioError"}], "timeline": [
      {"atMs": 4000, "set": "gpu.power.consumption", "device": "gpu0", "value": 1}])");
    get(0, "gpu.inventory.serialNumber");
    get(1, kName, 1);
    DeviceSetCallbackUpdateData(
        0, kApi, [](auto...) {}, -1, "", "", -1);
    set(0, kName, 1);
    get(0, "gpu.\"\n\xff");
    unsigned int word = 0;
    std::vector<unsigned int> words;
    unsigned int second = 0;
    unsigned int third = 0;
    TesselSyncCmdGpu(0, 1, 0, 0, 7, 8, &word, &second, &third, false);
    TesselAsyncCmdGpu(0, 0x10, {1}, &word, &second, words, 0, false);
    std::vector<std::string> names;
    std::vector<std::string> details;
    DeviceGetSupportedProperties(1, names, details);
    refreshing();
    GPUManagerStop();
    std::string text = contents(file);
    return text.substr(text.find("{\"n\":2,"));
  }
};

TEST_F(Journal, HoldsEveryCallToTheByte) {
  const std::string first = record();
  EXPECT_EQ(
      first,
      R"({"n":2,"at":0,"call":"GPUManagerRun","args":{"reserved0":0,"reserved1":0},"code":0,"took":0}
{"n":3,"at":1000000,"call":"DeviceGetData","args":{"device":0,"property":"gpu.inventory.serialNumber","reserved0":0,"reserved1":0,"size":10240,"mode":0,"reserved2":0,"value":"SN0001"},"code":0,"took":0}
{"n":4,"at":2000000,"call":"DeviceGetData","args":{"device":1,"property":"gpu.firmware.writeProtectMode","reserved0":0,"reserved1":0,"size":10240,"mode":1,"reserved2":0,"fault":0,"value":""},"code":23,"took":250000}
{"n":5,"at":3250000,"call":"DeviceSetCallbackUpdateData","args":{"device":0,"api":"GPUGetPowerConsumptionV2","callback":1,"reserved0":-1,"reserved1":"","reserved2":"","reserved3":-1},"code":0,"took":0}
{"n":6,"at":4250000,"call":"DeviceSetData","args":{"device":0,"property":"gpu.firmware.writeProtectMode","value":1,"size":4,"reserved0":0},"code":0,"took":250000}
{"at":4000000,"update":"GPUGetPowerConsumptionV2","device":"gpu0","value":"1","id":0,"sequence":1,"registration":5,"after":6,"during":1}
{"n":7,"at":5500000,"call":"DeviceGetData","args":{"device":0,"property":"gpu.\"\u000a\u00ff","reserved0":0,"reserved1":0,"size":10240,"mode":0,"reserved2":0,"value":""},"code":3,"took":0}
{"n":8,"at":6500000,"call":"TesselSyncCmdGpu","args":{"device":0,"opcode":1,"arg1":0,"arg2":0,"data":7,"extended":8,"flag":0,"reply":[2,458878,65536]},"code":0,"took":0}
{"n":9,"at":7500000,"call":"TesselAsyncCmdGpu","args":{"device":0,"opcode":16,"input":[1],"size":0,"flag":0,"reply":[1,1],"output":[]},"code":0,"took":0}
{"n":10,"at":8500000,"call":"DeviceGetSupportedProperties","args":{"type":1,"names":["korswitch.firmware.version"],"details":[""]},"code":0,"took":0}
{"n":11,"at":9500000,"call":"SnapShotRefreshStatus","args":{"running":0},"code":0,"took":0}
{"rule":0,"fired":1}
{"n":12,"at":9500000,"call":"GPUManagerStop","args":{},"code":0,"took":0}
{"end":"stop","calls":12}
)");
  EXPECT_EQ(record(), first) << "a second run gives the same bytes";
}

TEST_F(Journal, BeginsWithItsVersionAndWhatCameBeforeTheBoard) {
  GPUSetLogLevel(3);
  const std::string file = path("journal");
  ASSERT_EQ(init("\"journal\": \"" + file + "\""), 0);
  EXPECT_TRUE(contents(file).starts_with("{\"journal\":2,\"seed\":1,\"clock\":\"stepped\","))
      << contents(file);
  const std::string lines = contents(file).substr(contents(file).find('\n') + 1);
  EXPECT_TRUE(
      lines.starts_with("{\"n\":1,\"at\":0,\"call\":\"GPUSetLogLevel\",\"args\":{\"level\":3},"
                        "\"code\":0,\"took\":0}\n"
                        "{\"n\":2,\"at\":0,\"call\":\"GPUManagerInit\",\"manifest\":\""))
      << "and a line is on the disk when its call returns: " << lines;
}

TEST_F(Journal, HoldsCallsThatAreRejectedBeforeTheyReachTheBoard) {
  const std::string file = path("journal");
  ASSERT_EQ(init("\"journal\": \"" + file + "\""), 0);
  EXPECT_EQ(get(0, kName), "rc = 2");
  ASSERT_EQ(GPUManagerRun(0, 0), 0);
  std::vector<std::string> names;
  std::vector<std::string> details;
  EXPECT_EQ(DeviceGetSupportedProperties(22, names, details), sim::kNoSuchKind);
  EXPECT_EQ(DeviceClearData(0, nullptr, 0), sim::kBadArgument);
  GPUManagerStop();
  const std::string text = contents(file);
  for (
      const char* line :
      {R"({"n":2,"at":0,"call":"DeviceGetData","args":{"device":0,"property":"gpu.firmware.writeProtectMode","reserved0":0,"reserved1":0,"size":10240,"mode":0,"reserved2":0,"value":""},"code":2,"took":0})",
       R"({"n":4,"at":0,"call":"DeviceGetSupportedProperties","args":{"type":22,"names":[],"details":[]},"code":4,"took":0})",
       R"({"n":5,"at":0,"call":"DeviceClearData","args":{"device":0,"property":null,"reserved0":0},"code":12,"took":0})"}) {
    EXPECT_NE(text.find(line), std::string::npos) << line << " is not in\n" << text;
  }
}

TEST_F(Journal, HoldsTheArgumentsOfACallThatHangs) {
  const std::string file = path("journal");
  start("\"journal\": \"" + file + R"(", "faults": [{"operation": "clear", "hang": true}])");
  std::thread caller([] { DeviceClearData(1, kName, 0); });
  while (contents(file).find("hang") == std::string::npos) std::this_thread::yield();
  GPUManagerStop();
  caller.join();
  EXPECT_NE(
      contents(file).find(R"({"n":3,"at":1000000,"call":"DeviceClearData","args":{"device":1,)"
                          R"("property":"gpu.firmware.writeProtectMode","reserved0":0},)"
                          R"("hang":1})"),
      std::string::npos)
      << contents(file);
}

TEST_F(Journal, TellsUpdatesOfOneRegistrationFromThoseOfTheNext) {
  const std::string file = path("journal");
  start("\"journal\": \"" + file + '"');
  const auto subscribe = [] {
    DeviceSetCallbackUpdateData(
        0, kApi, [](auto...) { set(0, kName, 0); }, -1, "", "", -1);
  };
  subscribe();
  set(0, kPower, 1);
  subscribe();
  set(0, kPower, 2);
  GPUManagerStop();
  const std::string text = contents(file);
  for (const char* part :
       {R"("sequence":1,"registration":3,"after":4,"during":1})",
        R"("sequence":2,"registration":6,"after":7,"during":1})",
        R"({"n":5,"at":2000000,"call":"DeviceSetData",)", R"({"end":"stop","calls":9})"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part << " is not in\n" << text;
  }
}

TEST_F(Journal, AnUpdateBetweenTwoCallsIsDuringNone) {
  const std::string file = path("journal");
  const std::string profile =
      write("real.json", R"({"callbacks": {"periodMs": 20}, "journal": ")" + file + "\"}");
  ASSERT_EQ(GPUManagerInit("", profile.c_str(), ""), 0);
  ASSERT_EQ(GPUManagerRun(0, 0), 0);
  std::atomic<int> updates{0};
  ASSERT_EQ(DeviceSetCallbackUpdateData(
                0, kApi, [&](auto...) { ++updates; }, -1, "", "", -1),
            0);
  for (const int after = updates + 1; updates <= after;) std::this_thread::yield();
  EXPECT_EQ(GPUManagerStop(), 0);
  const std::string text = contents(file);
  EXPECT_NE(text.find(R"("registration":3,"after":3})"), std::string::npos) << text;
}

TEST_F(Journal, HoldsWhatTheCallerGot) {
  const std::string file = path("journal");
  start("\"journal\": \"" + file + R"(", "mailbox": {"selfTestMs": 1}, "faults": [
    {"operation": "get", "device": "gpu1", "text": "unterminated"},
    {"operation": "get", "device": "gpu2", "text": "truncated"}])");
  const auto read = [](int id, int size) {
    std::array<char, 7> buffer{};
    return DeviceGetData(id, "gpu.inventory.serialNumber", 0, 0, buffer.data(), size, 0, 0);
  };
  EXPECT_EQ(read(0, 6), sim::kBufferTooSmall);
  EXPECT_EQ(read(0, 7), 0);
  EXPECT_EQ(read(1, 4), 0);
  EXPECT_EQ(read(2, 4), 0);
  std::array<char, 26> names{};
  EXPECT_EQ(DeviceGetSupportedProperties(1, names.data(), 26), sim::kBufferTooSmall);
  unsigned int word = 0;
  std::vector<unsigned int> words;
  TesselAsyncCmdGpu(0, 0x10, {1}, &word, &word, words, 0, false);
  TesselAsyncCmdGpu(0, 0x11, {}, &word, &word, words, 7, false);
  EXPECT_EQ(words.size(), 2U);
  EXPECT_EQ(GPUManagerInit("", "", ""), sim::kAlreadyRunning);
  GPUManagerStop();
  const std::string text = contents(file);
  for (const char* part :
       {R"("size":6,"mode":0,"reserved2":0,"value":""},"code":13,)",
        R"("size":7,"mode":0,"reserved2":0,"value":"SN0001"},"code":0,)",
        R"("size":4,"mode":0,"reserved2":0,"fault":0,"value":"SN00","unterminated":1},"code":0,)",
        R"("size":4,"mode":0,"reserved2":0,"fault":1,"value":"SN0"},"code":0,)",
        R"({"type":1,"size":26,"text":""},"code":13,)", R"("output":[1,1]},"code":0)",
        R"("call":"GPUManagerInit","manifest":"","profile":"","properties":"","code":15,)"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part << " is not in\n" << text;
  }
}

TEST_F(Journal, AFileThatCannotBeWrittenRejectsTheProfile) {
  for (const auto& [file, why] :
       {std::pair("/nowhere/journal", "opened: No such file or directory"),
        std::pair("/dev/full", "written: No space left on device")}) {
    SCOPED_TRACE(file);
    capture();
    EXPECT_EQ(init("\"journal\": \"" + std::string(file) + '"'), sim::kFileRefused);
    const std::string lines = captured();
    EXPECT_TRUE(lines.ends_with(refusal(file) + "cannot be " + why + '\n')) << lines;
    EXPECT_EQ(std::ranges::count(lines, '\n'), 1) << lines;
  }
}

TEST_F(Journal, AFileWithAnotherUseIsRejectedAndStaysAsItIs) {
  for (const auto& [name, use] :
       {std::pair("manifest.json", "the manifest"), std::pair("profile.json", "the profile"),
        std::pair("properties.json", "the properties file")}) {
    SCOPED_TRACE(name);
    const std::string message =
        " is " + std::string(use) + "; the journal needs a file of its own\n";
    EXPECT_TRUE(refused(path(name)).ends_with(message));
    EXPECT_TRUE(contents(path(name)).starts_with('{'));
    EXPECT_EQ(contents(path(name)).find("journal\":2"), std::string::npos);
    const std::string link = path("link");
    unlink(link.c_str());
    ASSERT_EQ(symlink(path(name).c_str(), link.c_str()), 0);
    EXPECT_TRUE(refused(link).ends_with(message)) << "by whatever name";
  }
}

TEST_F(Journal, TwoProcessesDoNotShareAFile) {
  const std::string file = path("journal");
  const std::string profile = "\"journal\": \"" + file + '"';
  int ready[2];
  int done[2];
  ASSERT_EQ(pipe(ready) + pipe(done), 0);
  const pid_t child = fork();
  if (child == 0) {
    close(done[1]);
    char byte = init(profile) == 0 ? 'y' : 'n';
    if (::write(ready[1], &byte, 1) == 1 && ::read(done[0], &byte, 1) == 0) std::_Exit(0);
    std::_Exit(1);
  }
  char byte = 0;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  ASSERT_EQ(byte, 'y');
  const std::string before = contents(file);
  EXPECT_EQ(refused(file), refusal(file) +
                               "is the journal of another process; each needs a file of "
                               "its own\n");
  EXPECT_EQ(contents(file), before);
  close(done[1]);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  for (const int end : {ready[0], ready[1], done[0]}) close(end);
  EXPECT_EQ(init(profile), 0) << "it is free again";
}

TEST_F(Journal, AFileThatFillsUpIsSaidOnceAndChangesNothingElse) {
  const std::string file = path("journal");
  ASSERT_EQ(init("\"journal\": \"" + file + '"'), 0);
  const auto signal = std::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  rlimit limit = before;
  limit.rlim_cur = contents(file).size() + 10;
  setrlimit(RLIMIT_FSIZE, &limit);
  capture();
  limit.rlim_cur = before.rlim_cur;
  const int code = GPUManagerRun(0, 0);
  const std::string value = get(0, kPower);
  setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, signal);
  EXPECT_EQ(get(0, kPower), value);
  EXPECT_EQ(GPUManagerStop(), 0);
  const std::string lines = captured();
  EXPECT_EQ(code, 0);
  EXPECT_EQ(value, "300");
  EXPECT_TRUE(lines.ends_with("E" + file + ": the journal ends here: File too large\n")) << lines;
  EXPECT_EQ(std::ranges::count(lines, '\n'), 1) << lines;
  EXPECT_EQ(contents(file).find("DeviceGetData"), std::string::npos);
}

}  // namespace
