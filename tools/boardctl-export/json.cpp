#include <algorithm>
#include <cstdio>

#include "tools/boardctl-export/formats.h"
#include "tools/boardctl-export/text.h"

namespace exporter {
namespace {

constexpr int kVersion = 1;

std::string jsonString(std::string_view text) {
  std::string result = "\"";
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < ' ') {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
      result += escape;
    } else {
      if (c == '"' || c == '\\') result += '\\';
      result += c;
    }
  }
  return result + '"';
}

/// Members of an object, in the order in which they are added.
class Object {
 public:
  Object& add(std::string_view name, std::string_view json) {
    text_.append(text_.empty() ? "" : ",").append(jsonString(name)).append(":").append(json);
    return *this;
  }
  [[nodiscard]] std::string text() const { return '{' + text_ + '}'; }

 private:
  std::string text_;
};

std::string truth(bool value) { return value ? "true" : "false"; }

void addFailure(Object& object, const std::string& failure) {
  if (failure.empty()) return;
  const bool code = isNumber(failure);
  object.add(code ? "code" : "failure", code ? failure : jsonString(failure));
}

std::string propertyMember(const Reading& reading, const Names& names) {
  Object object;
  addFailure(object, reading.failure);
  if (!reading.failure.empty()) return object.text();
  object.add("text", jsonString(reading.text));
  if (!isNumber(reading.text)) return object.text();
  object.add("number", movePoint(reading.text, 0));
  if (const Names::Rule* const rule = names.find(*reading.property)) {
    const Metric& metric = names.metrics()[rule->metric];
    object.add("metric", jsonString(metric.name))
        .add("value", movePoint(reading.text, rule->places));
    if (!metric.unit.empty()) object.add("unit", jsonString(metric.unit));
  }
  return object.text();
}

std::string device(const DeviceReport& report, const Names& names) {
  Object properties;
  for (const Reading& reading : report.readings) {
    properties.add(*reading.property, propertyMember(reading, names));
  }
  Object object;
  object.add("kind", jsonString(report.id->kind->word));
  object.add("device", std::to_string(report.id->number));
  object.add("up", truth(report.up())).add("skipped", truth(report.skipped));
  addFailure(object, report.listing);
  return object.add("properties", properties.text()).text();
}

}  // namespace

std::string formatJson(const Round& round, const Settings& settings) {
  Object labels;
  for (const Label& label : settings.labels) labels.add(label.name, jsonString(label.value));
  std::string devices;
  for (const DeviceReport& report : round.devices) {
    devices += (devices.empty() ? "" : ",") + device(report, settings.names);
  }
  Object object;
  object.add("version", std::to_string(kVersion)).add("up", truth(round.up));
  if (!round.reason.empty()) object.add("reason", jsonString(round.reason));
  object.add("collected", decimal(round.time)).add("seconds", decimal(round.seconds));
  object.add("labels", labels.text()).add("devices", "[" + devices + "]");
  return object.text() + '\n';
}

}  // namespace exporter
