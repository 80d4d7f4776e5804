#include "tests/support/default_library.h"

#include "devmgr/api.h"

#undef DEVMGR_API
#define DEVMGR_API __attribute__((visibility("default"), weak))

#include "devmgr/callbacks.h"
#include "devmgr/logger.h"
#include "devmgr/manager.h"
#include "devmgr/postbox.h"
#include "devmgr/properties.h"

/// Under a name of its own, so that its constructor never runs on another definition of `logger`.
/// Made first and destroyed last: a stand-in's threads may log until the end.
__attribute__((init_priority(101))) static Logger defaultLogger __asm__("defaultLogger");
extern Logger logger __attribute__((alias("defaultLogger")));

data_info::DataInfo::DataInfo(const DataInfo& other) = default;

int DeviceGetSupportedProperties(int, std::vector<std::string>&, std::vector<std::string>&) {
  return 0;
}

extern "C" {

int GPUSetLogger(const char*) { return 0; }
int GPUSetLogLevel(int) { return 0; }
int GPUManagerInit(const char*, const char*, const char*) { return 0; }
int GPUManagerRun(int, int) { return 0; }
int GPUManagerStop() { return 0; }
int DeviceGetData(int, const char*, int, int, char*, int, int, int) { return 0; }
int DeviceSetData(int, const char*, const void*, int, int) { return 0; }
int DeviceClearData(int, const char*, int) { return 0; }
int DeviceGetSupportedProperties(int, char*, int) { return 0; }
int DeviceGetAllSupportedProperties(char*, int) { return 0; }
int SnapShotRefreshStatus(bool* running) {
  *running = false;
  return 0;
}
int DeviceSetCallbackUpdateData(int, const std::string&, const UpdateCallback&, int,
                                const std::string&, const std::string&, int) {
  return 0;
}

#define LIST_FUNCTION(NAME)                                                                        \
  int NAME(int deviceId, unsigned char opcode, unsigned char arg1, unsigned char arg2,             \
           const std::vector<unsigned int>& input, std::vector<unsigned int>& output, bool flag) { \
    return postboxList(#NAME, deviceId, opcode, arg1, arg2, input, output, flag);                  \
  }
LIST_FUNCTION(TesselCmd)
LIST_FUNCTION(TesselCmdKorswitch)
LIST_FUNCTION(TesselCmdFpga)

#define SYNC_FUNCTION(NAME)                                                                       \
  int NAME(int deviceId, unsigned char opcode, unsigned char arg1, unsigned char arg2,            \
           unsigned int data, unsigned int extendedData, unsigned int* output1,                   \
           unsigned int* output2, unsigned int* output3, bool flag) {                             \
    return postboxSync(#NAME, deviceId, opcode, arg1, arg2, data, extendedData, output1, output2, \
                       output3, flag);                                                            \
  }
SYNC_FUNCTION(TesselSyncCmdGpu)
SYNC_FUNCTION(TesselSyncCmdKorswitch)
SYNC_FUNCTION(TesselSyncCmdFpga)

#define ASYNC_FUNCTION(NAME)                                                                   \
  int NAME(int deviceId, unsigned char request, const std::vector<unsigned int>& input,        \
           unsigned int* output1, unsigned int* output2, std::vector<unsigned int>& output,    \
           unsigned int outputSize, bool flag) {                                               \
    return postboxAsync(#NAME, deviceId, request, input, output1, output2, output, outputSize, \
                        flag);                                                                 \
  }
ASYNC_FUNCTION(TesselAsyncCmdGpu)
ASYNC_FUNCTION(TesselAsyncCmdKorswitch)

}  // extern "C"

__attribute__((weak)) int postboxList(const char*, int, unsigned char, unsigned char, unsigned char,
                                      const std::vector<unsigned int>&, std::vector<unsigned int>&,
                                      bool) {
  return 0;
}
__attribute__((weak)) int postboxSync(const char*, int, unsigned char, unsigned char, unsigned char,
                                      unsigned int, unsigned int, unsigned int*, unsigned int*,
                                      unsigned int*, bool) {
  return 0;
}
__attribute__((weak)) int postboxAsync(const char*, int, unsigned char,
                                       const std::vector<unsigned int>&, unsigned int*,
                                       unsigned int*, std::vector<unsigned int>&, unsigned int,
                                       bool) {
  return 0;
}
