#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "devmgr/api.h"
#include "devmgr/data_info.h"

/// What the library calls when it has new data. The integers' meaning is the library's. The
/// `DataInfo` is passed by value: the callee owns its copy.
using UpdateCallback = std::function<void(std::uint16_t, data_info::DataInfo, std::uint64_t)>;

extern "C" {

/// Registers a callback for the updates of one property of one device.
///
/// `deviceId`: 0-based, as the operator typed it. `apiName`: an API name of the catalogue.
/// `callback`: copied by the library, which may drop its copy at `GPUManagerStop`; there is no
/// other way to undo a registration.
/// `reserved0`, `reserved3`: passed as -1. `reserved1`, `reserved2`: passed as empty texts. Their
/// meaning is the library's.
/// Returns 0 or a library error code.
///
/// Threads: called from the main thread, between `GPUManagerRun` and `GPUManagerStop`. The callback
/// is called on a thread of the library's choosing, possibly on several at once, until
/// `GPUManagerStop` returns; an exception that leaves it is the library's to contain.
DEVMGR_API int DeviceSetCallbackUpdateData(int deviceId, const std::string& apiName,
                                           const UpdateCallback& callback, int reserved0,
                                           const std::string& reserved1,
                                           const std::string& reserved2, int reserved3);

}  // extern "C"
