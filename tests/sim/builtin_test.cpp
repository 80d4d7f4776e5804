#include "sim/library/builtin.h"

#include <gtest/gtest.h>

#include "catalogue/api_property_map.h"
#include "catalogue/property_groups.h"
#include "sim/board/state.h"
#include "sim/config/readers.h"

namespace sim {
namespace {

BoardState builtinState() {
  const Document builtin = parseJson(kBuiltinProperties, "p");
  const Document manifest = parseJson(kBuiltinManifest, "m");
  const Topology topology = readTopology(manifest);
  return {readProperties(builtin, builtin, manifest, topology), topology, 1};
}

TEST(Builtin, KnowsEveryPropertyOfTheCatalogue) {
  const BoardState state = builtinState();
  for (std::size_t i = 0; i < PropertyCatalogue::ApiPropertyMap.size(); ++i) {
    const std::string_view name = PropertyCatalogue::ApiPropertyMap.entry(i).propertyName;
    EXPECT_TRUE(state.properties().find(name)) << name;
  }
  for (const std::string_view name : PropertyCatalogue::PagedPropertyList) {
    EXPECT_TRUE(state.properties().find(name)) << name;
  }
}

TEST(Builtin, HasEveryKindOfDeviceAndPropertiesForEach) {
  const BoardState state = builtinState();
  std::size_t bytes = 0;
  for (KindIndex kind = 0; kind < static_cast<KindIndex>(kDeviceKinds.size()); ++kind) {
    EXPECT_GT(state.topology().countOf(kind), 0) << wordOf(kind);
    EXPECT_FALSE(state.properties().ofKind(kind).empty()) << wordOf(kind);
    for (const PropertyIndex index : state.properties().ofKind(kind)) {
      bytes += state.properties().at(index).name.size() + 1;
    }
  }
  EXPECT_LE(bytes, 20480U) << "the names of all kinds fit one listing";
}

TEST(Builtin, ValuesArePlausible) {
  const BoardState state = builtinState();
  const auto number = [&](std::string_view name, int id, Time time) {
    return state.numberAt(*state.properties().find(name), id, time);
  };
  for (Time time = 0; time < 300 * kSecond; time += 7 * kSecond) {
    SCOPED_TRACE(time);
    Fixed total = 0;
    for (int id = 0; id < 10; ++id) total += number("hsc.power.consumption", id, time);
    EXPECT_EQ(number("fpga.totalhsc.power.consumption", 0, time), total);
    EXPECT_GT(number("gpu.power.consumption", 7, time), 149 * kOne);
    EXPECT_LT(number("gpu.power.consumption", 7, time), 451 * kOne);
  }
  EXPECT_GT(number("gpu.energy.consumption", 0, 100 * kSecond), 15'000 * kOne);
  for (PropertyIndex i = 0; i < static_cast<PropertyIndex>(state.properties().all().size()); ++i) {
    EXPECT_FALSE(state.textAt(i, 0, 0).empty()) << state.properties().at(i).name;
  }
}

}  // namespace
}  // namespace sim
