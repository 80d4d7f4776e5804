#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "cli/handlers.h"
#include "devmgr/value_type.h"
#include "logging/log.h"
#include "tools/boardctl/device_type.h"
#include "tools/boardctl/manager.h"
#include "tools/boardctl/numeric_arg.h"
#include "tools/boardctl/output.h"
#include "tools/boardctl/postboxes.h"

namespace boardctl {
namespace {

using Words = std::vector<unsigned int>;

struct RawRequest {
  std::string device;
  int deviceId = 0;
  std::vector<int> numbers;  ///< the numeric words between the device id and the data bytes
  Words data;
};

/// The reply's words in the groups in which the library returned them.
using Reply = std::vector<Words>;

/// What differs between the raw commands.
struct RawCommand {
  const char* name;
  std::string_view usage;
  std::size_t wordsNeeded;
  std::size_t numbers;
  bool (*isOffered)(const Postbox&);
  void (*printHeader)(const RawRequest&);
  std::int32_t (*send)(const Postbox&, const RawRequest&, Reply&);
  std::string_view failureText;
  bool printsReplyAfterFailure;
};

unsigned char lowByte(int value) { return static_cast<unsigned char>(value & 0xFF); }

void printRegisterHeader(const RawRequest& request) {
  printFormat(
      "%s devId : %d, opcode : 0x%x arg1 : 0x%x arg2 : 0x%x dataRegister : 0x%08x "
      "extendedDataRegister : 0x%08x\n",
      request.device.c_str(), request.deviceId, static_cast<unsigned>(request.numbers[0]),
      static_cast<unsigned>(request.numbers[1]), static_cast<unsigned>(request.numbers[2]),
      request.data[0], request.data[1]);
}

void printAsyncHeader(const RawRequest& request) {
  printFormat("%s devId : %d, opcode : 0x%x arg1 : 0x%x arg2 : 0x%x : dataOutSize : %d ",
              request.device.c_str(), request.deviceId, static_cast<unsigned>(request.numbers[1]),
              static_cast<unsigned>(request.numbers[2]), static_cast<unsigned>(request.numbers[3]),
              request.numbers[0]);
  std::uint8_t index = 0;
  for (const unsigned int word : request.data) printFormat("dataIn%d : 0x%08x ", index++, word);
  print("\n");
}

constexpr RawCommand kRaw = {
    .name = "rawData",
    .usage = "raw <gpu/korswitch/baseboard> <devId> <opcode> <arg1> <arg2> <data...>",
    .wordsNeeded = 13,
    .numbers = 3,
    .isOffered = [](const Postbox& postbox) { return postbox.list != nullptr; },
    .printHeader = printRegisterHeader,
    .send =
        [](const Postbox& postbox, const RawRequest& request, Reply& reply) {
          reply.resize(1);
          return postbox.list(request.deviceId, lowByte(request.numbers[0]),
                              lowByte(request.numbers[1]), lowByte(request.numbers[2]),
                              request.data, reply[0], false);
        },
    .failureText = "Raw cmd failed, rc = 0x",
    .printsReplyAfterFailure = true,
};

constexpr RawCommand kRawSync = {
    .name = "rawSyncCmdData",
    .usage = "rawSyncCmdData <gpu/korswitch/baseboard> <devId> <opcode> <arg1> <arg2> <data...>",
    .wordsNeeded = 13,
    .numbers = 3,
    .isOffered = [](const Postbox& postbox) { return postbox.sync != nullptr; },
    .printHeader = printRegisterHeader,
    .send =
        [](const Postbox& postbox, const RawRequest& request, Reply& reply) {
          reply.assign(3, Words(1));
          return postbox.sync(request.deviceId, lowByte(request.numbers[0]),
                              lowByte(request.numbers[1]), lowByte(request.numbers[2]),
                              request.data[0], request.data[1], reply[0].data(), reply[1].data(),
                              reply[2].data(), false);
        },
    .failureText = "Raw Syncmd failed, rc = 0x",
    .printsReplyAfterFailure = false,
};

constexpr RawCommand kRawAsync = {
    .name = "rawAsyncCmdData",
    .usage = "rawAsyncCmdData <gpu/korswitch> <devId> <opcode> <arg1> <arg2> <data...>",
    .wordsNeeded = 6,
    .numbers = 4,
    .isOffered = [](const Postbox& postbox) { return postbox.async != nullptr; },
    .printHeader = printAsyncHeader,
    // Only the third number reaches the library's request byte; the first is the reply's size.
    .send =
        [](const Postbox& postbox, const RawRequest& request, Reply& reply) {
          reply.assign(2, Words(1));
          reply.emplace_back();
          return postbox.async(request.deviceId, lowByte(request.numbers[2]), request.data,
                               reply[0].data(), reply[1].data(), reply[2],
                               static_cast<unsigned>(request.numbers[0]), false);
        },
    .failureText = "Raw Asynccmd failed, rc = 0x",
    .printsReplyAfterFailure = false,
};

const Postbox* findPostbox(const RawCommand& command, const std::string& device) {
  const auto type = static_cast<DeviceType>(getDeviceType(device));
  for (const Postbox& postbox : kPostboxes) {
    if (postbox.type == type) return command.isOffered(postbox) ? &postbox : nullptr;
  }
  return nullptr;
}

/// Packs bytes into words, first byte lowest; the last word's missing bytes are 0.
Words packBytes(const std::vector<std::uint8_t>& bytes) {
  Words words((bytes.size() + 3) / 4);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    words[i / 4] |= static_cast<unsigned int>(bytes[i]) << (8 * (i % 4));
  }
  return words;
}

RawRequest parseRequest(const RawCommand& command, const std::vector<std::string>& words) {
  RawRequest request;
  request.device = words[0];
  request.deviceId = parseNumericArg(words[1]);
  const std::size_t firstByte = 2 + command.numbers;
  for (std::size_t i = 2; i < firstByte; ++i) request.numbers.push_back(parseNumericArg(words[i]));
  std::vector<std::uint8_t> bytes;
  value_type::ValueType holder;
  for (std::size_t i = firstByte; i < words.size(); ++i) {
    bytes.push_back(lowByte(parseNumericArg(words[i])));
    holder.onChange();  // for its log line only
  }
  request.data = packBytes(bytes);
  return request;
}

void printReply(const Reply& reply) {
  constexpr char kDigits[] = "0123456789abcdef";
  value_type::ValueType holder;
  std::string text;
  for (const Words& group : reply) {
    for (const unsigned int word : group) {
      for (unsigned int shift = 0; shift < 32; shift += 8) {
        const unsigned int byte = (word >> shift) & 0xFF;
        text += {kDigits[byte >> 4], kDigits[byte & 0xF], ' '};
      }
    }
    holder.onChange();  // for its log line only
  }
  text += '\n';
  print(text);
}

std::int32_t sendRaw(const RawCommand& command, const std::vector<std::string>& words) {
  BOARDCTL_LOG(kLogDebug, "[%s:%d][%s]: Entry().\n", __FILE__, __LINE__, command.name);
  if (words.size() < command.wordsNeeded) {
    printMissingWords(command.usage);
    return -1;
  }
  const Postbox* const postbox = findPostbox(command, words[0]);
  if (postbox == nullptr) {
    print(
        {"Unknown device [", words[0].c_str(), "] - supported devices - [gpu, korswitch, fpga]\n"});
    return -1;
  }
  const RawRequest request = parseRequest(command, words);

  const ManagerSession manager;
  if (const std::int32_t result = manager.start(kStartForRaw); result != 0) return result;

  command.printHeader(request);
  Reply reply;
  const std::int32_t result = command.send(*postbox, request, reply);
  if (result != 0) printHexCode(command.failureText, result);
  if (result == 0 || command.printsReplyAfterFailure) printReply(reply);
  manager.stop();
  return result;
}

}  // namespace

std::int32_t rawData(std::vector<std::string> words) { return sendRaw(kRaw, words); }

std::int32_t rawSyncCmdData(std::vector<std::string> words) { return sendRaw(kRawSync, words); }

std::int32_t rawAsyncCmdData(std::vector<std::string> words) { return sendRaw(kRawAsync, words); }

}  // namespace boardctl
