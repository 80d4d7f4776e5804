#include "journal/redaction.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <random>
#include <set>

#include "catalogue/api_property_rows.h"
#include "catalogue/identities.h"
#include "journal/line.h"

namespace journal {
namespace {

using Words = std::vector<std::uint32_t>;

std::string lineOf(const std::string& property, const std::string& value) {
  Line line;
  line.add("n", 1).add("call", "DeviceGetData").open("args");
  return line.add("property", property).add("value", value).close().add("code", 0).text();
}

constexpr const char* kSerial = "gpu.inventory.serialNumber";
constexpr const char* kOther = "gpu.inventory.marketingName";

/// What stands for a value that is the answer of a property.
std::string answer(const Redaction& redaction, const std::string& value,
                   const std::string& property = kOther) {
  const std::string line = redaction.apply(lineOf(property, value));
  const std::size_t begin = line.find("\"value\":\"") + 9;
  return line.substr(begin, line.find('"', begin) - begin);
}

Words wordsOf(const std::string& bytes) {
  Words words((bytes.size() + 3) / 4);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    words[i / 4] |= std::uint32_t{static_cast<unsigned char>(bytes[i])} << (i % 4 * 8);
  }
  return words;
}

std::string lineOf(const Words& words) {
  return Line().add("call", "TesselCmd").add("output", std::span(words)).text();
}

int classOf(char c) {
  const auto byte = static_cast<unsigned char>(c);
  if (std::isdigit(byte) != 0) return 1;
  if (std::isupper(byte) != 0) return 2;
  return std::islower(byte) != 0 ? 3 : 256 + byte;
}

void expectSameClasses(const std::string& value, const std::string& pseudonym) {
  ASSERT_EQ(value.size(), pseudonym.size()) << value << ' ' << pseudonym;
  for (std::size_t i = 0; i < value.size(); ++i) {
    EXPECT_EQ(classOf(value[i]), classOf(pseudonym[i])) << value << ' ' << pseudonym << ' ' << i;
  }
}

TEST(Identities, AreChosenByName) {
  std::set<std::string_view> chosen;
  for (const auto& row : PropertyCatalogue::kApiPropertyRows) {
    if (PropertyCatalogue::isIdentity(row.propertyName)) chosen.insert(row.propertyName);
  }
  EXPECT_EQ(chosen, (std::set<std::string_view>{
                        "baseboard.inventory.boardId",
                        "baseboard.inventory.boardManufacturingDate",
                        "baseboard.inventory.boardPartNumber",
                        "baseboard.inventory.boardSerialNumber",
                        "baseboard.inventory.chassisPartNumber",
                        "baseboard.inventory.chassisSerialNumber",
                        "baseboard.inventory.productPartNumber",
                        "baseboard.inventory.productSerialNumber",
                        "gpu.inventory.boardPartNumber",
                        "gpu.inventory.buildDate",
                        "gpu.inventory.gpuGUID",
                        "gpu.inventory.gpuPartNumber",
                        "gpu.inventory.memoryPartNumber",
                        "gpu.inventory.serialNumber",
                        "korswitch.inventory.boardPartNumber",
                        "korswitch.inventory.korswitchGUID",
                        "korswitch.inventory.serialNumber",
                    }));
  EXPECT_FALSE(PropertyCatalogue::isIdentity("gpu.pcie.deviceId"));
  EXPECT_FALSE(PropertyCatalogue::isIdentity(""));
}

TEST(Identities, AreFoundAtEachPlaceOfAName) {
  for (const std::string word : {"serial", "guid", "uuid", "partNumber", "AssetTag", "boardId",
                                 "BUILDID", "buildDate", "manufacturingDate"}) {
    for (const std::string before : {"", "x", "se", "x.s", "a.gu"}) {
      SCOPED_TRACE(before + word);
      EXPECT_TRUE(PropertyCatalogue::isIdentity(before + word));
      EXPECT_TRUE(PropertyCatalogue::isIdentity(before + word + "x"));
      EXPECT_FALSE(PropertyCatalogue::isIdentity(before + word.substr(0, word.size() - 1)));
    }
  }
}

TEST(Redaction, KeepsLengthsAndClasses) {
  Redaction redaction;
  for (const std::string value :
       {"VG26041001", "9f27c1de-4b06-4a55-8d13-7ac0e25f1001", "4C1A2F00D6E80010", "VB-1040-A",
        "2026-03-02T08:00:00Z", "a\"b\\c\n12\xff", "Zz9-1", "abcd"}) {
    redaction.learn(value);
    std::string line = redaction.apply(lineOf(kOther, value));
    EXPECT_EQ(line.size(), lineOf(kOther, value).size()) << value;
    EXPECT_NE(line, lineOf(kOther, value)) << value;
    if (value.find('"') == std::string::npos) expectSameClasses(value, answer(redaction, value));
  }
  const std::string guid = answer(redaction, "4C1A2F00D6E80010");
  EXPECT_EQ(guid.find_first_not_of("0123456789ABCDEF"), std::string::npos) << guid;
}

TEST(Redaction, GivesEachValueAPseudonymOfItsOwn) {
  Redaction redaction;
  std::vector<std::string> values;
  for (int i = 0; i < 500; ++i) values.push_back("VG26" + std::to_string(100000 + i));
  for (int i = 0; i < 500; ++i) values.push_back("AA" + std::to_string(10000000 + i));
  for (const std::string& value : values) redaction.learn(value);
  std::set<std::string> pseudonyms;
  for (const std::string& value : values) {
    const std::string pseudonym = answer(redaction, value);
    EXPECT_EQ(pseudonym, answer(redaction, value)) << value;
    EXPECT_TRUE(pseudonyms.insert(pseudonym).second) << value << ' ' << pseudonym;
    EXPECT_EQ(std::ranges::count(values, pseudonym), 0) << value << ' ' << pseudonym;
  }
}

TEST(Redaction, IsTheSameEachTime) {
  Redaction first, second;
  for (const char* const value : {"VG26041001", "VG26041002", "abcd-0123"}) {
    first.learn(value);
    second.learn(value);
    EXPECT_EQ(answer(first, value), answer(second, value)) << value;
  }
}

TEST(Redaction, FindsValuesInsideOtherTextsAndLists) {
  Redaction redaction;
  EXPECT_EQ(answer(redaction, "VG26041001"), "VG26041001") << "nothing is known yet";
  redaction.learn(" VG26041001\r\n");
  const std::string pseudonym = answer(redaction, "VG26041001");
  EXPECT_NE(pseudonym, "VG26041001");
  EXPECT_EQ(answer(redaction, "serial VG26041001, again VG26041001VG26041001."),
            "serial " + pseudonym + ", again " + pseudonym + pseudonym + ".");
  const std::vector<std::string> names{"x", "name VG26041001"}, changed{"x", "name " + pseudonym};
  EXPECT_EQ(redaction.apply(Line().add("names", std::span(names)).text()),
            Line().add("names", std::span(changed)).text());
  EXPECT_EQ(redaction.apply(std::string_view(R"({"arguments":["get","VG26041001"]})")),
            R"({"arguments":["get",")" + pseudonym + R"("]})");
}

TEST(Redaction, LeavesTheFormatAlone) {
  Redaction redaction;
  for (const char* const value : {"DeviceGetData", "value", "args", "monotonic", "1234"}) {
    redaction.learn(value);
  }
  const std::string line =
      R"({"n":1234,"call":"DeviceGetData","args":{"device":1234},"code":1234})";
  EXPECT_EQ(redaction.apply(line), line);
  const std::string head =
      R"({"journal":2,"clock":"monotonic","tool":"12345678","library":"1234"})";
  EXPECT_EQ(redaction.apply(head), head);
  for (const char* const odd :
       {"", "{", "\"", "\"\\", R"("\u0)", R"({"value":"\u)", R"("data":1)"}) {
    EXPECT_EQ(redaction.apply(std::string_view(odd)).size(), std::strlen(odd)) << odd;
  }
}

TEST(Redaction, FindsTheBytesOfValuesInWords) {
  const std::string value = "VG26041001";
  Redaction redaction;
  redaction.learn(value);
  const std::string pseudonym = answer(redaction, value);
  for (std::size_t before = 0; before < 9; ++before) {
    const std::string start(before, '\xfe');
    EXPECT_EQ(redaction.apply(lineOf(wordsOf(start + value + "\x01\x02"))),
              lineOf(wordsOf(start + pseudonym + "\x01\x02")))
        << before;
  }
  const Words cut = wordsOf(value.substr(0, 9));
  EXPECT_EQ(redaction.apply(lineOf(cut)), lineOf(cut));
}

TEST(Redaction, FindsValuesAcrossBothDataRegisters) {
  Redaction redaction;
  redaction.learn("AB12cd");
  const Words before = wordsOf("xAB12cd"), after = wordsOf("x" + answer(redaction, "AB12cd"));
  const auto line = [](const Words& words) {
    return Line()
        .open("args")
        .add("data", words[0])
        .add("extended", words[1])
        .add("device", 1)
        .text();
  };
  EXPECT_EQ(redaction.apply(line(before)), line(after));
}

TEST(Redaction, TakesHexadecimalDigitsInAllTheirForms) {
  Redaction redaction;
  redaction.learn("0x4c1a2f00d6e80010");
  const std::string pseudonym = answer(redaction, "4c1a2f00d6e80010");
  EXPECT_NE(pseudonym, "4c1a2f00d6e80010");
  EXPECT_EQ(answer(redaction, "0x4c1a2f00d6e80010"), "0x" + pseudonym);
  std::string upper = pseudonym;
  std::ranges::transform(upper, upper.begin(), [](unsigned char c) { return std::toupper(c); });
  EXPECT_EQ(answer(redaction, "id 4C1A2F00D6E80010"), "id " + upper);
  std::string bytes;
  for (std::size_t i = 0; i < pseudonym.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(pseudonym.substr(i, 2), nullptr, 16));
  }
  const std::string reversed(bytes.rbegin(), bytes.rend());
  EXPECT_EQ(redaction.apply(lineOf(Words{0x002f1a4c, 0x1000e8d6})), lineOf(wordsOf(bytes)));
  EXPECT_EQ(redaction.apply(lineOf(Words{0xd6e80010, 0x4c1a2f00})), lineOf(wordsOf(reversed)));
}

TEST(Redaction, ReplacesShortValuesOnlyAsWholeAnswers) {
  Redaction redaction;
  for (int i = 0; i < 10; ++i) redaction.learn(std::to_string(i));
  redaction.learn("B2");
  redaction.learn("--");
  std::set<std::string> pseudonyms;
  for (int i = 0; i < 10; ++i) {
    EXPECT_TRUE(pseudonyms.insert(answer(redaction, std::to_string(i), kSerial)).second) << i;
  }
  EXPECT_NE(answer(redaction, "B2", kSerial), "B2");
  EXPECT_EQ(answer(redaction, "B2", kOther), "B2");
  EXPECT_EQ(answer(redaction, "rev B2", kSerial), "rev B2");
  EXPECT_EQ(answer(redaction, "--", kSerial), "--");
}

TEST(Redaction, ChangesNothingInASecondPass) {
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    Redaction redaction;
    std::string all;
    for (int i = 0; i < 8; ++i) {
      std::string value;
      for (std::size_t size = 5 + random() % 12; value.size() < size;)
        value += "AB0129xyz"[random() % 9];
      redaction.learn(value);
      all += value + ' ';
    }
    const std::string once = redaction.apply(lineOf(kOther, all));
    EXPECT_EQ(redaction.apply(once), once) << all;
  }
}

