#include "tests/sim/board_fixture.h"

namespace {

using Words = std::vector<unsigned int>;

class Postbox : public BoardTest {
 protected:
  struct Reply {
    int code = 0;
    unsigned int status = 0;
    unsigned int data = 0;
    unsigned int extended = 0;
  };
  static Reply gpu(int id, unsigned char opcode, unsigned char arg1 = 0, unsigned char arg2 = 0,
                   unsigned int data = 0, unsigned int extended = 0) {
    Reply reply;
    reply.code = TesselSyncCmdGpu(id, opcode, arg1, arg2, data, extended, &reply.status,
                                  &reply.data, &reply.extended, false);
    return reply;
  }
  static Reply fpga(unsigned char opcode, unsigned char arg1 = 0) {
    Reply reply;
    reply.code = TesselSyncCmdFpga(0, opcode, arg1, 0, 0, 0, &reply.status, &reply.data,
                                   &reply.extended, false);
    return reply;
  }
  static Reply korswitch(unsigned char opcode) {
    Reply reply;
    reply.code = TesselSyncCmdKorswitch(0, opcode, 0, 0, 0, 0, &reply.status, &reply.data,
                                        &reply.extended, false);
    return reply;
  }
  static Reply async(unsigned char opcode, const Words& input, Words& output,
                     unsigned int size = 64) {
    Reply reply;
    reply.code =
        TesselAsyncCmdGpu(0, opcode, input, &reply.status, &reply.data, output, size, false);
    return reply;
  }
};

TEST_F(Postbox, CapabilitiesDifferByKind) {
  start();
  EXPECT_EQ(gpu(0, 1).data, 0x0007007eU);
  EXPECT_EQ(gpu(0, 1).extended, 0x00010000U);
  EXPECT_EQ(fpga(1).data, 0x7eU);
  Words output;
  EXPECT_EQ(TesselCmdKorswitch(1, 1, 0, 0, {0, 0}, output, false), 0);
  EXPECT_EQ(output, (Words{2, 0x00070076, 0x00010000}));
}

TEST_F(Postbox, SensorsAreThoseOfTheProperties) {
  start("", R"({"properties": {
    "gpu.thermal.temperature.primaryGPU.extendedPrecision": -45.5000,
    "gpu.power.consumption": {"value": 300.250},
    "fpga.totalhsc.power.consumption": {"sum": "hsc.power.consumption"},
    "hsc.power.consumption": 500.125}})");
  EXPECT_EQ(gpu(0, 2).data, static_cast<unsigned int>(-45 * 256 - 128));
  EXPECT_EQ(gpu(0, 3).data, 300'250U);
  EXPECT_EQ(fpga(3).data, 1'000'250U);
  EXPECT_EQ(gpu(0, 2, 1).code, sim::kNotSupported) << "this board has no second sensor";
  EXPECT_EQ(gpu(0, 2, 9).code, sim::kBadRequest);
}

