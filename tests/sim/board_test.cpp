#include "sim/board/board.h"

#include <gtest/gtest.h>

// Every user of updates defines these for itself.
void value_type::ValueType::onChange() {}
void data_info::DataInfo::onChange() {}

namespace sim {
namespace {

/// Keeps the time itself: a wait ends at once, and the clock has moved.
class TestWaiter : public Waiter {
 public:
  [[nodiscard]] Time now() const override { return time; }
  bool elapse(Time span) override {
    time += span;
    return !stopped;
  }
  void hang() override { hung = true; }

  Time time = kSecond;
  bool stopped = false;
  bool hung = false;
};

Property makeProperty(const std::string& name, Model model) {
  Property property;
  property.name = name;
  property.definition.model = std::move(model);
  property.writable = true;
  property.low = 0;
  property.high = 500 * kOne;
  return property;
}

/// A board of two GPUs, made of plain data.
class BoardTest : public testing::Test {
 protected:
  Result get(int id, const std::string& name, int accessMode = 1) {
    Call call = callOf(Operation::get, id, name);
    call.accessMode = accessMode;
    return board().execute(call, waiter);
  }
  Result set(int id, std::int32_t value) {
    Call call = callOf(Operation::set, id, "gpu.power");
    call.value = value;
    return board().execute(call, waiter);
  }
  static Call callOf(Operation operation, int id, const std::string& name) {
    Call call;
    call.operation = operation;
    call.deviceId = id;
    call.name = name;
    return call;
  }
  void addFault(const FaultEffect& effect) {
    FaultRule rule;
    rule.operation = Operation::get;
    rule.effect = effect;
    profile.faults.push_back(rule);
  }
  Board& board() {
    if (!board_) {
      Topology topology;
      topology.count[kGpu] = 2;
      topology.absent = {{kGpu, 1}};
      board_.emplace(topology,
                     PropertyDb({makeProperty("gpu.power", Constant{300 * kOne, ""}),
                                 makeProperty("gpu.errors", Counter{0, kOne})},
                                {}),
                     profile);
    }
    return *board_;
  }

  Profile profile;
  TestWaiter waiter;

 private:
  std::optional<Board> board_;
};

TEST_F(BoardTest, AnswersAndSaysWhyNot) {
  EXPECT_EQ(get(0, "gpu.power").text, "300");
  EXPECT_TRUE(get(0, "gpu.power").answered);
  EXPECT_EQ(get(1, "gpu.power").code, kDeviceAbsent);
  EXPECT_FALSE(get(1, "gpu.power").answered);
  EXPECT_EQ(get(2, "gpu.power").code, kNoSuchDevice);
  EXPECT_EQ(get(0, "gpu.nothing").code, kNoSuchProperty);
  EXPECT_EQ(set(0, 501).code, kOutOfRange);
  EXPECT_EQ(set(0, 500).code, kOk);
  EXPECT_EQ(get(0, "gpu.power").text, "500");
}

TEST_F(BoardTest, ListsWhatItHas) {
  Call call = callOf(Operation::list, 0, "");
  EXPECT_EQ(board().execute(call, waiter).names,
            (std::vector<std::string>{"gpu.power", "gpu.errors"}));
  call.kind = kFpga;
  EXPECT_TRUE(board().execute(call, waiter).names.empty());
}

TEST_F(BoardTest, ADelayAndTheLatencyPassBeforeTheAnswer) {
  FaultEffect effect;
  effect.delay = 3 * kSecond;
  addFault(effect);
  profile.latency[kGpu] = 2 * kSecond;
  const Result result = get(0, "gpu.errors");
  EXPECT_EQ(result.text, "6");
  EXPECT_EQ(result.firedRule, 0U);
  EXPECT_EQ(waiter.time, 6 * kSecond);
}

TEST_F(BoardTest, AWaitThatEndsWithTheBoardTouchesNothing) {
  profile.latency[kGpu] = kSecond;
  waiter.stopped = true;
  const Result result = set(0, 1);
  EXPECT_EQ(result.code, kStopped);
  EXPECT_FALSE(result.answered);
  waiter.stopped = false;
  EXPECT_EQ(get(0, "gpu.power").text, "300");
}

TEST_F(BoardTest, AHangWaitsWithTheWaiter) {
  FaultEffect effect;
  effect.hang = true;
  addFault(effect);
  EXPECT_EQ(get(0, "gpu.power").code, kStopped);
  EXPECT_TRUE(waiter.hung);
}

TEST_F(BoardTest, ATextFaultTravelsInTheResult) {
  FaultEffect effect;
  effect.text = TextFault::unterminated;
  addFault(effect);
  EXPECT_TRUE(get(0, "gpu.power").unterminated);
  EXPECT_EQ(get(0, "gpu.power").text, "300");
}

TEST_F(BoardTest, APostboxTimesOut) {
  profile.postbox.latency = 2 * kSecond;
  Call call;
  call.operation = Operation::rawSyncCmd;
  call.device = Device{kGpu, 0};
  call.postbox = {{kGpu, 0}, 1, 0, 0, 0, 0, {}};
  EXPECT_EQ(board().execute(call, waiter).code, kTimeout);
  EXPECT_EQ(waiter.time, 2 * kSecond) << "the caller gives up after a second";
}

TEST_F(BoardTest, SaysWhenSomethingIsDue) {
  EXPECT_EQ(board().nextDue(), std::nullopt);
  Event event;
  event.kind = EventKind::drop;
  event.device = {kGpu, 0};
  profile.timeline.add(5 * kSecond, event);
  Board eventful({}, {}, profile);
  EXPECT_EQ(eventful.nextDue(), 5 * kSecond);
  eventful.advance(5 * kSecond);
  EXPECT_EQ(eventful.nextDue(), std::nullopt);
}

TEST(Patterns, StarsStandForAnything) {
  EXPECT_TRUE(globMatches("*", ""));
  EXPECT_TRUE(globMatches("gpu.*.page0", "gpu.pcie.linkStatus.page0"));
  EXPECT_TRUE(globMatches("*a*b*", "xxaxxbxx"));
  EXPECT_TRUE(globMatches("gpu.x", "gpu.x"));
  EXPECT_FALSE(globMatches("gpu.*.page0", "gpu.pcie.linkStatus.page01"));
  EXPECT_FALSE(globMatches("", "x"));
  EXPECT_FALSE(globMatches("gpu.x", "gpu.xy"));
  EXPECT_TRUE(globMatches(std::string(200, '*') + "z", std::string(200, 'y') + "z"));
}

}  // namespace
}  // namespace sim
