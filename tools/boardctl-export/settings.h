#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "devmgr/device_type.h"
#include "tools/boardctl-export/names.h"

namespace exporter {

struct DeviceId {
  const DeviceKind* kind;
  int number;
};

struct Label {
  std::string name;
  std::string value;
};

enum class Format { prometheus, json };

/// What the command line asks for.
struct Settings {
  using Seconds = std::chrono::milliseconds;

  std::string manifest;
  std::string profile;
  std::string propertiesFile;
  std::vector<DeviceId> devices;
  std::vector<std::string> patterns;  ///< of properties; none for all
  int mode = 0;
  Format format = Format::prometheus;
  std::string output;  ///< empty for standard output
  std::optional<Seconds> every;
  Seconds readTimeout{2'000};
  Seconds timeout{20'000};
  std::vector<Label> labels;
  Names names;
  std::string library = "libdevmgr.so.0";
};

/// Raises `UsageError` (usage_error.h). Nothing when it has printed what was asked for, the help or
/// the version.
std::optional<Settings> parseCommandLine(int argc, char** argv);

}  // namespace exporter
