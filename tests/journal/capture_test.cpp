#include "journal/capture.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>
#include <tuple>
#include <utility>

#include "devmgr/logger.h"
#include "devmgr/manager.h"
#include "devmgr/postbox.h"
#include "devmgr/properties.h"
#include "journal/line.h"
#include "journal/process.h"
#include "journal/reader.h"

// What a callback needs, of which none is called.
void value_type::ValueType::onChange() {}
void data_info::DataInfo::onChange() {}
data_info::DataInfo::DataInfo(const DataInfo& other) = default;

namespace {

using journal::Capture;
using journal::Entry;
using journal::Line;

constexpr const char* kHeader = "{\"journal\":2,\"clock\":\"monotonic\"}\n";

std::string lineOf(const Capture& capture, int code = 0) {
  journal::Line line;
  capture.begin(line, 7, 123);
  capture.end(line, code, 45);
  return line.text();
}

journal::Call readBack(const std::string& line) {
  std::istringstream input(kHeader + line + '\n');
  return journal::readRecording(input, "file").calls.at(0);
}

/// Arguments of one entry point, as its callers hold them.
template <class Function>
class Arguments;
template <class... P>
class Arguments<int(P...)> {
 public:
  explicit Arguments(std::decay_t<P>... values) : values_(std::move(values)...) {}

  Capture capture(Entry entry) {
    return std::apply([&](auto&... value) { return Capture(entry, static_cast<P&&>(value)...); },
                      values_);
  }

