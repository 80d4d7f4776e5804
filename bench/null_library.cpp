#include "bench/null_library.h"

#include <cstring>

#include "devmgr/callbacks.h"
#include "devmgr/logger.h"
#include "devmgr/manager.h"
#include "devmgr/postbox.h"
#include "devmgr/properties.h"

/// A device library whose calls cost nothing, so that a benchmark sees the tool alone.

Logger logger;

data_info::DataInfo::DataInfo(const DataInfo& other) = default;

NullLibrary nullLibrary;

int DeviceGetSupportedProperties(int /*deviceType*/, std::vector<std::string>& names,
                                 std::vector<std::string>& /*details*/) {
  for (int i = 0; i < nullLibrary.names; ++i) {
    names.push_back("gpu.thermal.temperature.sensor" + std::to_string(i));
  }
  if (nullLibrary.afterNames != nullptr) nullLibrary.afterNames();
  return 0;
}

extern "C" {

int GPUSetLogger(const char* /*fileName*/) { return 0; }
int GPUSetLogLevel(int /*level*/) { return 0; }
int GPUManagerInit(const char* /*manifest*/, const char* /*profile*/, const char* /*properties*/) {
  return 0;
}
int GPUManagerRun(int /*reserved0*/, int /*reserved1*/) { return 0; }
int GPUManagerStop() { return 0; }

int DeviceGetData(int /*deviceId*/, const char* /*name*/, int /*reserved0*/, int /*reserved1*/,
                  char* buffer, int /*size*/, int /*accessMode*/, int /*reserved2*/) {
  std::memcpy(buffer, "41.50", 6);
  return 0;
}
int DeviceSetData(int /*deviceId*/, const char* /*name*/, const void* /*value*/, int /*size*/,
                  int /*reserved*/) {
  return 0;
}
int DeviceClearData(int /*deviceId*/, const char* /*name*/, int /*reserved*/) { return 0; }
int DeviceGetSupportedProperties(int /*deviceType*/, char* /*buffer*/, int /*size*/) { return 0; }
int DeviceGetAllSupportedProperties(char* /*buffer*/, int /*size*/) { return 0; }
int SnapShotRefreshStatus(bool* running) {
  *running = false;
  return 0;
}

#define LIST_FUNCTION(NAME)                                                                    \
  int NAME(int, unsigned char, unsigned char, unsigned char, const std::vector<unsigned int>&, \
           std::vector<unsigned int>&, bool) {                                                 \
    return 0;                                                                                  \
  }
LIST_FUNCTION(TesselCmd)
LIST_FUNCTION(TesselCmdKorswitch)
LIST_FUNCTION(TesselCmdFpga)

#define SYNC_FUNCTION(NAME)                                                              \
  int NAME(int, unsigned char, unsigned char, unsigned char, unsigned int, unsigned int, \
           unsigned int*, unsigned int*, unsigned int*, bool) {                          \
    return 0;                                                                            \
  }
SYNC_FUNCTION(TesselSyncCmdGpu)
SYNC_FUNCTION(TesselSyncCmdKorswitch)
SYNC_FUNCTION(TesselSyncCmdFpga)

#define ASYNC_FUNCTION(NAME)                                                                   \
  int NAME(int, unsigned char, const std::vector<unsigned int>&, unsigned int*, unsigned int*, \
           std::vector<unsigned int>&, unsigned int, bool) {                                   \
    return 0;                                                                                  \
  }
ASYNC_FUNCTION(TesselAsyncCmdGpu)
ASYNC_FUNCTION(TesselAsyncCmdKorswitch)

int DeviceSetCallbackUpdateData(int /*deviceId*/, const std::string& /*apiName*/,
                                const UpdateCallback& /*callback*/, int /*reserved0*/,
                                const std::string& /*reserved1*/, const std::string& /*reserved2*/,
                                int /*reserved3*/) {
  return 0;
}

}  // extern "C"
