#include "tools/boardctl-export/settings.h"

#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "tools/boardctl-export/option_table.h"
#include "tools/boardctl-export/text.h"
#include "tools/boardctl-export/usage_error.h"

namespace exporter {
namespace {

constexpr int kHighestDevice = 255;
constexpr int kLongOnly = 256;  ///< what `getopt_long` returns for the first option; no letter's

[[noreturn]] void reject(std::string_view option, const std::string& what) {
  throw UsageError("--" + std::string(option) + ": " + what);
}

std::string quoted(std::string_view text) { return "'" + toPrintable(text) + "'"; }

std::vector<std::string_view> split(std::string_view text) {
  std::vector<std::string_view> items;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find(',', begin), text.size());
    items.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return items;
}

std::optional<int> deviceNumber(std::string_view text) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  const bool valid = error == std::errc() && rest == end && text.front() != '-';
  return valid && number <= kHighestDevice ? std::optional(number) : std::nullopt;
}

/// "KIND:FIRST-LAST" or "KIND:NUMBER".
void addDevices(std::string_view item, std::vector<DeviceId>& devices) {
  const auto rejectItem = [&](const std::string& what) { reject("devices", quoted(item) + what); };
  const std::size_t colon = std::min(item.find(':'), item.size());
  const auto kind = std::ranges::find(kDeviceKinds, item.substr(0, colon), &DeviceKind::word);
  if (kind == kDeviceKinds.end()) rejectItem(" does not begin with a device type");
  const std::string_view range = item.substr(std::min(colon + 1, item.size()));
  const std::size_t hyphen = std::min(range.find('-'), range.size());
  const auto first = deviceNumber(range.substr(0, hyphen));
  const auto last = hyphen < range.size() ? deviceNumber(range.substr(hyphen + 1)) : first;
  if (!first || !last) rejectItem(" has no number or range from 0 to 255 after the ':'");
  if (*first > *last) rejectItem(" runs backwards");
  for (int number = *first; number <= *last; ++number) {
    const auto same = [&](const DeviceId& id) { return id.kind == &*kind && id.number == number; };
    if (std::ranges::any_of(devices, same)) {
      rejectItem(" contains " + std::string(kind->word) + " " + std::to_string(number) + " again");
    }
    devices.push_back({&*kind, number});
  }
}

std::chrono::milliseconds parseSeconds(std::string_view option, const char* word) {
  constexpr double kLongest = 86'400;
  const double value = isNumber(word) ? std::strtod(word, nullptr) : 0;
  if (value < 0.001 || value > kLongest)
    reject(option, "not 0.001 to 86400 seconds: " + quoted(word));
  return std::chrono::milliseconds(std::lround(value * 1000));
}

/// The place of the word among those of the option's hint.
int choice(const OptionRow& row, std::string_view word) {
  std::string_view hint = row.hint;
  for (int place = 0; !hint.empty(); ++place) {
    const std::size_t end = std::min(hint.find('|'), hint.size());
    if (hint.substr(0, end) == word) return place;
    hint.remove_prefix(std::min(end + 1, hint.size()));
  }
  reject(row.name, "not one of " + std::string(row.hint) + ": " + quoted(word));
}

Label label(std::string_view option, std::string_view word, const std::vector<Label>& before) {
  const std::size_t sign = std::min(word.find('='), word.size());
  const std::string name(word.substr(0, sign));
  const auto taken = [&](std::string_view other) { return other == name; };
  if (sign == word.size()) reject(option, "no '=' in " + quoted(word));
  if (!isLabelName(name)) reject(option, "no name for a label: " + quoted(name));
  if (std::ranges::any_of(std::array{"kind", "device", "property", "code"}, taken) ||
      std::ranges::any_of(before, taken, &Label::name)) {
    reject(option, quoted(name) + " is there already");
  }
  const std::string value(word.substr(sign + 1));
  if (toUtf8(value) != value) reject(option, "the value is not UTF-8: " + quoted(value));
  return {name, value};
}