 private:
  std::tuple<std::decay_t<P>...> values_;
};

/// Checks that a call is read back equal: its inputs, and its outputs in `filled`, which are other
/// objects of the same sizes.
void expectReadBack(const Capture& capture, const Capture& filled) {
  const std::string line = lineOf(capture, -3);
  SCOPED_TRACE(line.substr(0, 300));
  const journal::Call call = readBack(line);
  EXPECT_EQ(call.entry, capture.entry());
  EXPECT_EQ(std::tuple(call.number, call.at, call.code, call.took), std::tuple(7, 123, -3, 45));
  EXPECT_EQ(capture.difference(call), "");
  filled.fill(call);
  EXPECT_EQ(lineOf(filled, -3), line);
  journal::Line begun;
  capture.begin(begun, 7, 123);
  const journal::Call beginning = readBack(begun.text());
  EXPECT_EQ(beginning.code, std::nullopt);
  EXPECT_EQ(capture.difference(beginning), "");
}

/// All bytes but NUL, many times.
std::string hostileName() {
  std::string name;
  while (name.size() < std::size_t{1} << 16U) name += static_cast<char>(name.size() % 255 + 1);
  return name;
}

TEST(Capture, TheTableHasTheKindsOfTheDeclarations) {
  const auto& get = journal::entryPoint(Entry::getData);
  EXPECT_EQ(get.name, "DeviceGetData");
  EXPECT_EQ(get.count, 8U);
  EXPECT_EQ(get.all[get.find("value")].kind, journal::Kind::textOut);
  EXPECT_EQ(get.find("colour"), get.count);
  const auto& sync = journal::entryPoint(Entry::syncFpga);
  EXPECT_EQ(sync.name, "TesselSyncCmdFpga");
  EXPECT_EQ(sync.runAt(sync.find("reply")), 3U);
  EXPECT_EQ(journal::entryPoint(Entry::asyncKorswitch).name, "TesselAsyncCmdKorswitch");
  EXPECT_EQ(journal::entryOf("DeviceGetSupportedProperties"), Entry::listText);
  EXPECT_EQ(journal::entryOf("TesselCmdFpga"), Entry::rawFpga);
  EXPECT_EQ(journal::entryOf("devicegetdata"), std::nullopt);
  EXPECT_EQ(journal::entryOf(""), std::nullopt);
}

TEST(Capture, TheManagersCallsAreReadBack) {
  const std::string name = hostileName();
  for (const char* text :
       {static_cast<const char*>(nullptr), "", "a\"\\\n\x7f\xff", name.c_str()}) {
    auto logger = Arguments<decltype(GPUSetLogger)>(text).capture(Entry::setLogger);
    expectReadBack(logger, logger);
    Arguments<decltype(GPUManagerInit)> files(text, "", text);
    expectReadBack(files.capture(Entry::managerInit), files.capture(Entry::managerInit));
  }
  Arguments<decltype(GPUSetLogLevel)> level(INT32_MIN);
  expectReadBack(level.capture(Entry::setLogLevel), level.capture(Entry::setLogLevel));
  Arguments<decltype(GPUManagerRun)> run(-1, INT32_MAX);
  expectReadBack(run.capture(Entry::managerRun), run.capture(Entry::managerRun));
  expectReadBack(Capture(Entry::managerStop), Capture(Entry::managerStop));
}

TEST(Capture, TextsOfEveryLengthAreReadBack) {
  std::array<char, 300> given{};
  for (const char* property : {static_cast<const char*>(nullptr), "", "gpu.a\x80"}) {
    for (const int length : {0, 1, 255, 299, 300}) {
      SCOPED_TRACE(length);
      given.fill('\0');
      for (int i = 0; i < length; ++i) {
        given[static_cast<std::size_t>(i)] = static_cast<char>(i % 255 + 1);
      }
      std::array<char, 300> filled;
      filled.fill('?');
      const auto get = [&](char* buffer, int size) {
        return Arguments<decltype(DeviceGetData)>(-1, property, -2, 3, buffer, size, INT32_MAX, 5)
            .capture(Entry::getData);
      };
      expectReadBack(get(given.data(), 300), get(filled.data(), 300));
      const std::string text(given.data(), strnlen(given.data(), 300));
      EXPECT_EQ(std::string(filled.data(), strnlen(filled.data(), 300)), text);
      EXPECT_EQ(get(given.data(), 300).text("value"), text);
      expectReadBack(get(nullptr, 300), get(nullptr, 300));
      expectReadBack(get(given.data(), 0), get(filled.data(), 0));
      expectReadBack(get(given.data(), -5), get(filled.data(), -5));
    }
  }
}

TEST(Capture, ATextWithoutANulSaysSo) {
  std::array<char, 2> buffer{'a', 'b'};
  Arguments<int(char*, int)> all(buffer.data(), 2);
  EXPECT_EQ(lineOf(all.capture(Entry::listAllText)),
            R"({"n":7,"at":123,"call":"DeviceGetAllSupportedProperties","args":{"size":2,)"
            R"("text":"ab","unterminated":1},"code":0,"took":45})");
  EXPECT_TRUE(readBack(lineOf(all.capture(Entry::listAllText))).unterminated);
}

TEST(Capture, AFilledTextStaysInItsBuffer) {
  std::array<char, 8> given{"abcdefg"};
  Arguments<int(char*, int)> wide(given.data(), 8);
  const journal::Call call = readBack(lineOf(wide.capture(Entry::listAllText)));
  std::array<char, 8> buffer;
  for (const int size : {0, 1, 7, 8}) {
    SCOPED_TRACE(size);
    buffer.fill('?');
    Arguments<int(char*, int)>(buffer.data(), size).capture(Entry::listAllText).fill(call);
    const auto room = static_cast<std::size_t>(size);
    EXPECT_EQ(std::string(buffer.data(), 8),
              std::string(given.data(), room) + std::string(8 - room, '?'));
  }
}

TEST(Capture, ListingsAndFlagsAreReadBack) {
  std::vector<std::string> names{"", hostileName(), "\"\xff"};
  std::vector<std::string> details;
  std::vector<std::string> otherNames{"x"};
  std::vector<std::string> otherDetails{"y"};
  expectReadBack(Capture(Entry::listNames, -1, names, details),
                 Capture(Entry::listNames, -1, otherNames, otherDetails));
  EXPECT_EQ(otherNames, names);
  EXPECT_EQ(otherDetails, details);
  std::array<char, 4> text{"abc"};
  std::array<char, 4> otherText{};
  expectReadBack(Arguments<int(int, char*, int)>(22, text.data(), 4).capture(Entry::listText),
                 Arguments<int(int, char*, int)>(22, otherText.data(), 4).capture(Entry::listText));
  for (const bool running : {false, true}) {
    SCOPED_TRACE(running);
    bool given = running;
    bool filled = !running;
    expectReadBack(Arguments<int(bool*)>(&given).capture(Entry::snapshotStatus),
                   Arguments<int(bool*)>(&filled).capture(Entry::snapshotStatus));
    EXPECT_EQ(filled, running);
  }
  expectReadBack(Arguments<int(bool*)>(nullptr).capture(Entry::snapshotStatus),
                 Arguments<int(bool*)>(nullptr).capture(Entry::snapshotStatus));
}

TEST(Capture, WritesAndRegistrationsAreReadBack) {
  const int number = -2;
  const char* const property = "gpu.\"";
  for (const auto& [value, size] : {std::pair<const void*, int>(&number, 4),
                                    {&number, 2},
                                    {&number, 0},
                                    {&number, -1},
                                    {nullptr, 4},
                                    {nullptr, 0}}) {
    SCOPED_TRACE(size);
    Arguments<decltype(DeviceSetData)> set(0, property, value, size, 0);
    expectReadBack(set.capture(Entry::setData), set.capture(Entry::setData));
  }
  Arguments<decltype(DeviceSetData)> set(0, property, &number, 4, 0);
  EXPECT_NE(lineOf(set.capture(Entry::setData)).find("\"value\":-2,"), std::string::npos);
  Arguments<decltype(DeviceClearData)> clear(0, nullptr, 0);
  expectReadBack(clear.capture(Entry::clearData), clear.capture(Entry::clearData));
  for (const UpdateCallback& callback : {UpdateCallback(), UpdateCallback([](auto...) {})}) {
    const std::string api("a\0b", 3);
    const Capture capture(Entry::setCallback, 1, api, callback, -1, std::as_const(api), api, -1);
    expectReadBack(capture, capture);
    EXPECT_EQ(capture.text("api"), api) << "with its NUL";
  }
}

TEST(Capture, PostboxWordsAreReadBack) {
  std::vector<unsigned int> many(100'000, UINT32_MAX);
  std::vector<unsigned int> few(1'000, UINT32_MAX);
  std::vector<unsigned int> output{0, UINT32_MAX};
  std::vector<unsigned int> filled;
  const unsigned char byte = 255;
  const unsigned int word = UINT32_MAX;
  for (const Entry entry : {Entry::rawGpu, Entry::rawKorswitch, Entry::rawFpga}) {
    SCOPED_TRACE(journal::entryPoint(entry).name);
    const std::vector<unsigned int>& input = entry == Entry::rawGpu ? many : few;
    expectReadBack(Capture(entry, -1, byte, byte, byte, input, output, true),
                   Capture(entry, -1, byte, byte, byte, input, filled, true));
    EXPECT_EQ(filled, output);
  }
  std::array<unsigned int, 3> reply{1, 2, UINT32_MAX};
  std::array<unsigned int, 3> other{};
  const auto sync = [&](Entry entry, std::array<unsigned int, 3>& words, bool missing) {
    unsigned int* second = missing ? nullptr : &words[1];
    return Capture(entry, 0, byte, byte, byte, word, word, &words[0], second, &words[2], false);
  };
  for (const Entry entry : {Entry::syncGpu, Entry::syncKorswitch, Entry::syncFpga}) {
    SCOPED_TRACE(journal::entryPoint(entry).name);
    expectReadBack(sync(entry, reply, false), sync(entry, other, false));
    EXPECT_EQ(other, reply);
    expectReadBack(sync(entry, reply, true), sync(entry, other, true));
  }
  const std::vector<unsigned int> none;
  for (const Entry entry : {Entry::asyncGpu, Entry::asyncKorswitch}) {
    SCOPED_TRACE(journal::entryPoint(entry).name);
    std::vector<unsigned int>& words = entry == Entry::asyncGpu ? many : few;
    expectReadBack(Capture(entry, 0, byte, none, &reply[0], &reply[1], words, word, false),
                   Capture(entry, 0, byte, none, &other[0], &other[1], filled, word, false));
    EXPECT_EQ(filled, words);
  }
}

TEST(Capture, TheFirstInputThatDiffersIsNamed) {
  std::array<char, 4> buffer{};
  const auto get = [&](int device, const char* property, int mode, int size) {
    return Arguments<decltype(DeviceGetData)>(device, property, 0, 0, buffer.data(), size, mode, 0)
        .capture(Entry::getData);
  };
  const journal::Call call = readBack(lineOf(get(1, "a", 0, 4)));
  EXPECT_EQ(get(1, "a", 0, 4).difference(call), "");
  EXPECT_EQ(get(2, "b", 0, 4).difference(call), "device");
  EXPECT_EQ(get(1, "b", 1, 4).difference(call), "property");
  EXPECT_EQ(get(1, nullptr, 1, 4).difference(call), "property");
  EXPECT_EQ(get(1, "a", 1, 4).difference(call), "mode");
  EXPECT_EQ(get(1, "a", 1, 3).difference(call), "size");
  buffer[0] = 'x';
  EXPECT_EQ(get(1, "a", 0, 4).difference(call), "") << "outputs are no inputs";
}

TEST(Process, IsToldByItsArgumentsAndBuildIds) {
  const std::vector<std::string> arguments = journal::processArguments();
  ASSERT_FALSE(arguments.empty());
  EXPECT_NE(arguments[0].find("journal_tests"), std::string::npos);
  const std::string program = journal::buildIdOf(nullptr);
  EXPECT_EQ(program.find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_GE(program.size(), 16U);
  static const char here = 0;
  EXPECT_EQ(journal::buildIdOf(&here), program);
  EXPECT_NE(journal::buildIdOf(reinterpret_cast<const void*>(&std::fopen)), "");
  EXPECT_EQ(journal::buildIdOf(&arguments), "") << "nothing is loaded on the stack";
}

TEST(Line, GrowsWithWhatIsAdded) {
  for (std::size_t size = 470; size < 530; ++size) {
    SCOPED_TRACE(size);
    const std::string plain(size, 'x');
    std::string escaped;
    for (std::size_t i = 0; i < size; ++i) escaped += "\\u0001";
    EXPECT_EQ(Line().add("a", plain).open("b").add("c", 1).close().text(),
              R"({"a":")" + plain + R"(","b":{"c":1}})");
    EXPECT_EQ(Line().add("a", std::string(size, '\x01')).text(), R"({"a":")" + escaped + R"("})");
    EXPECT_EQ(Line().addRaw("a", '"' + plain + '"').text(), R"({"a":")" + plain + R"("})");
    const std::vector<std::string> two{plain, plain};
    Line line;
    line.add(plain, std::span(two));
    const std::string text = '{' + ('"' + plain + R"(":[")") + plain + R"(",")" + plain + R"("]})";
    EXPECT_EQ(line.text(), text);
    EXPECT_EQ(line.whole(), text + '\n');
    EXPECT_EQ(line.size(), text.size() - 1);
  }
}

}  // namespace
