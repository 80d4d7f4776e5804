#include <cstring>

#include "devmgr/callbacks.h"
#include "devmgr/logger.h"
#include "devmgr/manager.h"
#include "devmgr/postbox.h"
#include "devmgr/properties.h"

/// A small device library with one fault, chosen when it is compiled; with none it fits.

#ifdef SMALL_LOGGER
extern DEVMGR_API char smallLogger[8] __asm__("logger");
char smallLogger[8];
#else
Logger logger;
#endif

#ifndef NO_COPY_CONSTRUCTOR
data_info::DataInfo::DataInfo(const DataInfo& other) = default;
#endif
void value_type::ValueType::onChange() {}
void data_info::DataInfo::onChange() {}

namespace {

constexpr const char* kListing = "gpu.a\ngpu.b";

int writeText(const char* text, char* buffer, int size) {
  std::strncpy(buffer, text, static_cast<std::size_t>(size) - 1);
#ifdef TEXT_OVERRUNS
  buffer[size] = '\0';
#endif
#ifdef TEXT_WITHOUT_NUL
  std::memset(buffer, 'x', static_cast<std::size_t>(size));
#endif
  return 0;
}

}  // namespace

#ifndef VECTOR_FORM_MISSING
int DeviceGetSupportedProperties(int deviceType, std::vector<std::string>& names,
                                 std::vector<std::string>& /*details*/) {
  if (deviceType != 0) return 4;
  names = {"gpu.a", "gpu.b"};
#ifdef NAME_IN_VECTOR_ONLY
  names.emplace_back("gpu.c");
#endif
#ifdef NAME_IN_TEXT_ONLY
  names.pop_back();
#endif
  return 0;
}
#endif

#ifdef CXX_LINKAGE
DEVMGR_API int TesselCmd(int, unsigned char, unsigned char, unsigned char, const std::vector<int>&);
int TesselCmd(int, unsigned char, unsigned char, unsigned char, const std::vector<int>&) {
  return 0;
}
#endif

extern "C" {

int GPUSetLogger(const char* /*fileName*/) { return 0; }
int GPUSetLogLevel(int /*level*/) { return 0; }
int GPUManagerInit(const char* /*manifest*/, const char* /*profile*/, const char* /*properties*/) {
#ifdef INIT_FAILS
  return 14;
#endif
#ifdef CRASHES
  *static_cast<volatile int*>(nullptr) = 1;
#endif
  return 0;
}
int GPUManagerRun(int /*reserved0*/, int /*reserved1*/) { return 0; }
int GPUManagerStop() { return 0; }
int DeviceGetData(int /*deviceId*/, const char* /*name*/, int /*reserved0*/, int /*reserved1*/,
                  char* buffer, int size, int /*accessMode*/, int /*reserved2*/) {
  return writeText("value", buffer, size);
}
int DeviceSetData(int, const char*, const void*, int, int) { return 0; }
int DeviceClearData(int, const char*, int) { return 0; }
int DeviceGetSupportedProperties(int deviceType, char* buffer, int size) {
  return deviceType == 0 ? writeText(kListing, buffer, size) : 4;
}
int DeviceGetAllSupportedProperties(char* buffer, int size) {
  return writeText(kListing, buffer, size);
}
int SnapShotRefreshStatus(bool* running) {
#ifdef STATUS_NOT_STORED
  static_cast<void>(running);
#else
  *running = false;
#endif
  return 0;
}

#define LIST_FUNCTION(NAME)                                                                    \
  int NAME(int, unsigned char, unsigned char, unsigned char, const std::vector<unsigned int>&, \
           std::vector<unsigned int>&, bool) {                                                 \
    return 0;                                                                                  \
  }
#if !defined(CXX_LINKAGE) && !defined(ENTRY_POINT_MISSING)
LIST_FUNCTION(TesselCmd)
#endif
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

int DeviceSetCallbackUpdateData(int, const std::string&, const UpdateCallback&, int,
                                const std::string&, const std::string&, int) {
  return 0;
}

}  // extern "C"
