#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "catalogue/api_property_map.h"
#include "catalogue/property_groups.h"

namespace PropertyCatalogue {
namespace {

/// The independent listing: lines "<property> <API name>...", in list order.
std::vector<std::pair<std::string, std::string>> listedPairs() {
  std::vector<std::pair<std::string, std::string>> pairs;
  std::ifstream file(BOARDCTL_TEST_DATA "/api_properties.txt");
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string property;
    words >> property;
    for (std::string name; words >> name;) pairs.emplace_back(name, property);
  }
  return pairs;
}

std::vector<std::string> listedLine(const std::string& key) {
  std::ifstream file(BOARDCTL_TEST_DATA "/property_groups.txt");
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::vector<std::string> found;
    for (std::string word; words >> word;) found.push_back(word);
    if (!found.empty() && found[0] == key) return {found.begin() + 1, found.end()};
  }
  ADD_FAILURE() << key << " is not listed";
  return {};
}

TEST(ApiPropertyMap, ItsSourceTableIsTheListing) {
  const auto pairs = listedPairs();
  ASSERT_EQ(pairs.size(), 492U);
  ASSERT_EQ(std::size(kApiPropertyRows), 492U);
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    EXPECT_EQ(kApiPropertyRows[i].apiName, pairs[i].first) << i;
    EXPECT_EQ(kApiPropertyRows[i].propertyName, pairs[i].second) << i;
  }
}

TEST(ApiPropertyMap, HoldsTheFirstPairOfEveryKey) {
  std::map<std::string, std::string> expected;
  std::set<std::string> properties;
  for (const auto& [name, property] : listedPairs()) expected.emplace(name, property);
  ASSERT_EQ(expected.size(), 491U);
  ASSERT_EQ(ApiPropertyMap.size(), 491U);
  std::size_t index = 0;
  for (const auto& [name, property] : expected) {
    SCOPED_TRACE(name);
    EXPECT_EQ(ApiPropertyMap.entry(index).apiName, name);
    EXPECT_EQ(ApiPropertyMap.entry(index).propertyName, property);
    EXPECT_EQ(ApiPropertyMap.find(name), property);
    properties.insert(property);
    ++index;
  }
  EXPECT_EQ(properties.size(), 358U);
}

TEST(ApiPropertyMap, KeepsTheFirstValueOfTheRepeatedKey) {
  EXPECT_EQ(ApiPropertyMap.find("KORSwitchGetAggregateKORLinkBWGbpsV2"),
            "korswitch.korlink.aggregateKORLinkBandwidth");
}

TEST(ApiPropertyMap, KeepsTheNamesAsTheyAreSpelled) {
  EXPECT_EQ(ApiPropertyMap.find("BasebaordGetPowerCapV2"), "gpu.power.limit.arbitrated");
  EXPECT_FALSE(ApiPropertyMap.contains("BaseboardGetPowerCapV2"));
  EXPECT_EQ(ApiPropertyMap.find("KORSwitchGetKORLinksAggregateTxThroughputWithProtocolV2"),
            "KORSwitchGetKORLinksAggregateTxThroughputWithProtocol");
}

TEST(ApiPropertyMap, FindsExactNamesOnly) {
  for (const char* name : {"", "gpugetvendoridv2", "GPUGetVendorIdV", "GPUGetVendorIdV22",
                           "GPUGetVendorIdV2 ", "\x01", "zzz"}) {
    EXPECT_FALSE(ApiPropertyMap.contains(name)) << name;
  }
  EXPECT_FALSE(ApiPropertyMap.contains(std::string_view("GPUGetVendorIdV2\0", 17)));
}

