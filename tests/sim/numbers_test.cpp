#include <gtest/gtest.h>

#include "sim/base/decimal.h"
#include "sim/base/kinds.h"

namespace sim {
namespace {

TEST(Decimal, ReadsPlainNumbersOnly) {
  EXPECT_EQ(parseDecimal("0")->value, 0);
  EXPECT_EQ(parseDecimal("-1.25")->value, -1'250'000);
  EXPECT_EQ(parseDecimal("12.345")->precision, 3);
  EXPECT_EQ(parseDecimal("9000000000000")->value, kMaxWhole * kOne);
  for (const char* text : {"", "-", ".5", "5.", "1e3", "+1", " 1", "1 ", "0x10", "1.1234567",
                           "9000000000001", "99999999999999"}) {
    EXPECT_FALSE(parseDecimal(text)) << text;
  }
}

TEST(Decimal, RoundsHalfAwayFromZero) {
  EXPECT_EQ(formatDecimal(1'500'000, 0), "2");
  EXPECT_EQ(formatDecimal(-1'500'000, 0), "-2");
  EXPECT_EQ(formatDecimal(1'499'999, 0), "1");
  EXPECT_EQ(formatDecimal(-400'000, 0), "0");
  EXPECT_EQ(formatDecimal(45'000'000, 3), "45.000");
  EXPECT_EQ(formatDecimal(-50'000, 2), "-0.05");
  EXPECT_EQ(roundToWhole(-2'500'000), -3);
}

TEST(Decimal, ArithmeticStopsAtTheLimits) {
  const Fixed most = std::numeric_limits<Fixed>::max();
  EXPECT_EQ(addClamped(most, 1), most);
  EXPECT_EQ(addClamped(-most, -2), std::numeric_limits<Fixed>::min());
  EXPECT_EQ(multiplyClamped(most, 2 * kOne), most);
  EXPECT_EQ(multiplyClamped(most, -2 * kOne), std::numeric_limits<Fixed>::min());
  EXPECT_EQ(multiplyClamped(2'500'000, 4'000'000), 10'000'000);
  EXPECT_EQ(multiplyClamped(-2'500'000, 1'500'000), -3'750'000);
}

TEST(Kinds, CodesAreFixedAndTwentyTwoIsNobodys) {
  EXPECT_EQ(kindOfCode(22), std::nullopt);
  EXPECT_EQ(kindOfCode(-1), std::nullopt);
  EXPECT_EQ(wordOf(*kindOfCode(23)), "moduleTemp");
  EXPECT_EQ(wordOf(*kindOfCode(24)), "cpu");
  EXPECT_EQ(kindOfWord("GPU"), std::nullopt);
  for (KindIndex kind = 0; kind < 22; ++kind) EXPECT_EQ(kindOfCode(kind), kind) << kind;
}

TEST(Kinds, DeviceNamesReadBack) {
  for (std::size_t kind = 0; kind < kDeviceKinds.size(); ++kind) {
    const Device device{static_cast<KindIndex>(kind), 10};
    EXPECT_EQ(parseDevice(nameOf(device)), device) << nameOf(device);
  }
  for (const char* name : {"", "gpu", "gpu-1", "gpu01", "gpu255", "gpu3x", "GPU3", "gpu 3"}) {
    EXPECT_FALSE(parseDevice(name)) << name;
  }
}

}  // namespace
}  // namespace sim
