#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include "fuzz/reference.h"

namespace reference {
namespace {

Number convert(const std::string& word, unsigned base) {
  std::size_t i = 0;
  const auto at = [&word](std::size_t place) { return place < word.size() ? word[place] : '\0'; };
  while (at(i) == ' ' || (at(i) >= '\t' && at(i) <= '\r')) ++i;
  bool negative = false;
  if (at(i) == '+' || at(i) == '-') negative = at(i++) == '-';
  const auto digit = [&](std::size_t place) -> unsigned {
    const char character = at(place);
    if (character >= '0' && character <= '9') return static_cast<unsigned>(character - '0');
    if (character >= 'a' && character <= 'f') return static_cast<unsigned>(character - 'a' + 10);
    if (character >= 'A' && character <= 'F') return static_cast<unsigned>(character - 'A' + 10);
    return 99;
  };
  const bool prefixed = base == 16 && at(i) == '0' && (at(i + 1) == 'x' || at(i + 1) == 'X');
  if (prefixed && digit(i + 2) < base) i += 2;
  if (digit(i) >= base) return {0, Number::Error::notANumber};
  std::int64_t value = 0;
  for (; digit(i) < base; ++i) {
    value = std::min<std::int64_t>(value * base + digit(i), std::int64_t{1} << 40);
  }
  if (negative) value = -value;
  if (value > INT32_MAX || value < INT32_MIN) return {0, Number::Error::outOfRange};
  return {static_cast<int>(value), Number::Error::none};
}

std::string hexadecimal(unsigned value, std::size_t digits) {
  std::string text;
  do {
    text.insert(0, 1, "0123456789abcdef"[value % 16]);
    value /= 16;
  } while (value != 0);
  while (text.size() < digits) text.insert(0, "0");
  return text;
}

std::string failure(const std::string& prefix, int code) {
  return code == 0 ? "" : prefix + hexadecimal(static_cast<unsigned>(code), 1) + "\n";
}

std::string cText(const std::string& text) { return text.substr(0, text.find('\0')); }

std::string inQuotes(const std::string& text) { return '"' + cText(text) + '"'; }

std::string listed(const std::vector<unsigned>& words) {
  std::string text;
  for (const unsigned word : words) text += (text.empty() ? "" : " ") + std::to_string(word);
  return "{" + text + "}";
}

std::string asBytes(const std::vector<unsigned>& words) {
  std::string text;
  for (const unsigned word : words) {
    for (const unsigned part : {word % 256, word / 256 % 256, word / 65536 % 256, word >> 24}) {
      text += hexadecimal(part, 2) + " ";
    }
  }
  return text;
}

Effect missing(const std::string& usage) { return {"Missing params!\n" + usage + "\n", {}, false}; }

constexpr const char* kKinds =
    "gpu korswitch fpga hsc pcieretimer pcieswitch pciegen4sw pcbTemp inletTemp outputhsc "
    "standbyhsc baseboard altPressureSensor korlinkBridgeConn sysvr5v sysvr3v3 sysvr1v8 sysvr0v9 "
    "llc_ab_mps llc_cd_mps hmc hostBmc | moduleTemp cpu";

int kindOf(const std::string& word) {
  static const Words kinds = split(kKinds);
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    if (kinds[i] == word && word != "|") return static_cast<int>(i);
  }
  return -1;
}

Effect read(const Words& words, const Answers& answers) {
  if (words.size() < 4) {
    return missing(
        "get <deviceType> <deviceId> <propName> [accMode=0]\n deviceType: gpu, korswitch, fpga, "
        "hsc, pcieretimer, pcieswitch, pciegen4sw, pcbTemp, inletTemp, outputhsc, standbyhsc, "
        "baseboard, altPressureSensor, korlinkBridgeConn, sysvr5v, sysvr3v3, sysvr1v8, sysvr0v9, "
        "llc_ab_mps, llc_cd_mps, moduleTemp, cpu");
  }
  const Number id = decimal(words[2]);
  const Number mode = words.size() > 4 ? decimal(words[4]) : Number();
  Effect effect;
  effect.raised = id.error != Number::Error::none || mode.error != Number::Error::none;
  if (effect.raised) return effect;
  Words names = {words[3]};
  if (words[3] == "all") {
    effect.calls.push_back("DeviceGetSupportedProperties(" + std::to_string(kindOf(words[1])) +
                           ", 0)");
    names = answers.names;
    if (answers.supported != 0) {
      effect.printed =
          "Get Properties list failed, rc = " + std::to_string(answers.supported) + ".\n";
      return effect;
    }
  }
  for (const std::string& name : names) {
    effect.printed += "Device[" + words[1] + std::to_string(id.value) + "](" + name + ") ";
    effect.printed += answers.read == 0 ? cText(answers.value) + "\n"
                                        : failure("Get Failed, rc = 0x", answers.read);
    effect.calls.push_back("DeviceGetData(" + std::to_string(id.value) + ", " + inQuotes(name) +
                           ", 0, 0, true, 10240, " + std::to_string(mode.value) + ", 0)");
  }
  return effect;
}

Effect change(const Words& words, const Answers& answers) {
  const bool sets = words[0] == "set";
  if (words.size() < (sets ? 4U : 3U)) {
    return missing(sets ? "set <devId> <propName> <propValue>" : "clear <devId> <propName>");
  }
  const Number id = decimal(words[1]);
  const Number value = sets ? decimal(words[3]) : Number();
  if (id.error != Number::Error::none || value.error != Number::Error::none) return {"", {}, true};
  const std::string name = words[2];
  const std::string request = std::to_string(id.value) + ", " + inQuotes(name) + ", ";
  Effect effect;
  effect.calls.push_back("DeviceGetSupportedProperties(" +
                         std::to_string(kindOf(name.substr(0, name.find('.')))) + ", 0)");
  if (answers.supported != 0) {
    effect.printed =
        "Get Properties list failed, rc = " + std::to_string(answers.supported) + ".\n";
  } else if (std::count(answers.names.begin(), answers.names.end(), name) == 0) {
    effect.printed = "Property (" + name + ") is not supported!\n";
  } else if (sets) {
    effect.calls.push_back("DeviceSetData(" + request + std::to_string(value.value) + ", 4, 0)");
    effect.printed = answers.set == 0 ? "Set done.\n" : failure("Set failed, rc = 0x", answers.set);
  } else {
    effect.calls.push_back("DeviceClearData(" + request + "0)");
    effect.printed =
        answers.clear == 0 ? "Clear done.\n" : failure("Clear failed, rc = 0x", answers.clear);
  }
  return effect;
}

Effect list(const Words& words, const Answers& answers) {
  if (words.size() < 2) {
    return missing(
        "list <DeviceType> gpu, baseboard, korswitch, fpga, hsc, pcieretimer, pcieswitch, "
        "pciegen4sw, pcbTemp, inletTemp, outputhsc, standbyhsc, altPressureSensor, sysvr5v, "
        "sysvr3v3, sysvr1v8, sysvr0v9, llc_ab_mps, llc_cd_mps, korlinkBridgeConn, hmc, moduleTemp, "
        "cpu, all");
  }
  Effect effect;
  effect.calls.push_back(words[1] == "all"
                             ? "DeviceGetAllSupportedProperties(true, 20480)"
                             : "DeviceGetSupportedProperties(" + std::to_string(kindOf(words[1])) +
                                   ", true, 20480)");
  const std::string rule = std::string(61, '-') + "\n";
  effect.printed = answers.list != 0
                       ? "Get property list failed, rc = " + std::to_string(answers.list) + "\n"
                       : "Device Property List: \n" + rule + cText(answers.listing) + "\n" + rule;
  return effect;
}

bool isApiName(const std::string& word) {
  static const std::set<std::string> names = [] {
    std::set<std::string> read;
    std::ifstream file(FUZZ_API_PROPERTIES);
    // A property, then the names under which it is known.
    for (std::string line; std::getline(file, line);) {
      std::istringstream words(line);
      std::string property;
      words >> property;
      for (std::string name; words >> name;) read.insert(name);
    }
    if (read.empty()) std::abort();
    return read;
  }();
  return names.contains(word);
}

Effect callback(const Words& words, const Answers& answers) {
  if (words.size() < 3) return missing(" <devId> <apiName>");
  const Number id = decimal(words[1]);
  if (id.error != Number::Error::none) return {"", {}, true};
  if (!isApiName(words[2])) {
    return {"API Name not found.\n", {}, false};
  }
  Effect effect;
  effect.calls.push_back("DeviceSetCallbackUpdateData(" + std::to_string(id.value) + ", \"" +
                         words[2] + "\", -1, \"\", \"\", -1)");
  effect.printed = answers.registration == 0
                       ? "Callback API Registered.\n"
                       : failure("Register Callback API failed, rc = 0x", answers.registration);
  return effect;
}

Effect raw(const Words& words, const Answers& answers) {
  const bool sync = words[0] == "rawSyncCmd";
  const bool async = words[0] == "rawAsyncCmd";
  if (words.size() - 1 < (async ? 6U : 13U)) {
    return missing((async  ? "rawAsyncCmdData <gpu/korswitch> "
                    : sync ? "rawSyncCmdData <gpu/korswitch/baseboard> "
                           : "raw <gpu/korswitch/baseboard> ") +
                   std::string("<devId> <opcode> <arg1> <arg2> <data...>"));
  }
  const int kind = kindOf(words[1]);
  if (kind < 0 || kind > (async ? 1 : 2)) {
    // Printed as a C text.
    return {std::string("Unknown device [") + words[1].c_str() +
                "] - supported devices - [gpu, korswitch, fpga]\n",
            {},
            false};
  }
  std::vector<int> numbers;
  for (std::size_t i = 2; i < words.size(); ++i) {
    const Number number = numeric(words[i]);
    if (number.error != Number::Error::none) return {"", {}, true};
    numbers.push_back(number.value);
  }
  const std::size_t fixed = async ? 5 : 4;
  std::vector<unsigned> data;
  for (std::size_t i = fixed; i < numbers.size(); i += 4) {
    unsigned word = 0;
    unsigned weight = 1;
    for (std::size_t j = i; j < std::min(i + 4, numbers.size()); ++j, weight *= 256) {
      word += (static_cast<unsigned>(numbers[j]) % 256) * weight;
    }
    data.push_back(word);
  }
  const auto whole = [&](std::size_t i) {
    return "0x" + hexadecimal(static_cast<unsigned>(numbers[i]), 1);
  };
  const auto low = [&](std::size_t i) {
    return std::to_string(static_cast<unsigned>(numbers[i]) % 256);
  };
  const std::string id = std::to_string(numbers[0]);
  const std::size_t first = async ? 2 : 1;
  Effect effect;
  effect.printed = words[1] + " devId : " + id + ", opcode : " + whole(first) +
                   " arg1 : " + whole(first + 1) + " arg2 : " + whole(first + 2);
  if (async) {
    effect.printed += " : dataOutSize : " + std::to_string(numbers[1]) + " ";
    for (std::size_t i = 0; i < data.size(); ++i) {
      effect.printed +=
          "dataIn" + std::to_string(i % 256) + " : 0x" + hexadecimal(data[i], 8) + " ";
    }
  } else {
    effect.printed += " dataRegister : 0x" + hexadecimal(data[0], 8) +
                      " extendedDataRegister : 0x" + hexadecimal(data[1], 8);
  }
  effect.printed += "\n";
  const std::string bytes = low(first) + ", " + low(first + 1) + ", " + low(first + 2) + ", ";
  const std::string word = asBytes({answers.word});
  if (async) {
    effect.calls.push_back((kind == 0 ? "TesselAsyncCmdGpu(" : "TesselAsyncCmdKorswitch(") + id +
                           ", " + low(3) + ", " + listed(data) + ", 0, 0, {}, " +
                           std::to_string(static_cast<unsigned>(numbers[1])) + ", false)");
    effect.printed += failure("Raw Asynccmd failed, rc = 0x", answers.postbox);
    if (answers.postbox == 0) effect.printed += word + word + asBytes(answers.output) + "\n";
  } else if (sync) {
    const std::string names[] = {"TesselSyncCmdGpu(", "TesselSyncCmdKorswitch(",
                                 "TesselSyncCmdFpga("};
    effect.calls.push_back(names[kind] + id + ", " + bytes + std::to_string(data[0]) + ", " +
                           std::to_string(data[1]) + ", 0, 0, 0, false)");
    effect.printed += failure("Raw Syncmd failed, rc = 0x", answers.postbox);
    if (answers.postbox == 0) effect.printed += word + word + word + "\n";
  } else {
    const std::string names[] = {"TesselCmd(", "TesselCmdKorswitch(", "TesselCmdFpga("};
    effect.calls.push_back(names[kind] + id + ", " + bytes + listed(data) + ", {}, false)");
    effect.printed +=
        failure("Raw cmd failed, rc = 0x", answers.postbox) + asBytes(answers.output) + "\n";
  }
  return effect;
}

Effect snapshot(const Words& words, const Answers& answers) {
  if (words.size() < 2) return missing("possible params: refresh_status");
  if (words[1] != "refresh_status") return {};
  return {std::string("Snapshot Refresh Status: ") + (answers.refreshing ? "1\n" : "0\n"),
          {"SnapShotRefreshStatus(false)"},
          false};
}

}  // namespace