TEST_F(Postbox, EachSensorHasAPropertyOfItsOwn) {
  start("", R"({"properties": {
    "gpu.thermal.temperature.primaryGPU.extendedPrecision": 1,
    "gpu.thermal.temperature.secondaryGPU.extendedPrecision": 2,
    "gpu.thermal.temperature.sensorMonitorBoard.extendedPrecision": 3,
    "gpu.thermal.temperature.sensorMonitorMemory.extendedPrecision": 4,
    "korswitch.thermal.temperature.extendedPrecision": 5,
    "fpga.thermal.temperature.extendedPrecision": 6,
    "gpu.power.consumption": 7,
    "gpu.hbm.power.consumption": 8,
    "fpga.totalhsc.power.consumption": 9}})");
  for (unsigned char sensor = 0; sensor < 4; ++sensor) {
    EXPECT_EQ(gpu(0, 2, sensor).data, (sensor + 1U) * 256) << int{sensor};
  }
  EXPECT_EQ(korswitch(2).data, 5U * 256);
  EXPECT_EQ(fpga(2).data, 6U * 256);
  EXPECT_EQ(gpu(0, 3, 0).data, 7'000U);
  EXPECT_EQ(gpu(0, 3, 1).data, 8'000U);
  EXPECT_EQ(fpga(3).data, 9'000U);
}

TEST_F(Postbox, ASensorStaysAtTheLimitsOfItsRegister) {
  start("", R"({"properties": {"gpu.power.consumption": 4294968,
    "gpu.thermal.temperature.primaryGPU.extendedPrecision": 8388608,
    "gpu.thermal.temperature.secondaryGPU.extendedPrecision": -8388609,
    "gpu.thermal.temperature.sensorMonitorBoard.extendedPrecision": "n/a"}})");
  EXPECT_EQ(gpu(0, 3).data, 0xffffffffU);
  EXPECT_EQ(gpu(0, 2, 0).data, 0x7fffffffU);
  EXPECT_EQ(gpu(0, 2, 1).data, 0x80000000U);
  EXPECT_EQ(gpu(0, 2, 2).code, sim::kNotSupported) << "a text is no temperature";
}

TEST_F(Postbox, PadsKeepWhatIsWritten) {
  start();
  EXPECT_EQ(gpu(1, 5, 7, 0, 0x01020304, 0xdeadbeef).code, 0);
  EXPECT_EQ(gpu(1, 4, 7).data, 0x01020304U);
  EXPECT_EQ(gpu(1, 4, 7).extended, 0xdeadbeefU);
  EXPECT_EQ(gpu(2, 4, 7).data, 0U) << "each device has pads of its own";
  EXPECT_EQ(gpu(1, 4, 8).code, sim::kBadRequest);
  EXPECT_EQ(gpu(1, 4, 7, 1).code, sim::kBadRequest);
}

TEST_F(Postbox, RejectionsShowInTheRegisters) {
  start();
  const Reply rejected = gpu(0, 0x7f, 1, 2);
  EXPECT_EQ(rejected.code, sim::kBadOpcode);
  EXPECT_EQ(rejected.status, 3U);
  const Reply registers = gpu(0, 6);
  EXPECT_EQ(registers.data, 0x0002017fU);
  EXPECT_EQ(registers.extended, static_cast<unsigned int>(sim::kBadOpcode));
  Words output;
  EXPECT_EQ(TesselCmd(0, 0x7f, 0, 0, {0, 0}, output, false), sim::kBadOpcode);
  EXPECT_EQ(output, (Words{3, 0, 0}));
  EXPECT_EQ(TesselCmdKorswitch(0, 3, 0, 0, {0, 0}, output, false), sim::kBadOpcode)
      << "link switches measure no power";
}

TEST_F(Postbox, TheRegistersAreThoseOfTheLastRequestOfAnyKind) {
  start(R"("mailbox": {"timeoutMs": 500}, "faults": [
    {"operation": "rawSyncCmd", "property": "*", "device": "gpu0", "fromMs": 18000, "untilMs": 19000,
     "code": "ioError"},
    {"operation": "rawSyncCmd", "device": "gpu0", "fromMs": 20000, "untilMs": 21000,
     "delayMs": 501}],
    "timeline": [{"atMs": 23000, "drop": "gpu0"}, {"atMs": 23000, "restore": "gpu0"}])");
  const auto expect = [](unsigned int request, int code) {
    const Reply registers = gpu(0, 6);
    EXPECT_EQ(registers.code, 0);
    EXPECT_EQ(registers.data, request);
    EXPECT_EQ(registers.extended, static_cast<unsigned int>(code));
  };
  Words output;
  expect(0, 0);  // 1 s
  EXPECT_EQ(TesselCmd(0, 5, 7, 0, {1, 2}, output, false), 0);
  expect(0x705, 0);
  EXPECT_EQ(async(0x10, {4}, output).status, 3U);
  expect(0x10, sim::kBadRequest);
  EXPECT_EQ(async(0x02, {}, output).status, 3U);
  expect(0x02, sim::kBadOpcode);
  EXPECT_EQ(async(0x10, {0}, output).code, 0);  // 8 s
  expect(0x10, 0);
  EXPECT_EQ(gpu(0, 2).status, 1U);
  expect(0x02, sim::kBusy);
  EXPECT_EQ(async(0x12, {}, output).code, 0);
  expect(0x12, 0);  // 13 s
  EXPECT_EQ(gpu(0, 6, 1).code, sim::kBadRequest);
  EXPECT_EQ(async(6, {}, output).code, sim::kBadOpcode);
  expect(0x12, 0);
  EXPECT_EQ(gpu(0, 2, 9).code, sim::kBadRequest);
  EXPECT_EQ(gpu(0, 1).code, sim::kIoError);  // 18 s
  expect(0x902, sim::kBadRequest);
  EXPECT_EQ(gpu(0, 1).code, sim::kTimeout);  // 20 s
  expect(0x902, sim::kBadRequest);
  wait(1);
  expect(0, 0);  // the device has forgotten
}

