#include <gtest/gtest.h>

#include "sim/base/decimal.h"
#include "sim/base/kinds.h"

namespace sim {
namespace {

TEST(Decimal, ANumberIsExactHoweverItIsSpelled) {
  struct Case {
    const char* json;
    std::optional<std::int64_t> millionths;
    int precision;
  };
  for (const auto& [json, millionths, precision] :
       std::initializer_list<Case>{{"0", 0, 0},
                                   {"-0.0", 0, 1},
                                   {"0e99", 0, 0},
                                   {"0.0E-99999999999999999999", 0, 0},
                                   {"-1.25", -1'250'000, 2},
                                   {"12.3450", 12'345'000, 4},
                                   {"1e3", 1'000'000'000, 0},
                                   {"1.50e1", 15'000'000, 0},
                                   {"1.50E+00", 1'500'000, 1},
                                   {"2.5E-3", 2'500, 4},
                                   {"2500e-6", 2'500, 4},
                                   {"9000000000000", kMaxWhole * kOne, 0},
                                   {"9223372036854.775807", std::numeric_limits<Fixed>::max(), 6},
                                   {"-9223372036854.775808", std::numeric_limits<Fixed>::min(), 6},
                                   {"9223372036854.775808", std::nullopt, 6},
                                   {"1e13", std::nullopt, 0},
                                   {"1e99999999999999999999", std::nullopt, 0}}) {
    const Spelled number = parseNumber(json);
    EXPECT_TRUE(number.isMultipleOf(-6)) << json;
    EXPECT_EQ(number.inUnitsOf(-6), millionths) << json;
    EXPECT_EQ(number.precision, precision) << json;
  }
}

TEST(Decimal, ANumberMayBeTooPreciseForAUnit) {
  for (const char* json : {"1.0", "10.00e-1", "1e0", "0.01E2", "1e300"}) {
    EXPECT_TRUE(parseNumber(json).isMultipleOf(0)) << json;
  }
  for (const char* json : {"1.5", "15e-1", "1e-1", "0.001E2", "1e-99999999999999999999"}) {
    EXPECT_FALSE(parseNumber(json).isMultipleOf(0)) << json;
  }
  EXPECT_EQ(parseNumber("9223372036854775807.0").inUnitsOf(0), INT64_MAX);
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
    for (const int id : {0, 10, 254}) {
      const Device device{static_cast<KindIndex>(kind), id};
      EXPECT_EQ(parseDevice(nameOf(device)), device) << nameOf(device);
    }
  }
  for (const char* name : {"", "gpu", "gpu-1", "gpu01", "gpu255", "gpu3x", "GPU3", "gpu 3"}) {
    EXPECT_FALSE(parseDevice(name)) << name;
  }
}

}  // namespace
}  // namespace sim
