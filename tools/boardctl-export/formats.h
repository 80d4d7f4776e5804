#pragma once

#include <string>
#include <string_view>

#include "tools/boardctl-export/collector.h"
#include "tools/boardctl-export/settings.h"

namespace exporter {

/// Version 0.0.4 of the text format.
std::string formatPrometheus(const Round& round, const Settings& settings);

/// One object on one line, as schemas/export.schema.json describes it.
std::string formatJson(const Round& round, const Settings& settings);

/// Whether `formatPrometheus` gives a metric of that name without rules.
bool isOwnMetric(std::string_view name);

}  // namespace exporter
