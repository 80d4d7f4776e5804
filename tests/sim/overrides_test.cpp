#include "tests/sim/board_fixture.h"

namespace {

class Overrides : public BoardTest {};

TEST_F(Overrides, ATextCannotBeWritten) {
  startWithOverrides(R"({"gpu1": {"properties": {"gpu.firmware.writeProtectMode": "locked"}}})");
  EXPECT_EQ(set(1, kName, 1), sim::kNotWritable);
  EXPECT_EQ(get(1, kName), "locked");
  EXPECT_EQ(DeviceClearData(1, kName, 0), 0);
  EXPECT_EQ(get(1, kName), "locked");
  EXPECT_EQ(set(0, kName, 1), 0);
  EXPECT_EQ(get(0, kName), "1");
}

TEST_F(Overrides, AWriteHasAWord) {
  startWithOverrides(R"({"gpu1": {"properties": {
    "gpu.power.consumption": {"value": 0, "names": ["off", "low", "high"]}}}})");
  EXPECT_EQ(set(1, kPower, 3), sim::kOutOfRange);
  EXPECT_EQ(get(1, kPower), "off");
  EXPECT_EQ(set(1, kPower, 2), 0);
  EXPECT_EQ(get(1, kPower), "high");
  EXPECT_EQ(set(0, kPower, 3), 0);
}

TEST_F(Overrides, AnEventSetsATextOnTheDeviceThatHasOne) {
  startWithOverrides(R"({"gpu1": {"properties": {"gpu.power.consumption": "n/a"}}})",
                     R"("timeline": [
    {"atMs": 1000, "set": "gpu.power.consumption", "device": "gpu0", "value": 5},
    {"atMs": 1000, "set": "gpu.power.consumption", "device": "gpu1", "value": "off"}])");
  EXPECT_EQ(get(0, kPower), "5");
  EXPECT_EQ(get(1, kPower), "off");
  EXPECT_EQ(DeviceClearData(1, kPower, 0), 0);
  EXPECT_EQ(get(1, kPower), "n/a");
}

}  // namespace
