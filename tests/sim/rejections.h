#pragma once

#include <string>
#include <string_view>

#include "sim/config/readers.h"
#include "sim/library/builtin.h"

// Why a text is rejected, or "accepted".

namespace sim {

template <class Read>
std::string rejection(Read read) {
  try {
    read();
  } catch (const FileError& error) {
    return error.what();
  }
  return "accepted";
}

inline std::string jsonRejection(std::string_view text) {
  return rejection([&] { parseJson(text, "f.json"); });
}

inline std::string manifestRejection(std::string_view text) {
  return rejection([&] {
    const Document manifest = parseJson(text, "m.json");
    readTopology(manifest);
  });
}

inline std::string propertiesRejection(std::string_view text,
                                       std::string_view manifestText = kBuiltinManifest) {
  return rejection([&] {
    const Document manifest = parseJson(manifestText, "m.json");
    const Document document = parseJson(text, "p.json");
    const Document builtin = parseJson(kBuiltinProperties, "b.json");
    readProperties(document, builtin, manifest, readTopology(manifest));
  });
}

inline std::string propertyRejection(const std::string& definition) {
  return propertiesRejection(R"({"properties": {"gpu.x": )" + definition + "}}");
}

}  // namespace sim