std::string readable(std::string_view option, const char* file) {
  if (access(file, R_OK) != 0) reject(option, quoted(file) + ": " + std::strerror(errno));
  return file;
}

void apply(const OptionRow& row, const char* word, Settings& settings) {
  const std::string_view name = row.name;
  const auto is = [&](std::string_view option) { return name == option; };
  if (*row.hint != '\0' && *word == '\0') reject(name, "the value is empty");
  if (is("manifest")) settings.manifest = readable(name, word);
  if (is("profile")) settings.profile = readable(name, word);
  if (is("properties-file")) settings.propertiesFile = readable(name, word);
  if (is("devices")) {
    for (const std::string_view item : split(word)) addDevices(item, settings.devices);
  }
  if (is("properties")) {
    for (const std::string_view pattern : split(word)) {
      if (pattern.empty()) reject(name, "an empty pattern in " + quoted(word));
      settings.patterns.emplace_back(pattern);
    }
  }
  if (is("mode")) settings.mode = choice(row, word);
  if (is("format")) settings.format = static_cast<Format>(choice(row, word));
  if (is("output")) settings.output = word;
  if (is("every")) settings.every = parseSeconds(name, word);
  if (is("read-timeout")) settings.readTimeout = parseSeconds(name, word);
  if (is("timeout")) settings.timeout = parseSeconds(name, word);
  if (is("label")) settings.labels.push_back(label(name, word, settings.labels));
  if (is("names")) settings.names = Names::fromFile(word);
  if (is("library")) settings.library = word;
}

void printHelp() {
  std::printf(
      "usage: boardctl-export -m FILE --devices LIST [OPTION]...\n"
      "Write the values of a board's devices for other programs to read.\n\n");
  for (const OptionRow& row : kOptionRows) {
    const std::string letter = row.letter == 0 ? "   " : std::string("-") + row.letter + ",";
    std::printf("  %s --%s %s\n        %s\n", letter.c_str(), row.name, row.hint, row.help);
  }
  std::printf("\nExit status: 0 delivered, 1 not delivered, 2 wrong use.\n");
}

/// For `getopt_long`, which reports what it rejects itself.
struct Options {
  std::string letters;
  std::vector<option> names;

  Options() {
    for (const OptionRow& row : kOptionRows) {
      const int needed = *row.hint == '\0' ? no_argument : required_argument;
      names.push_back({row.name, needed, nullptr, kLongOnly + static_cast<int>(names.size())});
      if (row.letter == 0) continue;
      letters += row.letter;
      if (needed == required_argument) letters += ':';
    }
    names.push_back({});
  }

  static const OptionRow& row(int result) {
    if (result >= kLongOnly) return kOptionRows[result - kLongOnly];
    return *std::ranges::find(kOptionRows, result, &OptionRow::letter);
  }
};

}  // namespace

std::optional<Settings> parseCommandLine(int argc, char** argv) {
  char name[] = "boardctl-export";  // for the messages of `getopt_long`
  if (argc > 0) argv[0] = name;
  const Options options;
  Settings settings;
  int result = 0;
  while ((result = getopt_long(argc, argv, options.letters.c_str(), options.names.data(),
                               nullptr)) != -1) {
    if (result == '?') throw UsageError("");
    const OptionRow& row = Options::row(result);
    if (row.letter == 'h') {
      printHelp();
      return {};
    }
    if (std::string_view(row.name) == "version") {
      std::printf("boardctl-export %s\n", BOARDCTL_VERSION);
      return {};
    }
    apply(row, optarg == nullptr ? "" : optarg, settings);
  }
  if (optind < argc) throw UsageError("not an option: " + quoted(argv[optind]));
  if (settings.manifest.empty()) reject("manifest", "missing");
  if (settings.devices.empty()) reject("devices", "missing");
  return settings;
}

}  // namespace exporter