TEST_F(Postbox, AnOpcodeBelongsToOneKindOfRequest) {
  start();
  Words output;
  for (unsigned char opcode = 0x10; opcode <= 0x12; ++opcode) {
    SCOPED_TRACE(static_cast<int>(opcode));
    EXPECT_EQ(gpu(0, opcode).code, sim::kBadOpcode);
    EXPECT_EQ(TesselCmd(0, opcode, 0, 0, {0, 0}, output, false), sim::kBadOpcode);
    EXPECT_EQ(output, (Words{3, 0, 0}));
  }
  for (unsigned char opcode = 1; opcode <= 6; ++opcode) {
    SCOPED_TRACE(static_cast<int>(opcode));
    EXPECT_EQ(async(opcode, {}, output).code, sim::kBadOpcode);
  }
  unsigned int word = 0;
  EXPECT_EQ(TesselAsyncCmdKorswitch(0, 0x13, {}, &word, &word, output, 0, false), sim::kBadOpcode);
}

TEST_F(Postbox, AResultComesInWholeWords) {
  start(R"("mailbox": {"selfTestMs": 1})");
  Words output;
  ASSERT_EQ(async(0x10, {2}, output).code, 0);
  for (const auto& [bytes, words] : std::initializer_list<std::pair<unsigned int, std::size_t>>{
           {0, 0}, {1, 1}, {4, 1}, {5, 2}, {8, 2}, {15, 4}, {16, 4}, {17, 4}, {0xffffffff, 4}}) {
    SCOPED_TRACE(bytes);
    EXPECT_EQ(async(0x11, {}, output, bytes).code, 0);
    EXPECT_EQ(output.size(), words);
  }
}

