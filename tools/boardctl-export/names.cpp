#include "tools/boardctl-export/names.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "journal/parser.h"
#include "journal/reader.h"
#include "tools/boardctl-export/formats.h"
#include "tools/boardctl-export/text.h"
#include "tools/boardctl-export/usage_error.h"

namespace exporter {
namespace {

using journal::Parser;

constexpr std::size_t kLargestFile = std::size_t{1} << 20;
constexpr int kMostPlaces = 18;

bool isName(std::string_view name, std::string_view others) {
  const auto letter = [&](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           others.find(c) != std::string_view::npos;
  };
  const auto digit = [](char c) { return c >= '0' && c <= '9'; };
  return !name.empty() && !digit(name.front()) &&
         std::ranges::all_of(name, [&](char c) { return letter(c) || digit(c); });
}

void rejectUnknown(const Parser& parser, const Parser::Object& object,
                   std::initializer_list<std::string_view> known) {
  for (const auto& member : object.members) {
    if (std::ranges::find(known, member.name) == known.end()) {
      parser.reject(member.place, "unknown key '" + std::string(member.name) + "'");
    }
  }
}

Metric readMetric(const Parser& parser, std::string_view name, const Parser::Object& object) {
  rejectUnknown(parser, object, {"about", "help", "unit", "type", "properties"});
  Metric metric = {std::string(name), parser.textAt(parser.require(object, "help")), "", "gauge"};
  const auto reject = [&](const std::string& what) { parser.reject(object.place, what); };
  if (!isMetricName(name)) reject("no name for a metric: '" + metric.name + "'");
  if (isOwnMetric(name)) reject("the program has a metric '" + metric.name + "' of its own");
  if (const auto place = object.find("type")) {
    metric.type = parser.textAt(*place);
    if (metric.type != "gauge" && metric.type != "counter") {
      parser.reject(*place, "not 'gauge' or 'counter'");
    }
  }
  const std::string total = metric.type == "counter" ? "_total" : "";
  if (!name.ends_with(total)) reject("the name of a counter ends with '_total'");
  if (const auto place = object.find("unit")) {
    metric.unit = parser.textAt(*place);
    const std::string end = "_" + metric.unit + total;
    if (!name.ends_with(end)) parser.reject(*place, "the metric's name does not end with " + end);
  }
  return metric;
}

/// The parser takes one line, so it gets the file as one; its message begins with ":1:", the place
/// in that line, and ": ".
std::string placed(const std::string& file, const std::string& text, const char* message) {
  char* what = nullptr;
  const std::size_t place = std::strtoul(message + 3, &what, 10) - 1;
  const std::string before = text.substr(0, place);
  const auto line = 1 + std::ranges::count(before, '\n');
  const std::size_t column = place - (before.rfind('\n') + 1) + 1;
  return file + ':' + std::to_string(line) + ':' + std::to_string(column) + toPrintable(what);
}

}  // namespace

bool isMetricName(std::string_view name) { return isName(name, "_:"); }

bool isLabelName(std::string_view name) { return isName(name, "_") && !name.starts_with("__"); }

Names Names::fromFile(const std::string& file) {
  std::ifstream stream(file);
  const std::string text(std::istreambuf_iterator<char>(stream), {});
  if (!stream || text.size() > kLargestFile) {
    throw UsageError(file + (stream ? ": more than 1 MiB" : ": cannot be read"));
  }
  // A tab is a blank too, and like a newline it may not stand in a string.
  std::string line = text;
  std::ranges::replace_if(
      line, [](char c) { return c == '\n' || c == '\r'; }, '\t');
  const Parser parser("", 1, line);
  Names names;
  try {
    const Parser::Object whole = parser.whole();
    rejectUnknown(parser, whole, {"$schema", "about", "metrics"});
    for (const auto& member : parser.objectAt(parser.require(whole, "metrics")).members) {
      const Parser::Object metric = parser.objectAt(member.place);
      names.metrics_.push_back(readMetric(parser, member.name, metric));
      const std::size_t properties = parser.require(metric, "properties");
      for (const auto& rule : parser.objectAt(properties).members) {
        names.addRule(parser, rule);
      }
    }
  } catch (const journal::Error& error) {
    throw UsageError(placed(file, text, error.what()));
  }
  return names;
}

void Names::addRule(const Parser& parser, const Parser::Object::Member& member) {
  const std::string pattern(member.name);
  const auto same = std::ranges::find_if(
      rules_, [&](const Rule& rule) { return overlap(rule.pattern, pattern); });
  if (same != rules_.end()) {
    parser.reject(member.place,
                  "'" + pattern + "' and '" + same->pattern + "' stand for the same properties");
  }
  const auto places = static_cast<int>(parser.numberAt(member.place, -kMostPlaces, kMostPlaces));
  rules_.push_back({pattern, places, metrics_.size() - 1});
}

const Names::Rule* Names::find(std::string_view property) const {
  const auto rule = std::ranges::find_if(
      rules_, [&](const Rule& candidate) { return matches(candidate.pattern, property); });
  return rule == rules_.end() ? nullptr : &*rule;
}

}  // namespace exporter
