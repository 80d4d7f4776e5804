#include <algorithm>
#include <map>

#include "tools/boardctl-export/formats.h"
#include "tools/boardctl-export/text.h"

namespace exporter {
namespace {

struct Family {
  const char* name;
  const char* help;
  const char* type;
};

enum Own { kProperty, kDeviceUp, kFailures, kSkipped, kNotNumeric, kUp, kSeconds, kTimestamp };

constexpr Family kOwn[] = {
    {"boardctl_property", "The value of a property.", "untyped"},
    {"boardctl_device_up", "Whether the device gave values and answered every read.", "gauge"},
    {"boardctl_device_read_failures", "Reads that failed in this collection.", "gauge"},
    {"boardctl_device_skipped", "Whether the device was left out because it had hung.", "gauge"},
    {"boardctl_values_not_numeric", "Values that are not plain decimal numbers.", "gauge"},
    {"boardctl_up", "Whether the device manager answered.", "gauge"},
    {"boardctl_collection_seconds", "How long this collection took.", "gauge"},
    {"boardctl_collected_timestamp_seconds", "When this collection ended.", "gauge"},
};

constexpr std::string_view kInLabels = "\\\"\n";
constexpr std::string_view kInHelp = "\\\n";

void appendEscaped(std::string& result, std::string_view text, std::string_view special) {
  while (!text.empty()) {
    const std::size_t plain = std::min(text.find_first_of(special), text.size());
    result.append(text.substr(0, plain));
    if (plain == text.size()) return;
    result.append("\\").append(1, text[plain] == '\n' ? 'n' : text[plain]);
    text.remove_prefix(plain + 1);
  }
}

std::string pair(std::string_view name, std::string_view value) {
  std::string result = "," + std::string(name) + "=\"";
  appendEscaped(result, value, kInLabels);
  return result + '"';
}

/// The samples of each family, which stand together in the output.
class Exposition {
 public:
  explicit Exposition(const Settings& settings)
      : settings_(settings), named_(settings.names.metrics().size()) {
    for (const Label& label : settings.labels) labels_ += pair(label.name, label.value);
  }

  void add(Own family, std::string_view value, std::string_view labels = {}) {
    sample(own_[family], kOwn[family].name, labels, value);
  }

  void addDevice(const DeviceReport& device) {
    const std::string labels =
        pair("kind", device.id->kind->word) + pair("device", std::to_string(device.id->number));
    std::map<std::string, int> codes;
    if (!device.listing.empty()) ++codes[device.listing];
    for (const Reading& reading : device.readings) {
      if (!reading.failure.empty()) {
        ++codes[reading.failure];
      } else if (isNumber(reading.text)) {
        addValue(reading, labels);
      } else {
        ++notNumeric_;
      }
    }
    add(kDeviceUp, device.up() ? "1" : "0", labels);
    add(kSkipped, device.skipped ? "1" : "0", labels);
    for (const auto& [code, count] : codes) {
      add(kFailures, std::to_string(count), labels + pair("code", code));
    }
  }

  [[nodiscard]] std::string text() {
    add(kNotNumeric, std::to_string(notNumeric_));
    std::string text;
    for (std::size_t i = 0; i < std::size(kOwn); ++i) {
      append(text, kOwn[i].name, kOwn[i].help, kOwn[i].type, own_[i]);
    }
    for (std::size_t i = 0; i < named_.size(); ++i) {
      const Metric& metric = settings_.names.metrics()[i];
      append(text, metric.name, metric.help, metric.type, named_[i]);
    }
    return text;
  }

 private:
  void addValue(const Reading& reading, std::string_view labels) {
    sample(own_[kProperty], kOwn[kProperty].name, labels, reading.text, *reading.property);
    const Names::Rule* const rule = settings_.names.find(*reading.property);
    if (rule == nullptr) return;
    sample(named_[rule->metric], settings_.names.metrics()[rule->metric].name, labels,
           movePoint(reading.text, rule->places), *reading.property);
  }

  /// `labels` begin with a comma, if there are any.
  void sample(std::string& samples, std::string_view name, std::string_view labels,
              std::string_view value, std::string_view propertyName = {}) const {
    samples += name;
    const std::size_t comma = samples.size();
    samples += labels;
    if (!propertyName.empty()) {
      samples += ",property=\"";
      appendEscaped(samples, propertyName, kInLabels);
      samples += '"';
    }
    samples += labels_;
    if (samples.size() > comma) {
      samples[comma] = '{';
      samples += '}';
    }
    samples.append(" ").append(value).append("\n");
  }

  static void append(std::string& text, const std::string& name, const std::string& help,
                     const std::string& type, const std::string& samples) {
    if (samples.empty()) return;
    text += "# HELP " + name + ' ';
    appendEscaped(text, help, kInHelp);
    text += "\n# TYPE " + name + ' ' + type + '\n' + samples;
  }

  const Settings& settings_;
  std::string labels_;
  std::string own_[std::size(kOwn)];
  std::vector<std::string> named_;
  int notNumeric_ = 0;
};

}  // namespace

bool isOwnMetric(std::string_view name) {
  return std::ranges::any_of(kOwn, [&](const Family& family) { return family.name == name; });
}

std::string formatPrometheus(const Round& round, const Settings& settings) {
  Exposition exposition(settings);
  for (const DeviceReport& device : round.devices) exposition.addDevice(device);
  exposition.add(kUp, round.up ? "1" : "0");
  exposition.add(kSeconds, decimal(round.seconds));
  exposition.add(kTimestamp, decimal(round.time));
  return exposition.text();
}

}  // namespace exporter
