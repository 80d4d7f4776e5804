#include <gtest/gtest.h>

#include <string>

#include "sim/board/board.h"
#include "sim/config/readers.h"
#include "tests/sim/costs.h"

namespace sim {
namespace {

constexpr int kDevices = 6;
constexpr int kIntegrals = 20;
constexpr int kTerms = 1000;
constexpr std::int64_t kSumSteps = kTerms + 1;
constexpr std::int64_t kShare = 100'000;

PropertyDb readDb(const std::string& text, const Node& manifest) {
  const Document document = parseJson(text, "p");
  return readProperties(document, document, manifest, readTopology(manifest));
}

/// Integrals of one sum of many terms, on many devices.
std::string costlyFile() {
  std::string text = R"({"properties": {"gpu.x": {"walk": [0, 1000.000]}, "gpu.sum": {"sum": [)";
  for (int i = 0; i < kTerms; ++i) text += i != 0 ? ",\"gpu.x\"" : "\"gpu.x\"";
  text += "]}";
  for (int i = 0; i < kIntegrals; ++i) {
    text += ", \"gpu." + std::to_string(i) + R"(": {"integral": "gpu.sum"})";
  }
  return text + "}}";
}

class CostlyIntegrals : public testing::Test, public Waiter {
 protected:
  [[nodiscard]] Time now() const override { return time_; }
  bool elapse(Time /*span*/) override { return true; }
  void hang() override {}

  std::int64_t evaluations() { return static_cast<std::int64_t>(board_.state().evaluations()); }
  std::string get(int id, const std::string& name) {
    Call call;
    call.operation = Operation::get;
    call.deviceId = id;
    call.name = name;
    call.accessMode = 1;
    return board_.execute(call, *this).text;
  }
  /// How many values a read computes at that time.
  std::int64_t costOf(Time time, const std::string& name) {
    time_ = time;
    const std::int64_t before = evaluations();
    get(kDevices - 1, name);
    return evaluations() - before;
  }

  const Document manifest_ = parseJson(R"({"board": "b", "devices": {"gpu": 6}})", "m");
  Board board_{readTopology(manifest_), readDb(costlyFile(), manifest_), Profile{}};

 private:
  Time time_ = 0;
};

TEST_F(CostlyIntegrals, CarryingThemOnIsSharedAmongManyCalls) {
  constexpr std::int64_t kAll = 60 * kSumSteps * kDevices * kIntegrals;
  std::int64_t all = 0;
  for (Time time = 60 * kSecond; all < kAll; time += kMillisecond) {
    const std::int64_t cost = costOf(time, "gpu.x");
    ASSERT_LE(cost, 1 + kShare + kSumSteps) << time;
    ASSERT_GT(cost, 1) << "something is left to be done";
    all += cost - 1;
  }
  EXPECT_EQ(all, kAll);
  EXPECT_EQ(costOf(119 * kSecond, "gpu.x"), 1) << "until the next minute is over";
}

TEST_F(CostlyIntegrals, AReadComputesNoSampleTwice) {
  EXPECT_LE(costOf(50 * kSecond, "gpu.0"), 1 + 51 * kSumSteps);
  EXPECT_EQ(costOf(50 * kSecond, "gpu.0"), 1 + kSumSteps) << "only the running second";
  EXPECT_EQ(costOf(51 * kSecond, "gpu.0"), 1 + 2 * kSumSteps);
}

TEST_F(CostlyIntegrals, TheSumDoesNotDependOnWhatIsLeftToCarryOn) {
  Board other(readTopology(manifest_), readDb(costlyFile(), manifest_), Profile{});
  for (const Time time : {70, 71, 135, 200}) costOf(time * kSecond, "gpu.x");
  costOf(201 * kSecond, "gpu.19");
  EXPECT_EQ(get(5, "gpu.3"),
            other.state().textAt(*other.state().properties().find("gpu.3"), 5, 201 * kSecond));
}

}  // namespace
}  // namespace sim
