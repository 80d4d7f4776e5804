#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <utility>

#include "tests/sim/rejections.h"

namespace sim {
namespace {

TEST(Json, EveryValueKnowsItsPlace) {
  const Document root =
      parseJson("{\n  \"a\": [1, -2.50,\n  {\"b/~\":\ttrue}],\n\"c\" : \"x\\ny\" }", "f");
  const auto place = [](const Node& node) { return rejection([&] { node.reject("here"); }); };
  const Node& a = *root.find("a");
  const Node& b = a.items[2].items[0];
  EXPECT_EQ(place(root), "f:1:1: here");
  EXPECT_EQ(place(a), "f:2:8: /a: here");
  EXPECT_EQ(place(a.items[0]), "f:2:9: /a/0: here");
  EXPECT_EQ(place(a.items[1]), "f:2:12: /a/1: here");
  EXPECT_EQ(place(b), "f:3:11: /a/2/b~1~0: here");
  EXPECT_EQ(place(*root.find("c")), "f:4:7: /c: here");
  EXPECT_EQ(a.items[1].text, "-2.50");
  EXPECT_EQ(root.find("c")->text, "x\ny");
  EXPECT_TRUE(b.truth);
}

TEST(Json, AStringKeepsItsTextWhateverStandsInIt) {
  const auto textOf = [](const std::string& spelled) {
    return std::string(parseJson("[\n  1,\n  \"" + spelled + "\"]", "f").items[1].text);
  };
  for (const char* plain : {"", "a", ", b: [{ ", "\xc3\xa9", "c\xc3\xa9 d", "\x7f"})
    EXPECT_EQ(textOf(plain), plain) << plain;
  EXPECT_EQ(textOf(R"(a\"b)"), "a\"b");
  EXPECT_EQ(textOf(R"(\\)"), "\\");
  EXPECT_EQ(textOf(R"(a\n  b)"), "a\n  b");
  EXPECT_EQ(textOf(R"(\u00e9 \u0022)"), "\xc3\xa9 \"");
}

TEST(Json, MalformedTextIsQuotedAsItIs) {
  EXPECT_EQ(jsonRejection("[\"some  text\"\n    x"),
            "f.json:2:5: not JSON: array - invalid literal; "
            "last read: '\"some  text\"<U+000A>    x'; expected ']'");
}

TEST(Json, MalformedTextIsRejectedInOneLineWithItsPlace) {
  EXPECT_TRUE(jsonRejection("").starts_with("f.json:1:1: not JSON: "));
  EXPECT_TRUE(jsonRejection("{\"a\": 1,\n  }").starts_with("f.json:2:3: not JSON: "));
  EXPECT_TRUE(jsonRejection("[1, 2").starts_with("f.json:1:6: not JSON: "));
  EXPECT_TRUE(jsonRejection("{\"a\": tru}").starts_with("f.json:1:7: not JSON: "));
  EXPECT_TRUE(jsonRejection("[1] x").starts_with("f.json:1:5: not JSON: "));
  EXPECT_TRUE(jsonRejection("[1e999]").starts_with("f.json:1:2: not JSON: "));
  EXPECT_EQ(jsonRejection("{\"a\": 1, \"a\": 2}"), "f.json:1:10: /a: duplicate key");
  EXPECT_EQ(
      jsonRejection(std::string(40, '[')), "f.json:1:33: " + [] {
        std::string pointer;
        for (int i = 0; i < 32; ++i) pointer += "/0";
        return pointer;
      }() + ": nested too deeply");
  EXPECT_LT(jsonRejection("[\"" + std::string(5000, 'x')).size(), 250U);
  EXPECT_EQ(jsonRejection(R"({"a\nb": 1, "a\nb": 2})"), "f.json:1:13: /a?b: duplicate key");
  for (const char* text : {"{", "[", "\"", "{\"a\"", "\x01", "{\"\n\": 1}", "[\"\xff\"]"}) {
    SCOPED_TRACE(text);
    const std::string why = jsonRejection(text);
    EXPECT_NE(why, "accepted");
    EXPECT_EQ(why.find('\n'), std::string::npos) << why;
  }
}

TEST(Json, NothingHidesBehindANulByte) {
  using namespace std::string_view_literals;
  for (const auto& [text, place] :
       {std::pair("\0"sv, "1:1"), std::pair("[1]\0"sv, "1:4"), std::pair("[1]\n\0 x"sv, "2:1"),
        std::pair("[\0 1]"sv, "1:2"), std::pair("[\"a\0b\"]"sv, "1:4")}) {
    SCOPED_TRACE(place);
    EXPECT_EQ(jsonRejection(text),
              "f.json:" + std::string(place) + ": not JSON: found a NUL byte; expected UTF-8 text");
  }
  EXPECT_EQ(jsonRejection(R"(["\u0000"])"), "accepted") << "an escape is text";
}

TEST(Json, AFileThatCannotBeReadIsNamed) {
  EXPECT_EQ(rejection([] { readJsonFile("/nowhere/x.json"); }),
            "/nowhere/x.json: cannot be opened: No such file or directory");
  EXPECT_EQ(rejection([] { readJsonFile("/"); }), "/: cannot be read: Is a directory");
}

TEST(Json, ATwinIsFoundAmongManyMembers) {
  for (const int members : {1, 15, 16, 17, 18, 4096}) {
    for (const int twin : {0, members / 2, members - 1}) {
      std::string text = "{";
      for (int i = 0; i < members; ++i) text += "\"m" + std::to_string(i) + "\": {},\n";
      const std::string name = 'm' + std::to_string(twin);
      EXPECT_EQ(jsonRejection(text + '"' + name + "\": {}}"),
                "f.json:" + std::to_string(members + 1) + ":1: /" + name + ": duplicate key")
          << members;
    }
  }
}

TEST(Json, AnObjectHoldsSoManyMembersAndNoMore) {
  const auto objectOf = [](int members) {
    std::string text = R"({"o": {"m0": 0)";
    for (int i = 1; i < members; ++i) text += ", \"m" + std::to_string(i) + "\": 0";
    return text + "}}";
  };
  EXPECT_EQ(jsonRejection(objectOf(4096)), "accepted");
  EXPECT_EQ(jsonRejection(objectOf(4097)), "f.json:1:7: /o: more than 4096 members");
}

TEST(Json, ValuesAreNestedSoDeepAndNoDeeper) {
  const auto nested = [](std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
  };
  EXPECT_EQ(jsonRejection(nested(32)), "accepted");
  EXPECT_TRUE(jsonRejection(nested(33)).ends_with(": nested too deeply"));
}

TEST(Json, AFileIsReadToItsEndWhateverItsSizeIsSaidToBe) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const std::string text = '"' + std::string(10'000, 'x') + '"';
  ASSERT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  close(ends[1]);
  EXPECT_EQ(readJsonFile("/dev/fd/" + std::to_string(ends[0])).text.size(), 10'000U);
  close(ends[0]);
  EXPECT_TRUE(
      rejection([] { readJsonFile("/proc/version"); }).starts_with("/proc/version:1:1: not"));
}

TEST(Json, AFileHoldsFourMebibytesAtMost) {
  const std::string file = testing::TempDir() + "limit.json";
  std::ofstream(file) << std::string((4U << 20U) - 1, ' ') << '1';
  EXPECT_EQ(readJsonFile(file).text, "1");
  std::ofstream(file, std::ios::app) << ' ';
  EXPECT_EQ(rejection([&] { readJsonFile(file); }), file + ": larger than 4 MiB");
  unlink(file.c_str());
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
  EXPECT_EQ(propertyRejection(std::string(70, '9')),
            at + std::string(60, '9') + "... is not in -9000000000000..9000000000000");
  EXPECT_EQ(propertyRejection(R"({"unit": "W"})"),
            at + "one of value, serial, counter, walk, sum, average, highest, integral, page is "
                 "missing");
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
