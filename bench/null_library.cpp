#include "bench/null_library.h"

#include <cstring>

#include "devmgr/properties.h"

/// A device library whose calls cost nothing, so that a benchmark sees the tool alone.

NullLibrary nullLibrary;

int DeviceGetSupportedProperties(int /*deviceType*/, std::vector<std::string>& names,
                                 std::vector<std::string>& /*details*/) {
  for (int i = 0; i < nullLibrary.names; ++i) {
    names.push_back("gpu.thermal.temperature.sensor" + std::to_string(i));
  }
  if (nullLibrary.afterNames != nullptr) nullLibrary.afterNames();
  return 0;
}

int DeviceGetData(int /*deviceId*/, const char* /*name*/, int /*reserved0*/, int /*reserved1*/,
                  char* buffer, int /*size*/, int /*accessMode*/, int /*reserved2*/) {
  std::memcpy(buffer, "41.50", 6);
  return 0;
}
