#include "sim/builtin.h"

#include <gtest/gtest.h>

#include "catalogue/api_property_map.h"
#include "catalogue/property_groups.h"
#include "sim/mailbox.h"
#include "sim/world.h"

namespace sim {
namespace {

World builtinWorld() {
  const Document builtin = parseJson(kBuiltinProperties, "p");
  Topology topology = readTopology(parseJson(kBuiltinManifest, "m"));
  PropertyDb db = readProperties(builtin, topology, builtin);
  return {std::move(db), std::move(topology), 1};
}

TEST(Builtin, KnowsEveryPropertyOfTheCatalogue) {
  const World world = builtinWorld();
  for (std::size_t i = 0; i < PropertyCatalogue::ApiPropertyMap.size(); ++i) {
    const std::string_view name = PropertyCatalogue::ApiPropertyMap.entry(i).propertyName;
    EXPECT_TRUE(world.properties().find(name)) << name;
  }
  for (const std::string_view name : PropertyCatalogue::PagedPropertyList) {
    EXPECT_TRUE(world.properties().find(name)) << name;
  }
}

TEST(Builtin, HasEveryKindOfDeviceAndPropertiesForEach) {
  const World world = builtinWorld();
  std::size_t bytes = 0;
  for (KindIndex kind = 0; kind < static_cast<KindIndex>(kDeviceKinds.size()); ++kind) {
    EXPECT_GT(world.topology().countOf(kind), 0) << wordOf(kind);
    EXPECT_FALSE(world.properties().ofKind(kind).empty()) << wordOf(kind);
    for (const PropertyIndex index : world.properties().ofKind(kind)) {
      bytes += world.properties().at(index).name.size() + 1;
    }
  }
  EXPECT_LE(bytes, 20480U) << "the names of all kinds fit one listing";
}

TEST(Builtin, ValuesArePlausible) {
  const World world = builtinWorld();
  const auto number = [&](std::string_view name, int id, Time time) {
    return world.numberAt(*world.properties().find(name), id, time);
  };
  for (Time time = 0; time < 300 * kSecond; time += 7 * kSecond) {
    SCOPED_TRACE(time);
    Micro total = 0;
    for (int id = 0; id < 10; ++id) total += number("hsc.power.consumption", id, time);
    EXPECT_EQ(number("fpga.totalhsc.power.consumption", 0, time), total);
    EXPECT_GT(number("gpu.power.consumption", 7, time), 149 * kUnit);
    EXPECT_LT(number("gpu.power.consumption", 7, time), 451 * kUnit);
  }
  EXPECT_GT(number("gpu.energy.consumption", 0, 100 * kSecond), 15'000 * kUnit);
  for (PropertyIndex i = 0; i < static_cast<PropertyIndex>(world.properties().size()); ++i) {
    EXPECT_FALSE(world.textAt(i, 0, 0).empty()) << world.properties().at(i).name;
  }
}

}  // namespace
}  // namespace sim