/// What the lines of a recording look like when its values are learned one after the other.
std::vector<std::string> recorded(const std::vector<std::string>& values) {
  Redaction redaction;
  std::vector<std::string> lines{redaction.apply(lineOf(wordsOf(values.back())))};
  for (const std::string& value : values) {
    if (const auto earlier = redaction.learn(value)) {
      for (std::string& line : lines) {
        const std::size_t size = line.size();
        line = applyInPlace(*earlier, line);
        EXPECT_EQ(line.size(), size) << value;
      }
    }
    lines.push_back(redaction.apply(lineOf(kSerial, value)));
  }
  return lines;
}

TEST(Redaction, ReplacesWhatStoodInEarlierLines) {
  // Later values are the pseudonyms of earlier ones, and parts of them.
  const std::vector<std::string> values{"VG26041001", "VG26041002", "AA00000000", "0000",
                                        "AA00000001", "AA00000002", "VG26041001x"};
  const std::vector<std::string> lines = recorded(values);
  std::set<std::string> distinct;
  for (const std::string& line : lines) {
    EXPECT_TRUE(distinct.insert(line).second) << line;
    for (const std::string& value : values) EXPECT_EQ(line.find(value), std::string::npos) << line;
  }
  const Words words = wordsOf(values.back());
  for (const std::uint32_t word : words) {
    EXPECT_EQ(lines[0].find(std::to_string(word)) == std::string::npos, word > 0xffff) << lines[0];
  }
}

TEST(Replacements, KeepTheLengthOfALine) {
  Replacements replacements;
  replacements.add("abcd", "\n\n\n\n");
  replacements.add({"ddd\0", 4}, {"\x01\x01\x01\0", 4});
  replacements.add({"\x01\0\0\0", 4}, {"\0\x7f\0\0", 4});
  EXPECT_EQ(applyInPlace(replacements, R"({"value":"xabcd","size":1})"),
            R"({"value":""     ,"size":1})");
  EXPECT_EQ(applyInPlace(replacements, R"({"input":[1,6579300]})"), R"({"input":[0,65793  ]})");
}

TEST(Redaction, HoldsALimitedNumberOfValues) {
  Redaction redaction;
  for (std::size_t i = 0; i < Redaction::kMostValues; ++i) {
    EXPECT_FALSE(redaction.isFull()) << i;
    redaction.learn("serial" + std::to_string(i));
  }
  EXPECT_TRUE(redaction.isFull());
  redaction.learn("one too many");
  EXPECT_EQ(answer(redaction, "one too many"), "one too many");
}

}  // namespace
}  // namespace journal
