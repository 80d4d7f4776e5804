#include <gtest/gtest.h>

#include "sim/board/subscriptions.h"
#include "tests/sim/costs.h"

namespace sim {
namespace {

constexpr int kProperties = 200;

/// A board of 255 GPUs whose properties are texts of that size.
BoardState boardOf(std::size_t size) {
  Topology topology;
  topology.count[kGpu] = 255;
  std::vector<Property> properties;
  for (int i = 0; i < kProperties; ++i) {
    Property& property = properties.emplace_back();
    property.name = "gpu." + std::to_string(i);
    property.kind = kGpu;
    property.definition.format.kind = Format::Kind::text;
    property.definition.model = Constant{0, std::string(size, 'x')};
  }
  return {PropertyDb(std::move(properties), {}), topology, 1};
}

/// Registers for the `number`-th of all properties of all devices.
void add(Subscriptions& subscriptions, int number) {
  const int property = number % kProperties;
  const std::string apiName = "api" + std::to_string(property);
  subscriptions.add({kGpu, number / kProperties}, apiName, property, {}, std::nullopt);
}

std::pair<std::size_t, std::size_t> taken(Subscriptions& subscriptions) {
  std::size_t count = 0;
  std::size_t bytes = 0;
  for (; const auto update = subscriptions.take(); ++count) bytes += update->text.size();
  return {count, bytes};
}

TEST(Queue, HoldsManyUpdatesAndNoMore) {
  const BoardState state = boardOf(1);
  Subscriptions subscriptions;
  add(subscriptions, 0);
  subscriptions.burst(state, 0, {kGpu, 0}, 0, 100'001);
  EXPECT_EQ(subscriptions.takeOverflow(), 1);
  EXPECT_EQ(taken(subscriptions), (std::pair<std::size_t, std::size_t>(100'000, 100'000)));
}

TEST(Queue, HoldsSixtyFourMebibytesOfTextsAtMost) {
  constexpr std::size_t kText = 10'000;
  constexpr std::size_t kFitting = (64U << 20U) / kText;
  const BoardState state = boardOf(kText);
  Subscriptions subscriptions;
  add(subscriptions, 0);
  for (int round = 0; round < 2; ++round) {
    SCOPED_TRACE(round);
    subscriptions.burst(state, 0, {kGpu, 0}, 0, kFitting + 3);
    EXPECT_EQ(subscriptions.takeOverflow(), 3);
    EXPECT_EQ(taken(subscriptions), std::pair(kFitting, kFitting * kText));
  }
}

TEST(Queue, ManyRegistrationsTakeNoLongerEach) {
  EXPECT_LT(costs::growth(
                [](int n) {
                  Subscriptions subscriptions;
                  for (int i = 0; i < n; ++i) add(subscriptions, i);
                },
                2000),
            costs::kLinear);
}

TEST(Queue, AChangeConcernsOnlyItsOwnRegistrations) {
  const BoardState state = boardOf(1);
  EXPECT_LT(costs::growth(
                [&](int n) {
                  Subscriptions subscriptions;
                  for (int i = 0; i < n; ++i) add(subscriptions, i);
                  for (int i = 0; i < n; ++i) {
                    const Device device{kGpu, i / kProperties};
                    subscriptions.pollChanges(state, 0, i % kProperties, device.id);
                    subscriptions.lose(i % kProperties, device.id, 1);
                    subscriptions.burst(state, 0, device, i % kProperties, 1);
                  }
                },
                2000),
            costs::kLinear);
}

}  // namespace
}  // namespace sim
