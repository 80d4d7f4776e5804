#include <gtest/gtest.h>

#include "sim/board/state.h"
#include "sim/config/readers.h"
#include "sim/library/builtin.h"

namespace sim {
namespace {

/// A board of three GPUs and two hot-swap controllers with the given properties.
BoardState makeState(const std::string& properties, std::uint64_t seed = 7,
                     const std::string& overrides = "{}") {
  const Document manifest = parseJson(
      R"({"board": "b", "devices": {"gpu": 3, "hsc": 2}, "overrides": )" + overrides + "}", "m");
  const Topology topology = readTopology(manifest);
  const Document document = parseJson(properties, "p");
  return {readProperties(document, document, manifest, topology), topology, seed};
}

std::string read(const BoardState& state, std::string_view name, int device, Time time) {
  return state.textAt(*state.properties().find(name), device, time);
}

TEST(Values, ConstantsPrintAsTheyAreWritten) {
  const BoardState state = makeState(R"({"properties": {
    "gpu.text": "Valdor", "gpu.empty": "", "gpu.whole": 42, "gpu.real": -1.50,
    "gpu.exponents": {"page": 0, "of": "r"}, "gpu.hex": {"value": 4660, "hex": 6},
    "gpu.enum": {"value": 1, "names": ["off", "on"]},
    "gpu.serial": {"serial": "SN-####-A", "first": 99}, "gpu.slot": {"serial": "#"}},
    "records": {"r": {"entriesPerPage": 9, "entries": [1e3, 2.5E-3, -1.50e0, 1.0e1, 0e5]}}})");
  EXPECT_EQ(read(state, "gpu.text", 0, 0), "Valdor");
  EXPECT_EQ(read(state, "gpu.empty", 0, 0), "");
  EXPECT_EQ(read(state, "gpu.whole", 2, kSecond), "42");
  EXPECT_EQ(read(state, "gpu.real", 0, 0), "-1.50");
  EXPECT_EQ(read(state, "gpu.exponents", 0, 0), "1000 0.0025 -1.5 10 0");
  EXPECT_EQ(read(state, "gpu.hex", 0, 0), "0x001234");
  EXPECT_EQ(read(state, "gpu.enum", 0, 0), "on");
  EXPECT_EQ(read(state, "gpu.serial", 0, 0), "SN-0099-A");
  EXPECT_EQ(read(state, "gpu.serial", 2, 0), "SN-0101-A");
  EXPECT_EQ(read(state, "gpu.slot", 2, 0), "2");
}

TEST(Values, HexadecimalDigitsAreAsManyAsTheNumberNeeds) {
  BoardState state = makeState(R"({"properties": {"gpu.hex": {"counter": 0, "hex": 4}}})");
  const PropertyIndex hex = *state.properties().find("gpu.hex");
  const std::vector<std::pair<std::int64_t, const char*>> cases{
      {4'294'967'295, "0xffffffff"},        {4'294'967'296, "0x100000000"},
      {9'000'000'000'000, "0x82f79cd9000"}, {-1, "0xffffffff"},
      {-2'147'483'648, "0x80000000"},       {-2'147'483'649, "0xffffffff7fffffff"}};
  for (const auto& [number, text] : cases) {
    state.set(hex, 0, 0, number * kOne);
    EXPECT_EQ(read(state, "gpu.hex", 0, 0), text) << number;
  }
}

TEST(Values, AnEnumerationWithoutAWordPrintsTheNumber) {
  const BoardState state = makeState(R"({"properties": {
    "gpu.one": 1, "gpu.names": {"counter": 0, "perSecond": 1, "names": ["off", "on"]},
    "gpu.sum": {"sum": ["gpu.one", "gpu.one"], "names": ["off", "on"]}}})");
  EXPECT_EQ(read(state, "gpu.names", 0, kSecond), "on");
  EXPECT_EQ(read(state, "gpu.names", 0, 2 * kSecond), "2");
  EXPECT_EQ(read(state, "gpu.sum", 0, 0), "2");
}

TEST(Values, ACounterHasTheDigitsOfItsStart) {
  BoardState state = makeState(R"({"properties": {"gpu.c": {"counter": 1.50, "perSecond": 2}}})");
  EXPECT_EQ(read(state, "gpu.c", 0, 0), "1.50");
  EXPECT_EQ(read(state, "gpu.c", 0, kSecond), "3.50");
}