TEST_F(Postbox, ALongRequestReportsProgressAndResult) {
  start(R"("mailbox": {"selfTestMs": 10000})");
  Words output;
  EXPECT_EQ(async(0x11, {}, output).status, 0U);
  const Reply started = async(0x10, {2}, output);  // 2 s
  EXPECT_EQ(started.code, 0);
  EXPECT_EQ(started.status, 1U);
  EXPECT_EQ(started.data, 1U);
  const Reply busy = async(0x10, {2}, output);
  EXPECT_EQ(busy.code, sim::kBusy);
  EXPECT_EQ(busy.status, 1U);
  EXPECT_EQ(gpu(0, 2).code, sim::kBusy);
  EXPECT_EQ(gpu(0, 1).code, 0) << "capabilities are told at any time";
  EXPECT_EQ(gpu(1, 2).code, 0) << "the other devices are free";
  EXPECT_EQ(async(0x11, {}, output).data, 50U);  // 7 s
  EXPECT_TRUE(output.empty());
  wait(4);
  const Reply done = async(0x11, {}, output);  // 12 s
  EXPECT_EQ(done.status, 2U);
  EXPECT_EQ(done.data, 100U);
  ASSERT_EQ(output.size(), 4U);
  EXPECT_EQ(output[0], 1U);
  EXPECT_EQ(output[1], 2U);
  EXPECT_EQ(output[2], 10'000U);
  EXPECT_EQ(async(0x11, {}, output, 5).code, 0);
  EXPECT_EQ(output.size(), 2U) << "no more than was asked for";
  EXPECT_EQ(async(0x12, {}, output).status, 0U);
  EXPECT_EQ(async(0x11, {}, output).status, 0U);
  EXPECT_EQ(async(0x10, {4}, output).code, sim::kBadRequest);
  EXPECT_EQ(async(0x02, {}, output).code, sim::kBadOpcode);
}

TEST_F(Postbox, WhatIsAnsweredDuringALongRequest) {
  start(R"("mailbox": {"selfTestMs": 100000})");
  Words output;
  ASSERT_EQ(async(0x10, {0}, output).code, 0);
  for (const auto& [opcode, code] :
       std::initializer_list<std::pair<unsigned char, int>>{{1, 0},
                                                            {2, sim::kBusy},
                                                            {3, sim::kBusy},
                                                            {4, sim::kBusy},
                                                            {5, sim::kBusy},
                                                            {6, 0},
                                                            {7, sim::kBadOpcode},
                                                            {0x10, sim::kBadOpcode}}) {
    EXPECT_EQ(gpu(0, opcode).code, code) << static_cast<int>(opcode);
  }
  EXPECT_EQ(async(0x10, {0}, output).code, sim::kBusy);
  EXPECT_EQ(async(0x13, {}, output).code, sim::kBadOpcode);
  EXPECT_EQ(async(0x11, {}, output).code, 0);
  EXPECT_EQ(async(0x12, {}, output).code, 0);
}

TEST_F(Postbox, ADeviceThatFallsOffForgets) {
  start(R"("timeline": [{"atMs": 3000, "drop": "gpu0"}, {"atMs": 5000, "restore": "gpu0"}])");
  Words output;
  EXPECT_EQ(gpu(0, 5, 0, 0, 9, 9).code, 0);
  EXPECT_EQ(async(0x10, {0}, output).code, 0);
  EXPECT_EQ(async(0x11, {}, output).code, sim::kDeviceAbsent);
  EXPECT_EQ(gpu(0, 4).code, sim::kDeviceAbsent);
  EXPECT_EQ(gpu(0, 4).data, 0U);
  EXPECT_EQ(async(0x11, {}, output).status, 0U);
}

TEST_F(Postbox, ASlowDeviceTimesOut) {
  start(R"("mailbox": {"latencyMs": 400, "timeoutMs": 500},
           "faults": [{"operation": "rawSyncCmd", "device": "gpu1", "delayMs": 101},
             {"operation": "rawSyncCmd", "device": "gpu2", "delayMs": 100}])");
  EXPECT_EQ(gpu(0, 1).code, 0);
  EXPECT_EQ(gpu(1, 1).code, sim::kTimeout);
  EXPECT_EQ(get(0, "gpu.sram.ecc.correctable"), "4") << "400 ms and 500 ms have passed";
  EXPECT_EQ(gpu(2, 1).code, 0) << "just in time";
}

TEST_F(Postbox, BadArgumentsOfTheCall) {
  start();
  Words output;
  unsigned int word = 0;
  EXPECT_EQ(TesselCmd(4, 1, 0, 0, {0, 0}, output, false), sim::kNoSuchDevice);
  EXPECT_EQ(TesselCmd(-1, 1, 0, 0, {0, 0}, output, false), sim::kNoSuchDevice);
  EXPECT_EQ(TesselCmd(0, 1, 0, 0, {0}, output, false), sim::kBadArgument);
  EXPECT_EQ(TesselSyncCmdGpu(0, 1, 0, 0, 0, 0, nullptr, &word, &word, false), sim::kBadArgument);
  EXPECT_EQ(TesselAsyncCmdGpu(0, 1, {}, nullptr, &word, output, 0, false), sim::kBadArgument);
}

}  // namespace
