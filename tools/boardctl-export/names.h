#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "journal/parser.h"

namespace exporter {

/// A metric of its own for some properties.
struct Metric {
  std::string name;
  std::string help;
  std::string unit;  ///< empty for none; the name ends with it
  std::string type;  ///< "gauge" or "counter"
};

/// Which properties have which metric.
class Names {
 public:
  /// Raises `UsageError`, with the line and the column.
  static Names fromFile(const std::string& file);

  struct Rule {
    std::string pattern;
    int places;          ///< by which the decimal point of a value is moved to the right
    std::size_t metric;  ///< in `metrics()`
  };

  [[nodiscard]] const std::vector<Metric>& metrics() const { return metrics_; }
  /// The rule for a property, which there is at most one of; null for none.
  [[nodiscard]] const Rule* find(std::string_view property) const;

 private:
  void addRule(const journal::Parser& parser, const journal::Parser::Object::Member& member);

  std::vector<Metric> metrics_;
  std::vector<Rule> rules_;
};

/// Whether metrics and labels can have that name.
bool isMetricName(std::string_view name);
bool isLabelName(std::string_view name);

}  // namespace exporter