TEST(Values, CountersFollowTheClockAndSurviveAWrite) {
  BoardState state = makeState(R"({"properties": {"gpu.c": {"counter": 10, "perSecond": 2.5}}})");
  const PropertyIndex c = *state.properties().find("gpu.c");
  EXPECT_EQ(read(state, "gpu.c", 0, 0), "10");
  EXPECT_EQ(read(state, "gpu.c", 0, 4 * kSecond), "20");
  state.set(c, 0, 4 * kSecond, 100 * kOne);
  EXPECT_EQ(read(state, "gpu.c", 0, 8 * kSecond), "110");
  EXPECT_EQ(read(state, "gpu.c", 0, 2 * kSecond), "15") << "the past keeps its values";
  EXPECT_EQ(read(state, "gpu.c", 1, 8 * kSecond), "30") << "other devices are not touched";
  state.clear(c, 0, 10 * kSecond);
  EXPECT_EQ(read(state, "gpu.c", 0, 12 * kSecond), "5");
}

TEST(Values, WalksStayInBoundsMoveAndRepeatWithTheSeed) {
  const std::string file = R"({"properties": {"gpu.w": {"walk": [-20.000, 80.000]}}})";
  const BoardState state = makeState(file);
  const BoardState twin = makeState(file);
  const BoardState other = makeState(file, 8);
  const PropertyIndex w = *state.properties().find("gpu.w");
  int differences = 0;
  Fixed lowest = 80 * kOne;
  Fixed highest = -20 * kOne;
  for (Time time = 0; time < 2000 * kSecond; time += 1'700'000) {
    SCOPED_TRACE(time);
    const Fixed value = state.numberAt(w, 0, time);
    ASSERT_GE(value, -20 * kOne);
    ASSERT_LE(value, 80 * kOne);
    ASSERT_EQ(value, twin.numberAt(w, 0, time));
    differences += value != other.numberAt(w, 0, time) && value != state.numberAt(w, 1, time);
    lowest = std::min(lowest, value);
    highest = std::max(highest, value);
  }
  EXPECT_GT(differences, 1000);
  EXPECT_LT(lowest, -10 * kOne);
  EXPECT_GT(highest, 70 * kOne);
}

TEST(Values, AWalkTurnsOncePerPeriodAndGoesStraightOn) {
  const BoardState state = makeState(R"({"properties": {
    "gpu.w": {"walk": [0, 1000], "periodMs": 4000}, "gpu.slow": {"walk": [0, 1000]}}})");
  for (const auto& [name, period] : {std::pair("gpu.w", 4), std::pair("gpu.slow", 10)}) {
    SCOPED_TRACE(name);
    const PropertyIndex walk = *state.properties().find(name);
    const auto at = [&, period = period](Time halfPeriods) {
      return state.numberAt(walk, 1, halfPeriods * period * kSecond / 2);
    };
    for (Time turn = 0; turn < 20; turn += 2) {
      SCOPED_TRACE(turn);
      EXPECT_EQ(at(turn + 1), at(turn) + (at(turn + 2) - at(turn)) / 2);
      EXPECT_GT(std::abs(at(turn + 1) + at(turn + 3) - 2 * at(turn + 2)), 1) << "it turns";
    }
  }
}

TEST(Values, ARandomValueDependsOnNoOtherProperty) {
  const BoardState alone = makeState(R"({"properties": {"gpu.w": {"walk": [0, 1000.000]}}})");
  const BoardState among = makeState(R"({"properties": {
    "hsc.w": {"walk": [0, 1000.000]}, "gpu.v": {"walk": [0, 1000.000]},
    "gpu.w": {"walk": [0, 1000.000]}}})");
  for (const int device : {0, 2}) {
    SCOPED_TRACE(device);
    EXPECT_EQ(read(alone, "gpu.w", device, 3 * kSecond), read(among, "gpu.w", device, 3 * kSecond));
  }
  EXPECT_NE(read(among, "gpu.v", 0, 3 * kSecond), read(among, "gpu.w", 0, 3 * kSecond));
}

TEST(Values, AFileMayExtendTheBuiltInDatabase) {
  const Document builtin = parseJson(kBuiltinProperties, "b");
  const Document manifest = parseJson(kBuiltinManifest, "m");
  const Document document = parseJson(R"({"extends": "builtin", "properties": {
    "gpu.pcie.maxWidth": 3, "gpu.own": 4}})",
                                      "p");
  const Topology topology = readTopology(manifest);
  const BoardState state(readProperties(document, builtin, manifest, topology), topology, 1);
  EXPECT_EQ(read(state, "gpu.pcie.maxWidth", 7, 0), "3");
  EXPECT_EQ(read(state, "gpu.own", 7, 0), "4");
  EXPECT_EQ(read(state, "gpu.inventory.gpuPartNumber", 7, 0), "VA-8041-B2");
}

