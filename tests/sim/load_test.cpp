#include <gtest/gtest.h>

#include <string>

#include "sim/config/readers.h"
#include "sim/library/builtin.h"
#include "tests/sim/costs.h"

namespace sim {
namespace {

/// `count` parts with a comma between them, each with its number in place of every '#'.
std::string repeat(const std::string& part, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) {
    if (i != 0) text += ',';
    for (const char c : part) text += c == '#' ? std::to_string(i) : std::string(1, c);
  }
  return text;
}

void load(const std::string& properties, const std::string& overrides = "") {
  static const std::string begin =
      R"({"board": "b", "devices": {"gpu": 255, "hsc": 255}, "overrides": {)";
  const Document manifest = parseJson(begin + overrides + "}}", "m");
  const Document document = parseJson(properties, "p");
  readProperties(document, document, manifest, readTopology(manifest));
}

/// A record of that many entries, and further properties.
std::string ofRecord(int entries, const std::string& entry, const std::string& properties,
                     const std::string& name = "r") {
  return R"({"records": {")" + name + R"(": {"entriesPerPage": 1, "entries": [)" +
         repeat(entry, entries) + R"(]}}, "properties": {"gpu.x": 1,)" + properties + "}}";
}

/// Overrides of so many properties of so many devices.
std::string overridesOf(const std::string& value, int properties, int devices) {
  std::string text;
  for (int i = 0; i < devices; ++i) {
    text += (i != 0 ? ",\"gpu" : "\"gpu") + std::to_string(i) + R"(":{"properties":{)" +
            repeat("\"gpu.#\":" + value, properties) + "}}";
  }
  return text;
}

constexpr int kMembers = 500;  ///< Of an object that is to be enlarged, and may hold 4096.

TEST(Load, ManyPagesOfALongRecord) {
  EXPECT_LT(
      costs::growth(
          [](int n) { load(ofRecord(20 * n, "1", repeat(R"("gpu.#":{"page":#,"of":"r"})", n))); },
          kMembers),
      costs::kLinear);
}

TEST(Load, ManyPagesWithTheSameCostlyEntry) {
  EXPECT_LT(costs::growth(
                [](int n) {
                  load(ofRecord(1, "{\"sum\":[" + repeat("\"gpu.x\"", n) + "]}",
                                repeat(R"("gpu.#":{"page":0,"of":"r"})", n)));
                },
                kMembers),
            costs::kLinear);
}

TEST(Load, ManyOverridesOfPages) {
  EXPECT_LT(costs::growth(
                [](int n) {
                  load(ofRecord(20 * n, "1", repeat("\"gpu.#\":\"\"", 20)),
                       overridesOf(R"({"page":0,"of":"r"})", 20, n / 20));
                },
                kMembers),
            costs::kLinear);
}

TEST(Load, ManyRecords) {
  EXPECT_LT(
      costs::growth(
          [](int n) {
            load(R"({"records":{)" + repeat(R"("r#":{"entriesPerPage":1,"entries":[]})", n) +
                     R"(},"properties":{)" + repeat("\"gpu.#\":1", 200) + "}}",
                 overridesOf(R"({"page":0,"of":"r)" + std::to_string(n - 1) + "\"}", 200, n / 20));
          },
          kMembers),
      costs::kLinear);
}

TEST(Load, ALongRecordOfALongName) {
  EXPECT_LT(costs::growth(
                [](int n) {
                  const std::string name(static_cast<std::size_t>(4 * n), 'r');
                  load(ofRecord(4 * n, "1", "\"gpu.y\":1", name));
                },
                kMembers),
            costs::kLinear);
}

TEST(Load, ManyMembers) {
  EXPECT_LT(
      costs::growth([](int n) { load(R"({"properties":{)" + repeat("\"gpu.#\":1", n) + "}}"); },
                    kMembers),
      costs::kLinear);
}

TEST(Load, ManyRulesAndEvents) {
  const Document manifest = parseJson(kBuiltinManifest, "m");
  const Document builtin = parseJson(kBuiltinProperties, "b");
  const Topology topology = readTopology(manifest);
  const PropertyDb db = readProperties(builtin, builtin, manifest, topology);
  EXPECT_LT(costs::growth(
                [&](int n) {
                  readProfile(
                      parseJson(R"({"faults":[)" + repeat(R"({"device":"gpu1","hang":true})", n) +
                                    R"(],"timeline":[)" +
                                    repeat(R"({"atMs":#,"burst":"gpu.power.consumption",)"
                                           R"("device":"gpu1","count":1})",
                                           n) +
                                    "]}",
                                "f"),
                      topology, db);
                },
                kMembers),
            costs::kLinear);
}

}  // namespace
}  // namespace sim