Number decimal(const std::string& word) { return convert(word, 10); }

Number numeric(const std::string& word) {
  const std::string start = word.substr(0, 2);
  return convert(word, start == "0x" || start == "0X" ? 16 : 10);
}

Words split(const std::string& line) {
  Words words;
  std::string word;
  for (const char character : line + " ") {
    if (character != ' ') {
      word += character;
    } else if (!word.empty()) {
      words.push_back(word);
      word.clear();
    }
  }
  return words;
}

Effect command(const Words& words, const Answers& answers) {
  if (words.empty()) return {};
  if (words[0] == "get") return read(words, answers);
  if (words[0] == "set" || words[0] == "clear") return change(words, answers);
  if (words[0] == "list") return list(words, answers);
  if (words[0] == "set_callback") return callback(words, answers);
  if (words[0] == "snapshot") return snapshot(words, answers);
  if (words[0] == "raw" || words[0] == "rawSyncCmd" || words[0] == "rawAsyncCmd") {
    return raw(words, answers);
  }
  return {};
}

Effect session(const std::string& input, const Answers& answers) {
  Effect effect;
  effect.calls = {"GPUManagerInit(\"\", \"\", \"\")"};
  if (answers.init != 0) {
    effect.printed = "GPU Manager Init failed!!\n";
    return effect;
  }
  effect.calls.push_back("GPUManagerRun(0, 0)");
  std::size_t place = 0;
  while (true) {
    effect.printed += "> ";
    std::string line;
    for (; place < input.size() && input[place] != '\n'; ++place) line += input[place];
    ++place;
    if (line == "quit" || line == "exit") break;
    if (line == "help") {
      for (const char* word : {"help", "get", "set", "clear", "raw", "rawSyncCmd", "rawAsyncCmd",
                               "set_callback", "quit"}) {
        effect.printed += std::string(word) + "\n";
      }
      continue;
    }
    const Effect one = command(split(line), answers);
    effect.printed += one.printed;
    effect.calls.insert(effect.calls.end(), one.calls.begin(), one.calls.end());
    if (one.raised) {
      effect.raised = true;
      return effect;
    }
  }
  effect.calls.push_back("GPUManagerStop()");
  return effect;
}

}  // namespace reference