TEST(Values, AWriteHoldsAWalkUntilItIsCleared) {
  BoardState state = makeState(R"({"properties": {"gpu.w": {"walk": [10, 90]}}})");
  const PropertyIndex w = *state.properties().find("gpu.w");
  const std::string before = read(state, "gpu.w", 0, 50 * kSecond);
  state.set(w, 0, 1 * kSecond, 5 * kOne);
  EXPECT_EQ(read(state, "gpu.w", 0, 50 * kSecond), "5");
  state.clear(w, 0, 50 * kSecond);
  EXPECT_EQ(read(state, "gpu.w", 0, 50 * kSecond), before);
}

TEST(Values, SumsTakeEveryPresentDeviceOfAnotherKind) {
  BoardState state = makeState(R"({"properties": {
    "hsc.p": 100, "gpu.p": {"value": 7}, "gpu.own": {"sum": ["gpu.p"], "scale": 2, "offset": 1},
    "gpu.total": {"sum": "hsc.p"}, "gpu.mean": {"average": ["hsc.p", "gpu.p"]},
    "gpu.top": {"highest": ["hsc.p", "gpu.p"]}}})");
  EXPECT_EQ(read(state, "gpu.own", 0, 0), "15");
  EXPECT_EQ(read(state, "gpu.total", 0, 0), "200");
  EXPECT_EQ(read(state, "gpu.mean", 0, 0), "69");
  EXPECT_EQ(read(state, "gpu.top", 0, 0), "100");
  state.setPresent({*kindOfWord("hsc"), 1}, 5 * kSecond, false);
  EXPECT_EQ(read(state, "gpu.total", 0, 4 * kSecond), "200");
  EXPECT_EQ(read(state, "gpu.total", 0, 5 * kSecond), "100");
}

TEST(Values, EnergyIntegratesPowerHoweverOftenItIsRead) {
  const std::string file = R"({"properties": {"gpu.p": {"value": 300},
    "gpu.w": {"walk": [100, 500]}, "gpu.sampled": {"integral": "gpu.w"},
    "gpu.e": {"integral": "gpu.p", "precision": 1}, "gpu.scaled": {"integral": "gpu.p", "scale": 2},
    "gpu.f": {"integral": "gpu.w", "scale": 0.001, "precision": 6}}})";
  BoardState often = makeState(file);
  BoardState once = makeState(file);
  EXPECT_EQ(read(often, "gpu.e", 0, 2 * kSecond + kSecond / 2), "750.0");
  EXPECT_EQ(read(often, "gpu.scaled", 0, 2 * kSecond + kSecond / 2), "1500");
  const PropertyIndex power = *once.properties().find("gpu.p");
  const PropertyIndex walk = *once.properties().find("gpu.w");
  const auto sample = [&](Time second) { return once.numberAt(walk, 0, second * kSecond); };
  EXPECT_EQ(once.numberAt(*once.properties().find("gpu.sampled"), 0, 2 * kSecond + kSecond / 2),
            sample(0) + sample(1) + sample(2) / 2)
      << "samples lie at the beginnings of the seconds";
  for (Time time = 0; time < 100 * kSecond; time += 333'333) {
    read(often, "gpu.f", 1, time);
    often.compactHistory(time);
  }
  EXPECT_EQ(read(often, "gpu.f", 1, 100 * kSecond), read(once, "gpu.f", 1, 100 * kSecond));
  once.set(power, 0, 10 * kSecond, 0);
  EXPECT_EQ(read(once, "gpu.e", 0, 100 * kSecond), "3000.0");
}

TEST(Values, PagesCutARecord) {
  const BoardState state = makeState(R"({
    "records": {"r": {"entriesPerPage": 2, "entries": [16, "L0", {"counter": 0, "perSecond": 1}]}},
    "properties": {"gpu.a": {"page": 0, "of": "r"}, "gpu.b": {"page": 1, "of": "r"}}})");
  EXPECT_EQ(read(state, "gpu.a", 0, 3 * kSecond), "16 L0");
  EXPECT_EQ(read(state, "gpu.b", 0, 3 * kSecond), "3");
}

TEST(Values, TheManifestChangesOneDevice) {
  const BoardState state =
      makeState(R"({"properties": {"gpu.n": "A", "gpu.m": 1}})", 1,
                R"({"gpu1": {"properties": {"gpu.n": "B"}}, "gpu2": {"absent": true}})");
  EXPECT_EQ(read(state, "gpu.n", 0, 0), "A");
  EXPECT_EQ(read(state, "gpu.n", 1, 0), "B");
  EXPECT_TRUE(state.presentAt({kGpu, 1}, 0));
  EXPECT_FALSE(state.presentAt({kGpu, 2}, 0));
}

}  // namespace
}  // namespace sim
