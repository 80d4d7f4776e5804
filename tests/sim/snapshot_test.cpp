#include "tests/sim/board_fixture.h"

namespace {

class Snapshot : public BoardTest {};

constexpr const char* kSlow =
    R"("readyMs": 3000, "snapshot": {"periodMs": 10000, "refreshMs": 4000})";

TEST_F(Snapshot, NothingIsReadBeforeTheBoardIsReady) {
  start(kSlow);
  EXPECT_EQ(get(0, kName), "rc = 7");   // 1 s
  EXPECT_EQ(pass(0, kName), "rc = 7");  // 2 s
  EXPECT_EQ(pass(0, kName), "0");       // 3 s: ready, the first refresh begins
  EXPECT_EQ(get(0, kName), "rc = 7");   // 4 s
  EXPECT_TRUE(refreshing());            // 5 s
  EXPECT_TRUE(refreshing());            // 6 s
  EXPECT_FALSE(refreshing());           // 7 s: complete
  EXPECT_EQ(get(0, kName), "0");
}

TEST_F(Snapshot, AWriteReachesItWithTheNextRefresh) {
  start(kSlow);
  wait(7);
  EXPECT_EQ(set(0, kName, 1), 0);  // 8 s
  EXPECT_EQ(pass(0, kName), "1");  // 9 s
  EXPECT_EQ(get(0, kName), "0");   // 10 s
  wait(2);
  EXPECT_TRUE(refreshing());  // 13 s: the second refresh has begun
  wait(2);
  EXPECT_EQ(get(0, kName), "0");  // 16 s
  EXPECT_EQ(get(0, kName), "1");  // 17 s: complete
  EXPECT_EQ(get(1, kName), "0");
}

TEST_F(Snapshot, ItHoldsTheValuesOfTheBeginningOfTheRefresh) {
  start(kSlow);
  wait(7);
  EXPECT_EQ(get(0, "gpu.sram.ecc.correctable"), "3");  // taken at 3 s
  EXPECT_EQ(pass(0, "gpu.sram.ecc.correctable"), "9");
  wait(7);
  EXPECT_EQ(get(0, "gpu.sram.ecc.correctable"), "13");
}

TEST_F(Snapshot, ADeviceThatFallsOffStaysInItUntilTheNextRefresh) {
  start(std::string(kSlow) + R"(, "timeline": [{"atMs": 8000, "drop": "gpu2"}])");
  wait(8);
  EXPECT_EQ(get(2, kName), "0");
  EXPECT_EQ(pass(2, kName), "rc = 6");
  wait(7);
  EXPECT_EQ(get(2, kName), "rc = 6");
}

TEST_F(Snapshot, WithoutAPeriodItIsAlwaysFresh) {
  start();
  EXPECT_EQ(set(0, kName, 1), 0);
  EXPECT_EQ(get(0, kName), "1");
  EXPECT_FALSE(refreshing());
  EXPECT_EQ(DeviceClearData(0, kName, 0), 0);
  EXPECT_EQ(get(0, kName), "0");
}

TEST_F(Snapshot, ListsAreAnsweredAtOnce) {
  start(kSlow);
  std::vector<std::string> names;
  std::vector<std::string> details;
  EXPECT_EQ(DeviceGetSupportedProperties(2, names, details), 0);
  EXPECT_EQ(names, std::vector<std::string>{"fpga.firmware.version"});
}

}  // namespace
