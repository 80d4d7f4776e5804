#pragma once

#include <string_view>

namespace sim {

/// The board that stands in for a manifest or properties file that was not named: the texts of
/// examples/oob_manifest.json and examples/oob_properties.json at the time of the build.
extern const std::string_view kBuiltinManifest;
extern const std::string_view kBuiltinProperties;

}  // namespace sim
