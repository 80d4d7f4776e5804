#pragma once

#include <vector>

#include "devmgr/api.h"

/// Requests over the TESSEL postbox of a GPU, a link switch (KORSwitch) or the FPGA. They are made
/// between `GPUManagerRun` and `GPUManagerStop`, from the main thread only, and return 0 for
/// success and a library error code otherwise.
///
/// Device ids are 0-based within their kind and passed as the operator typed them. Data words carry
/// bytes in little-endian order: byte i is in bits 8*(i mod 4) of word i/4. `flag` is passed as
/// false; its meaning, and that of the output words, is the library's. All arguments belong to the
/// caller, and the library keeps no reference to them.
///
/// The functions of one group have one signature and differ in the device kind only.
extern "C" {

/// A request with a list of data words. `input` holds at least two words, the data register and the
/// extended data register. `output` is empty before the call; what the library has put into it is
/// printed even when the request failed.
DEVMGR_API int TesselCmd(int deviceId, unsigned char opcode, unsigned char arg1, unsigned char arg2,
                         const std::vector<unsigned int>& input, std::vector<unsigned int>& output,
                         bool flag);
DEVMGR_API int TesselCmdKorswitch(int deviceId, unsigned char opcode, unsigned char arg1,
                                  unsigned char arg2, const std::vector<unsigned int>& input,
                                  std::vector<unsigned int>& output, bool flag);
DEVMGR_API int TesselCmdFpga(int deviceId, unsigned char opcode, unsigned char arg1,
                             unsigned char arg2, const std::vector<unsigned int>& input,
                             std::vector<unsigned int>& output, bool flag);

/// A synchronous request with both data registers and three output words. The output words are 0
/// before the call and are looked at only after success.
DEVMGR_API int TesselSyncCmdGpu(int deviceId, unsigned char opcode, unsigned char arg1,
                                unsigned char arg2, unsigned int data, unsigned int extendedData,
                                unsigned int* output1, unsigned int* output2, unsigned int* output3,
                                bool flag);
DEVMGR_API int TesselSyncCmdKorswitch(int deviceId, unsigned char opcode, unsigned char arg1,
                                      unsigned char arg2, unsigned int data,
                                      unsigned int extendedData, unsigned int* output1,
                                      unsigned int* output2, unsigned int* output3, bool flag);
DEVMGR_API int TesselSyncCmdFpga(int deviceId, unsigned char opcode, unsigned char arg1,
                                 unsigned char arg2, unsigned int data, unsigned int extendedData,
                                 unsigned int* output1, unsigned int* output2,
                                 unsigned int* output3, bool flag);

/// An asynchronous request. `input` may be empty. `output1` and `output2` point to words that are 0
/// before the call; `output` is empty before it. `outputSize` is the size that the operator asked
/// for. The outputs are looked at only after success. The FPGA has no such request.
DEVMGR_API int TesselAsyncCmdGpu(int deviceId, unsigned char request,
                                 const std::vector<unsigned int>& input, unsigned int* output1,
                                 unsigned int* output2, std::vector<unsigned int>& output,
                                 unsigned int outputSize, bool flag);
DEVMGR_API int TesselAsyncCmdKorswitch(int deviceId, unsigned char request,
                                       const std::vector<unsigned int>& input,
                                       unsigned int* output1, unsigned int* output2,
                                       std::vector<unsigned int>& output, unsigned int outputSize,
                                       bool flag);

}  // extern "C"