TEST(PropertyGroups, ThePagedListIsTheListing) {
  const std::vector<std::string> expected = listedLine("PagedPropertyList");
  ASSERT_EQ(expected.size(), 75U);
  EXPECT_TRUE(std::equal(std::begin(PagedPropertyList), std::end(PagedPropertyList),
                         expected.begin(), expected.end()));
  EXPECT_EQ(PagedPropertyList[18], "korswitch.driver.version.page0");
  EXPECT_EQ(PagedPropertyList[34], "korswitch.driver.version.page0");
  for (const char* kind : {"gpu", "korswitch"}) {
    SCOPED_TRACE(kind);
    const std::string page3 = std::string(kind) + ".korlink.KORLinkStateV2.page3";
    EXPECT_EQ(std::count(std::begin(PagedPropertyList), std::end(PagedPropertyList), page3), 0);
  }
}

TEST(PropertyGroups, TheLinkGroupsAreTheListing) {
  const std::size_t sizes[] = {20, 2, 4, 4};
  ASSERT_EQ(std::size(LinkLogicGroups), 4U);
  for (std::size_t i = 0; i < 4; ++i) {
    SCOPED_TRACE(i + 1);
    const std::string name = "korlinkLogic_" + std::to_string(i + 1);
    EXPECT_EQ(LinkLogicGroups[i].name, name);
    std::vector<std::string> expected = listedLine(name);
    std::sort(expected.begin(), expected.end());
    ASSERT_EQ(expected.size(), sizes[i]);
    const LinkLogicGroup* const group = findLinkLogicGroup(name);
    ASSERT_NE(group, nullptr);
    EXPECT_TRUE(
        std::equal(group->members.begin(), group->members.end(), expected.begin(), expected.end()));
    for (const std::string& member : expected) {
      SCOPED_TRACE(member);
      EXPECT_TRUE(group->contains(member));
      EXPECT_TRUE(ApiPropertyMap.contains(member)) << member;
    }
    EXPECT_FALSE(group->contains("GPUGetVendorIdV2"));
  }
  for (const char* name :
       {"korlinkLogic_0", "korlinkLogic_5", "KorlinkLogic_1", "korlinkLogic_", ""}) {
    EXPECT_EQ(findLinkLogicGroup(name), nullptr) << name;
  }
}

template <typename Set>
void expectCodes(const Set& set, const std::string& name) {
  std::set<std::uint16_t> expected;
  for (const std::string& word : listedLine(name)) {
    expected.insert(static_cast<std::uint16_t>(std::stoi(word, nullptr, 16)));
  }
  EXPECT_TRUE(std::equal(set.begin(), set.end(), expected.begin(), expected.end())) << name;
  for (unsigned int code = 0; code <= UINT16_MAX; ++code) {
    const auto value = static_cast<std::uint16_t>(code);
    EXPECT_EQ(set.contains(value), expected.count(value) == 1) << name << ' ' << code;
  }
}

TEST(PropertyGroups, TheCodeSetsAreTheListing) {
  expectCodes(CodeSetA, "CodeSetA");
  expectCodes(CodeSetB, "CodeSetB");
  expectCodes(CodeSetC, "CodeSetC");
  EXPECT_EQ(CodeSetA.size(), 25U);
  EXPECT_EQ(CodeSetB.size(), 8U);
  EXPECT_EQ(CodeSetC.size(), 4U);
  EXPECT_TRUE(CodeSetA.contains(0x0D08));
  EXPECT_TRUE(CodeSetA.contains(0x03FD));
  EXPECT_TRUE(CodeSetB.contains(0x03FC));
  for (const auto& inNone : {0x0D05, 0x0000, 0xFFFF}) {
    SCOPED_TRACE(inNone);
    const auto value = static_cast<std::uint16_t>(inNone);
    EXPECT_FALSE(CodeSetA.contains(value) || CodeSetB.contains(value) || CodeSetC.contains(value));
  }
}

TEST(PropertyGroups, NoCodeIsInTwoSets) {
  for (const std::uint16_t code : CodeSetA) {
    SCOPED_TRACE(code);
    EXPECT_FALSE(CodeSetB.contains(code) || CodeSetC.contains(code));
  }
  for (const std::uint16_t code : CodeSetB) EXPECT_FALSE(CodeSetC.contains(code)) << code;
}

}  // namespace
}  // namespace PropertyCatalogue
