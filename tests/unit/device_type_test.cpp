#include "tools/boardctl/device_type.h"

#include <gtest/gtest.h>

#include <string_view>

#include "devmgr/device_type.h"

namespace boardctl {
namespace {

const char* const kWords[] = {"gpu",
                              "korswitch",
                              "fpga",
                              "hsc",
                              "pcieretimer",
                              "pcieswitch",
                              "pciegen4sw",
                              "pcbTemp",
                              "inletTemp",
                              "outputhsc",
                              "standbyhsc",
                              "baseboard",
                              "altPressureSensor",
                              "korlinkBridgeConn",
                              "sysvr5v",
                              "sysvr3v3",
                              "sysvr1v8",
                              "sysvr0v9",
                              "llc_ab_mps",
                              "llc_cd_mps",
                              "hmc",
                              "hostBmc",
                              nullptr,
                              "moduleTemp",
                              "cpu"};

TEST(DeviceType, GivesEachWordItsCode) {
  int code = 0;
  for (const char* word : kWords) {
    if (word != nullptr) {
      EXPECT_EQ(getDeviceType(word), code) << word;
    }
    ++code;
  }
  EXPECT_EQ(code, 25);
  EXPECT_EQ(kDeviceKinds.size(), 24U);
}

TEST(DeviceType, GivesMinusOneForAnythingElse) {
  for (const char* word : {"", "all", "GPU", "Gpu", "gpu ", " gpu", "hsc ", "gp", "gpus", "22", "0",
                           "moduletemp", "pcbtemp"}) {
    EXPECT_EQ(getDeviceType(word), -1) << word;
  }
  EXPECT_EQ(getDeviceType(std::string_view("gpu\0", 4)), -1);
}

}  // namespace
}  // namespace boardctl
