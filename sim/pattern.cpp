#include "sim/pattern.h"

#include "sim/fields.h"

namespace sim {

bool globMatches(std::string_view pattern, std::string_view text) {
  std::size_t p = 0;
  std::size_t t = 0;
  std::size_t star = std::string_view::npos;
  std::size_t retry = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      retry = t;
    } else if (p < pattern.size() && pattern[p] == text[t]) {
      ++p;
      ++t;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      t = ++retry;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

DevicePattern readDevicePattern(const Node& node, const Topology& topology) {
  const std::string text(textOf(node));
  if (text == "*") return {};
  if (text.ends_with('*')) {
    const std::string word = text.substr(0, text.size() - 1);
    if (const auto kind = kindOfWord(word)) return {kind, {}};
    node.refuse("'" + word + "' is not a device kind" + suggestion(word, kindWords()));
  }
  const Device device = readDevice(node, topology);
  return {device.kind, device.id};
}

Device readDevice(const Node& node, const Topology& topology) {
  const std::string text(textOf(node));
  const std::optional<Device> device = parseDevice(text);
  if (!device) node.refuse("'" + text + "' names no device; a name reads like 'gpu3'");
  if (!topology.has(*device)) node.refuse("the board has no " + text);
  return *device;
}

}  // namespace sim
