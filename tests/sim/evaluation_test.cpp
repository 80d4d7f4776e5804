#include <gtest/gtest.h>

#include <array>

#include "tests/sim/rejections.h"

namespace sim {
namespace {

/// Properties, each of which is `times` the next one; backwards, each is known before it is needed.
std::string chainOf(int length, int times, bool forwards = true) {
  std::string text;
  for (int i = 0; i < length; ++i) {
    const int number = forwards ? i : length - 1 - i;
    const std::string next =
        number + 1 == length ? "\"gpu.end\"" : "\"gpu." + std::to_string(number + 1) + '"';
    text += ",\"gpu." + std::to_string(number) + R"(": {"sum": [)" + next;
    for (int j = 1; j < times; ++j) text += ',' + next;
    text += "]}";
  }
  const std::string end = R"("gpu.end": 1)";
  return forwards ? text.substr(1) + ',' + end : end + text;
}

std::string chain(int length, int times, bool forwards) {
  return "{\"properties\": {" + chainOf(length, times, forwards) + "}}";
}

TEST(Evaluation, AnIntegralNeedsItsSourceOncePerSecondOfAMinute) {
  const auto integralOf = [](int terms) {
    std::string sum = R"({"properties": {"gpu.x": 1, "gpu.i": {"integral": "gpu.s"}, "gpu.s": )"
                      R"({"sum": ["gpu.x")";
    for (int i = 1; i < terms; ++i) sum += ",\"gpu.x\"";
    return propertiesRejection(sum + "]}}}");
  };
  EXPECT_EQ(integralOf(1665), "accepted");
  EXPECT_EQ(integralOf(1666),
            "p.json:1:38: /properties/gpu.i: the value depends on more than 100000 others");
}

TEST(Evaluation, AValueNeedsNeitherTooManyOthersNorTooManyInARow) {
  for (const bool forwards : {true, false}) {
    SCOPED_TRACE(forwards);
    EXPECT_EQ(propertiesRejection(chain(100, 1, forwards)), "accepted");
    EXPECT_EQ(propertiesRejection(chain(15, 2, forwards)), "accepted");
    for (const int length : {101, 4000}) {
      SCOPED_TRACE(length);
      const std::string rejection = propertiesRejection(chain(length, 1, forwards));
      EXPECT_TRUE(rejection.ends_with(": the value depends on a chain of more than 100 others"))
          << rejection;
    }
    for (const int length : {16, 99}) {
      SCOPED_TRACE(length);
      const std::string rejection = propertiesRejection(chain(length, 2, forwards));
      EXPECT_TRUE(rejection.ends_with(": the value depends on more than 100000 others"))
          << rejection;
    }
  }
}

TEST(Evaluation, OnlyNumbersCanBeComputedWith) {
  for (const char* model : {"sum", "average", "highest", "integral"}) {
    SCOPED_TRACE(model);
    const std::string computed = "{\"" + std::string(model) + "\": \"gpu.y\"}, \"gpu.y\": ";
    for (const char* text : {R"("a")", R"({"value": "a"})", R"({"serial": "#"})"}) {
      SCOPED_TRACE(text);
      EXPECT_EQ(propertyRejection(computed + text),
                "p.json:1:26: /properties/gpu.x: 'gpu.y' is a text; a value can be computed from "
                "numbers only");
    }
    EXPECT_EQ(propertyRejection(computed + R"({"value": 1, "names": ["off", "on"]})"), "accepted");
  }
  EXPECT_EQ(propertiesRejection(R"({"records": {"r": {"entriesPerPage": 1, "entries": [1]}},)"
                                R"("properties": {"gpu.y": {"page": 0, "of": "r"},)"
                                R"("gpu.x": {"sum": ["gpu.y"]}}})"),
            "p.json:1:114: /properties/gpu.x: 'gpu.y' is a text; a value can be computed from "
            "numbers only");
  EXPECT_EQ(propertiesRejection(R"({"properties": {"gpu.y": 1, "hsc.x": {"highest": "gpu.y"}}})",
                                R"({"board": "b", "devices": {"gpu": 2}, "overrides": {)"
                                R"("gpu1": {"properties": {"gpu.y": "n/a"}}}})"),
            "m.json:1:86: /overrides/gpu1/properties/gpu.y: expected a number, since 'hsc.x' is "
            "computed from it");
}

TEST(Evaluation, ARejectionOfADevicesOwnValueNamesItsPlaceInTheManifest) {
  const auto rejection = [](const std::string& value, const std::string& properties) {
    return propertiesRejection("{\"properties\": {" + properties + "}}",
                               R"({"board": "b", "devices": {"gpu": 2},
      "overrides": {"gpu1": {"properties": {"gpu.x": )" +
                                   value + "}}}}");
  };
  const std::string at = "m.json:2:54: /overrides/gpu1/properties/gpu.x";
  const std::string x = R"("gpu.x": 1, )";
  const std::string tooMany = ": the value depends on more than 100000 others";
  for (const auto& [value, properties, why] : std::initializer_list<std::array<std::string, 3>>{
           {"1e-7", x + "\"hsc.y\": 1", ": 1e-7 has more than 6 digits after the point"},
           {"true", x + "\"hsc.y\": 1", ": expected a number, found true or false"},
           {R"({"sum": "gpu.x"})", x + "\"hsc.y\": 1", ": the value is computed from itself"},
           {R"({"sum": "gpu.y"})", R"("gpu.y": {"sum": "gpu.x"}, "gpu.x": 1)",
            ": the value is computed from itself"},
           {R"({"integral": "hsc.y"})", x + "\"hsc.y\": 1",
            ": an integral needs a property of the same device"},
           {R"({"integral": "gpu.y"})", x + R"("gpu.y": {"integral": "gpu.z"}, "gpu.z": 1)",
            ": an integral cannot be computed from another one"},
           {R"({"sum": "gpu.y"})", x + "\"gpu.y\": \"\"",
            ": 'gpu.y' is a text; a value can be computed from numbers only"},
           {R"({"sum": "gpu.0"})", x + chainOf(101, 1),
            ": the value depends on a chain of more than 100 others"},
           {R"({"sum": "gpu.0"})", chainOf(100, 1) + R"(, "gpu.x": 1)",
            ": the value depends on a chain of more than 100 others"},
           {R"({"sum": ["gpu.0", "gpu.0"]})", chainOf(1, 50'000) + R"(, "gpu.x": 1)", tooMany}}) {
    SCOPED_TRACE(value + " with " + properties.substr(0, 60));
    EXPECT_EQ(rejection(value, properties), at + why);
  }
  EXPECT_EQ(rejection("1", R"("gpu.y": 1)"), at + ": 'gpu.x' is not a property of gpu1");
}

TEST(Evaluation, APageNeedsWhatItsEntriesNeed) {
  const auto pageOf = [](const std::string& entries) {
    return propertiesRejection(R"({"records": {"r": {"entriesPerPage": 2, "entries": [)" + entries +
                               R"(]}}, "properties": {"gpu.page": {"page": 0, "of": "r"}, )" +
                               chainOf(15, 2) + "}}");
  };
  const std::string entry = R"({"sum": "gpu.0"})";
  EXPECT_EQ(pageOf(entry), "accepted");
  EXPECT_TRUE(pageOf(entry + ',' + entry)
                  .ends_with("/gpu.page: the value depends on more than 100000 others"));
}

TEST(Evaluation, AValueMayNeedAHundredThousandOthers) {
  EXPECT_EQ(propertiesRejection(chain(1, 100'000, true)), "accepted");
  EXPECT_TRUE(propertiesRejection(chain(1, 100'001, true))
                  .ends_with(": the value depends on more than 100000 others"));
}

}  // namespace
}  // namespace sim
