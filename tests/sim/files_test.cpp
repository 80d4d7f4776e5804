#include <gtest/gtest.h>

#include "sim/config/fields.h"
#include "tests/sim/rejections.h"

namespace sim {
namespace {

TEST(Suggestion, IsTheWordWithTheFewestChanges) {
  const std::string_view words[] = {"xabc", "abcx", "bcd", "abxcd"};
  EXPECT_EQ(suggestion("abcy", words), "; did you mean 'abcx'?") << "one is replaced";
  EXPECT_EQ(suggestion("bcdx", words), "; did you mean 'bcd'?") << "one is too many";
  EXPECT_EQ(suggestion("abxc", words), "; did you mean 'abxcd'?") << "one is missing";
  EXPECT_EQ(suggestion("bxcc", words), "; did you mean 'bcd'?") << "the first of two";
  EXPECT_EQ(suggestion("yyxc", words), "") << "three changes are too many";
}

TEST(Suggestion, IsNotSoughtForLongTexts) {
  const std::string longest(200, 'a');
  const std::string_view words[] = {longest};
  EXPECT_EQ(suggestion(longest.substr(1) + 'b', words), "; did you mean '" + longest + "'?");
  EXPECT_EQ(suggestion(longest + 'b', words), "");
}

TEST(Manifest, RejectionsNameThePlaceAndTheReason) {
  EXPECT_EQ(manifestRejection("[]"), "m.json:1:1: expected an object, found an array");
  EXPECT_EQ(manifestRejection(R"({"devices": {}})"), "m.json:1:1: the key 'board' is missing");
  EXPECT_EQ(manifestRejection(R"({"board": "b"})"), "m.json:1:1: the key 'devices' is missing");
  EXPECT_EQ(manifestRejection(R"({"board": 3, "devices": {}})"),
            "m.json:1:11: /board: expected a string, found a number");
  EXPECT_EQ(manifestRejection(R"({"board": "b", "devices": {"gpu": 256}})"),
            "m.json:1:35: /devices/gpu: 256 is not in 0..255");
  EXPECT_EQ(manifestRejection(R"({"board": "b", "devices": {"gpu": -1}})"),
            "m.json:1:35: /devices/gpu: -1 is not in 0..255");
  EXPECT_EQ(manifestRejection(R"({"board": "b", "devices": {"gpu": 1.5}})"),
            "m.json:1:35: /devices/gpu: expected a whole number, found 1.5");
  for (const char* number : {"2.0", "2e0", "200E-2", "255", "2.55e+2"}) {
    SCOPED_TRACE(number);
    EXPECT_EQ(
        manifestRejection(R"({"board": "b", "devices": {"gpu": )" + std::string(number) + "}}"),
        "accepted");
  }
  for (const char* number : {"256.0", "2.56e2", "1e300", "-1e0"}) {
    SCOPED_TRACE(number);
    EXPECT_EQ(
        manifestRejection(R"({"board": "b", "devices": {"gpu": )" + std::string(number) + "}}"),
        "m.json:1:35: /devices/gpu: " + std::string(number) + " is not in 0..255");
  }
  EXPECT_EQ(manifestRejection(R"({"board": "b", "devices": {"gpus": 8}})"),
            "m.json:1:36: /devices/gpus: unknown key 'gpus'; did you mean 'gpu'?");
  EXPECT_EQ(manifestRejection(R"({"board": "b", "device": {}})"),
            "m.json:1:26: /device: unknown key 'device'; did you mean 'devices'?");
  EXPECT_EQ(manifestRejection(R"({"board":"b","devices":{"gpu":1},"overrides":{"gpu1":{}}})"),
            "m.json:1:54: /overrides/gpu1: the board has no gpu1");
  EXPECT_EQ(manifestRejection(R"({"board":"b","devices":{"gpu":0}})"), "accepted");
  EXPECT_EQ(manifestRejection(R"({"board":"b","devices":{"gpu":255}})"), "accepted");
}

TEST(Properties, RejectionsNameThePlaceAndTheReason) {
  EXPECT_EQ(propertiesRejection("{}"), "p.json:1:1: the key 'properties' is missing");
  EXPECT_EQ(propertiesRejection(R"({"properties": {"gpux.a": 1}})"),
            "p.json:1:27: /properties/gpux.a: 'gpux' is not a device kind; did you mean 'gpu'?");
  EXPECT_EQ(propertiesRejection(R"({"extends": "builtn", "properties": {}})"),
            "p.json:1:13: /extends: 'builtn' is not a database to extend; did you mean 'builtin'?");
  const std::string at = "p.json:1:26: /properties/gpu.x: ";
  EXPECT_EQ(propertyRejection("true"), at + "expected a number, found true or false");
  for (const char* number : {"1e3", "2.5E-3", "1e-6", "9000000000000", "-9000000000000.000000"}) {
    SCOPED_TRACE(number);
    EXPECT_EQ(propertyRejection(number), "accepted");
  }
  for (const char* number : {"0.0000001", "1e-7", "1.0000000"}) {
    SCOPED_TRACE(number);
    EXPECT_EQ(propertyRejection(number), at + number + " has more than 6 digits after the point");
  }
  for (const char* number : {"9000000000000.000001", "-9000000000001", "1e13", "1e300"}) {
    SCOPED_TRACE(number);
    EXPECT_EQ(propertyRejection(number), at + number + " is not in -9000000000000..9000000000000");
  }
  EXPECT_EQ(propertyRejection(std::string(300, '9')),
            at + std::string(255, '9') + "... is not in -9000000000000..9000000000000");
  EXPECT_EQ(propertyRejection("\"\""), "accepted");
  EXPECT_EQ(propertyRejection(R"({"value": 1, "unit": ""})"),
            "p.json:1:47: /properties/gpu.x/unit: the text is empty");
  EXPECT_EQ(propertyRejection('"' + std::string(10'239, 'x') + '"'), "accepted");
  EXPECT_EQ(propertyRejection('"' + std::string(10'240, 'x') + '"'),
            at + "the text is longer than 10239 bytes");
  const auto named = [](std::size_t size) {
    return propertiesRejection(R"({"properties": {"gpu.)" + std::string(size - 4, 'x') + "\": 1}}");
  };
  EXPECT_EQ(named(255), "accepted");
  EXPECT_TRUE(named(256).ends_with(": a name must have 1 to 255 characters")) << named(256);
  EXPECT_EQ(propertyRejection(R"({"unit": "W"})"),
            at + "one of value, serial, counter, walk, sum, average, highest, integral, page is "
                 "missing");
  EXPECT_EQ(
      propertyRejection(R"({"walk": [1]})"),
      "p.json:1:35: /properties/gpu.x/walk: expected two numbers, the lowest and the highest");
  EXPECT_EQ(propertyRejection(R"({"value": 1, "counter": 1})"),
            "p.json:1:50: /properties/gpu.x/counter: 'counter' cannot be combined with 'value'");
  EXPECT_EQ(
      propertyRejection(R"({"value": 1, "perSecond": 1})"),
      "p.json:1:52: /properties/gpu.x/perSecond: 'perSecond' cannot be combined with 'value'");
  EXPECT_EQ(propertyRejection(R"({"walk": [5, 1]})"),
            "p.json:1:35: /properties/gpu.x/walk: the bounds are in the wrong order");
  EXPECT_EQ(propertyRejection(R"({"walk": [0, 100000000]})"), "accepted");
  for (const char* walk :
       {R"({"walk": [0, 100000001]})", R"({"walk": [-9000000000000, 9000000000000]})"}) {
    SCOPED_TRACE(walk);
    EXPECT_EQ(propertyRejection(walk),
              "p.json:1:35: /properties/gpu.x/walk: a walk may span at most 100000000");
  }
  EXPECT_EQ(propertyRejection(R"({"walc": [1, 5]})"),
            "p.json:1:35: /properties/gpu.x/walc: unknown key 'walc'; did you mean 'walk'?");
  EXPECT_EQ(propertyRejection(R"({"sum": "gpu.y"})"),
            "p.json:1:34: /properties/gpu.x/sum: no property is named 'gpu.y'; did you mean "
            "'gpu.x'?");
  EXPECT_EQ(propertyRejection(R"({"sum": "gpu.x"})"), at + "the value is computed from itself");
  EXPECT_EQ(propertyRejection(R"({"serial": "abc"})"),
            "p.json:1:37: /properties/gpu.x/serial: a serial needs a run of '#' for its number");
  EXPECT_EQ(propertyRejection(R"({"page": 1, "of": "r"})"),
            "p.json:1:44: /properties/gpu.x/of: no record is named 'r'");
  EXPECT_EQ(propertyRejection(R"({"value": "t", "access": "rw"})"),
            "p.json:1:51: /properties/gpu.x/access: only numbers of the forms value, counter and "
            "walk can be written or cleared");
  EXPECT_EQ(propertyRejection(R"({"value": 1, "access": "rx"})"),
            "p.json:1:49: /properties/gpu.x/access: expected letters of 'rwc', each at most once");
  EXPECT_EQ(propertyRejection(R"({"value": 1, "hex": 4, "precision": 1})"),
            at + "'precision', 'hex' and 'names' cannot be combined");
  EXPECT_EQ(propertyRejection(R"({"integral": "fpga.y"}, "fpga.y": 1)"),
            at + "an integral needs a property of the same device");
  EXPECT_EQ(
      propertyRejection(R"({"integral": "gpu.y"}, "gpu.y": {"integral": "gpu.z"}, "gpu.z": 1)"),
      at + "an integral cannot be computed from another one");
  EXPECT_EQ(propertyRejection(R"({"integral": "gpu.y"}, "gpu.y": {"sum": ["gpu.z", "gpu.e"]},)"
                              R"("gpu.z": 1, "gpu.e": {"integral": "gpu.z"})"),
            at + "an integral cannot be computed from another one");
  EXPECT_EQ(propertyRejection(R"({"sum": ["gpu.y", "gpu.y"]}, "gpu.y": {"integral": "gpu.z"},)"
                              R"("gpu.z": 1)"),
            "accepted");
  EXPECT_EQ(propertiesRejection(R"({"records": {"r": {"entriesPerPage": 1, "entries":)"
                                R"([{"integral": "gpu.x"}]}}, "properties": {"gpu.x": 1}})"),
            "p.json:1:52: /records/r/entries/0: record entries cannot be integrals; "
            "define a property instead");
}

TEST(Properties, APageIsNoEntryOfARecord) {
  EXPECT_EQ(propertiesRejection(R"({"records": {"r": {"entriesPerPage": 1, "entries":)"
                                R"([{"page": 0, "of": "r"}]}}, "properties": {}})"),
            "p.json:1:52: /records/r/entries/0: record entries cannot be pages");
}

TEST(Properties, TheNameAndTheDeviceAgree) {
  EXPECT_EQ(propertyRejection(R"({"value": 1, "device": "gpu"})"), "accepted");
  EXPECT_EQ(propertyRejection(R"({"value": 1, "device": "hsc"})"),
            "p.json:1:49: /properties/gpu.x/device: the name makes it a property of gpu");
  EXPECT_EQ(propertiesRejection(R"({"properties": {"own": {"value": 1, "device": "hsc"}}})"),
            "accepted");
  EXPECT_EQ(propertiesRejection(R"({"extends": "builtin", "properties": {
    "KORSwitchGetKORLinksAggregateTxThroughputWithProtocol": {"value": 1, "device": "hsc"},
    "hsc.x": {"sum": "KORSwitchGetKORLinksAggregateTxThroughputWithProtocol"},
    "hsc.y": {"integral": "KORSwitchGetKORLinksAggregateTxThroughputWithProtocol"}}})"),
            "accepted")
      << "an entry that takes the place of another has its own kind";
}

TEST(Properties, AnEnumerationBeginsWithOneOfItsNames) {
  const std::string names = R"(, "names": ["off", "on"]})";
  const std::string place = "p.json:1:37: /properties/gpu.x/";
  EXPECT_EQ(propertyRejection(R"({"value":  1.4)" + names), "accepted");
  EXPECT_EQ(propertyRejection(R"({"value":  -0.4)" + names), "accepted");
  EXPECT_EQ(propertyRejection(R"({"value":  2)" + names),
            place + "value: 2 is not in 0..1, the places in 'names'");
  EXPECT_EQ(propertyRejection(R"({"value":  -0.5)" + names),
            place + "value: -1 is not in 0..1, the places in 'names'");
  EXPECT_EQ(propertyRejection(R"({"walk":   [0, 1.6])" + names),
            place + "walk: 2 is not in 0..1, the places in 'names'");
  EXPECT_EQ(propertyRejection(R"({"walk":   [-1, 1])" + names),
            place + "walk: -1 is not in 0..1, the places in 'names'");
  EXPECT_EQ(propertyRejection(R"({"counter":7)" + names),
            place + "counter: 7 is not in 0..1, the places in 'names'");
}

}  // namespace
}  // namespace sim
