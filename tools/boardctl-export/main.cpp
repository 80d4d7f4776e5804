#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <system_error>

#include "tools/boardctl-export/collector.h"
#include "tools/boardctl-export/formats.h"
#include "tools/boardctl-export/output.h"
#include "tools/boardctl-export/settings.h"
#include "tools/boardctl-export/usage_error.h"
#include "tools/standard_files.h"

namespace {

using namespace exporter;

enum Status { kDelivered = 0, kNotDelivered = 1, kWrongUse = 2 };

void report(const std::string& line) {
  std::fprintf(stderr, "boardctl-export: %s\n", line.c_str());
}

bool deliver(const Output& output, const std::string& text) {
  try {
    output.deliver(text);
    return true;
  } catch (const std::system_error& error) {
    report(error.what());
    return false;
  }
}

Status run(const Settings& settings) {
  const Output output(settings.output);
  Collector collector(settings);
  bool delivered = false;
  std::string reason;
  while (!interrupted()) {
    const Clock::time_point begin = Clock::now();
    const Round round = collector.collect();
    if (interrupted()) break;
    if (!round.reason.empty() && round.reason != reason) report(round.reason);
    reason = round.reason;
    collector.checkPatterns();
    const auto format = settings.format == Format::json ? formatJson : formatPrometheus;
    delivered = deliver(output, format(round, settings));
    if (!settings.every) break;
    waitUntil(begin + *settings.every);
  }
  collector.stop();
  if (settings.every) output.remove();
  return delivered ? kDelivered : kNotDelivered;
}

}  // namespace

int main(int argc, char** argv) {
  standard_files::hold();
  try {
    const auto settings = parseCommandLine(argc, argv);
    if (!settings) {
      if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return kDelivered;
      throw std::system_error(errno, std::generic_category(), "standard output");
    }
    holdSignals();
    return run(*settings);
  } catch (const UsageError& error) {
    if (*error.what() != '\0') report(error.what());
    return kWrongUse;
  } catch (const std::exception& error) {
    report(error.what());
    return kNotDelivered;
  }
}
