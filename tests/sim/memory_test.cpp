#include <gtest/gtest.h>

#include <string>

#include "sim/config/readers.h"
#include "sim/library/builtin.h"
#include "tests/sim/costs.h"

namespace sim {
namespace {

constexpr std::size_t kBytesPerByte = 100;
constexpr std::size_t kFile = 1U << 19U;

/// As many of the parts as a file of that size holds, each with its number in place of '#'.
std::string filled(const std::string& begin, const std::string& part, const std::string& end,
                   std::size_t size = kFile) {
  std::string text = begin;
  const std::size_t place = part.find('#');
  for (int i = 0; text.size() + part.size() + end.size() + 8 < size; ++i) {
    if (i != 0) text += ',';
    text += part.substr(0, place);
    if (place != std::string::npos) text += std::to_string(i) + part.substr(place + 1);
  }
  return text + end;
}

/// What a file needs at most while it is read, in bytes for each of its own.
template <class Read>
std::size_t perByte(const std::string& text, Read read) {
  const std::size_t peak = costs::peakOf([&] {
    try {
      const Document document = parseJson(text, "f");
      read(document);
    } catch (const FileError& error) {
      ADD_FAILURE() << error.what();
    }
  });
  return (peak + text.size() - 1) / text.size();
}

class Memory : public testing::Test {
 protected:
  void SetUp() override {
    if (!costs::areCounted()) GTEST_SKIP() << "memory is not counted in this build";
  }

  const Document manifest_ = parseJson(kBuiltinManifest, "m");
  const Document builtin_ = parseJson(kBuiltinProperties, "b");
  const Topology topology_ = readTopology(manifest_);
};

TEST_F(Memory, ATreeGrowsWithItsFile) {
  const std::string deep(31, '[');
  const std::string longKey(1000, 'k');
  std::string nested;
  for (int i = 0; i < 15; ++i) nested += "{\"" + longKey + "\":[";
  const std::string closed = [] {
    std::string text;
    for (int i = 0; i < 15; ++i) text += "]}";
    return text;
  }();
  const auto expectFits = [](const std::string& text) {
    EXPECT_LE(perByte(text, [](const Node&) {}), kBytesPerByte)
        << text.size() << ' ' << text.substr(0, 20) << "...";
  };
  // What grows by doubling is largest just after it has grown.
  for (const std::size_t size : {kFile / 16 + 64, kFile / 7, kFile}) {
    for (const char* item : {"1", "[]", "[1,1]", R"({"a":{}})", R"("\t")"}) {
      expectFits(filled("[", item, "]", size));
    }
    for (const std::size_t object : {100U, 2000U, 30'000U}) {
      expectFits(filled("[", filled("{", "\"#\":1", "}", object), "]", size));
    }
    expectFits(filled(deep, "1", std::string(31, ']'), size));
    expectFits(filled(nested, "1", closed, size));
  }
}

TEST_F(Memory, ARejectionGrowsWithItsFile) {
  const auto expectFits = [](const std::string& text) {
    const std::size_t peak =
        costs::peakOf([&] { EXPECT_THROW(parseJson(text, "f"), FileError) << text.substr(0, 20); });
    EXPECT_LE(peak / text.size(), kBytesPerByte) << text.substr(0, 20) << "...";
  };
  expectFits(std::string(kFile, '['));
  expectFits('"' + std::string(kFile, 'x'));
  expectFits(std::string(kFile, '\n') + 'x');
  expectFits('"' + std::string(kFile, '\1'));
  expectFits('[' + std::string(kFile, '1') + 'x');
  expectFits(filled("[", "1", ""));
  expectFits(filled("{", "\"#\":1", "", 30'000));
  expectFits(filled("{", "\"#\":1", ",\"1\":1}", 30'000));
  expectFits(filled("{", "\"#\":1", "}"));
}

TEST_F(Memory, PropertiesGrowWithTheirFile) {
  const auto ofValue = [&](const std::string& begin, const std::string& part,
                           const std::string& end) {
    return perByte(filled(begin, part, end, kFile / 2), [&](const Node& document) {
      readProperties(document, builtin_, manifest_, topology_);
    });
  };
  const auto ofEntries = [&](const std::string& entry) {
    return ofValue(R"({"records": {"r": {"entriesPerPage": 1, "entries": [)", entry,
                   R"(]}}, "properties": {"gpu.x": 1, "gpu.p": {"page": 0, "of": "r"}}})");
  };
  for (const char* entry : {"1", "\"\"", "\"a\"", "{\"sum\":\"gpu.x\"}", "{\"serial\":\"##\"}"})
    EXPECT_LE(ofEntries(entry), kBytesPerByte) << entry;
  EXPECT_LE(ofValue(R"({"properties": {"gpu.x": 1, "gpu.s": {"sum": [)", "\"gpu.x\"", "]}}}"),
            kBytesPerByte);
  EXPECT_LE(ofValue(R"({"properties": {"gpu.e": {"value": 0, "names": [)", "\"a\"", "]}}}"),
            kBytesPerByte);
}

TEST_F(Memory, AProfileGrowsWithItsFile) {
  const PropertyDb db = readProperties(builtin_, builtin_, manifest_, topology_);
  const auto ofItems = [&](const std::string& key, const std::string& item) {
    return perByte(filled("{\"" + key + "\": [", item, "]}"),
                   [&](const Node& document) { readProfile(document, topology_, db); });
  };
  EXPECT_LE(ofItems("faults", R"({"hang":true})"), kBytesPerByte);
  EXPECT_LE(ofItems("timeline", R"({"atMs":0,"drop":"gpu0"})"), kBytesPerByte);
}

TEST_F(Memory, OverridesGrowWithTheirFile) {
  const std::string values = filled("{\"properties\":{", "\"gpu.#\":1", "}}", kFile / 64);
  const Document document = parseJson(values, "p");
  std::string text = R"({"board":"b","devices":{"gpu":255},"overrides":{)";
  for (int i = 0; i < 60; ++i)
    text += (i ? ",\"gpu" : "\"gpu") + std::to_string(i) + "\":" + values;
  EXPECT_LE(perByte(text + "}}",
                    [&](const Node& manifest) {
                      readProperties(document, builtin_, manifest, readTopology(manifest));
                    }),
            kBytesPerByte);
}

}  // namespace
}  // namespace sim
