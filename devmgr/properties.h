#pragma once

#include <string>
#include <vector>

#include "devmgr/api.h"

/// The sizes of the buffers that the tool passes, in bytes: for one value and for a text listing.
inline constexpr int kPropertyValueSize = 10240;
inline constexpr int kPropertyListSize = 20480;

/// Property access. Requests are made between `GPUManagerRun` and `GPUManagerStop`, from the main
/// thread only. Every function returns 0 for success and a library error code otherwise.
///
/// Device ids are 0-based within their device kind and are passed as the operator typed them:
/// negative and absent ones are the library's to refuse. Property names are NUL-terminated, exact
/// and case-sensitive; their first component names the device kind. Device types are the codes of
/// `DeviceType`.
///
/// All buffers belong to the caller and are zero-filled before the call. The library writes a
/// NUL-terminated text and never more than the given size; a caller must still not read past the
/// size when the NUL is missing. The library keeps no reference to any argument.
extern "C" {

/// Reads one property as printable text.
///
/// `reserved0`, `reserved1`, `reserved2`: passed as 0; their meaning is the library's.
/// `buffer`, `size`: receive the text; the tool passes `kPropertyValueSize`.
/// `accessMode`: 0 reads the last snapshot, 1 passes the read through to the device; any other
/// value is the library's to judge.
/// On failure the buffer's contents mean nothing.
DEVMGR_API int DeviceGetData(int deviceId, const char* propertyName, int reserved0, int reserved1,
                             char* buffer, int size, int accessMode, int reserved2);

/// Writes one property.
///
/// `value`, `size`: the value's bytes; the tool passes a 32-bit signed integer in its own byte
/// order and the size 4. `reserved`: passed as 0.
DEVMGR_API int DeviceSetData(int deviceId, const char* propertyName, const void* value, int size,
                             int reserved);

/// Clears one property. `reserved`: passed as 0.
DEVMGR_API int DeviceClearData(int deviceId, const char* propertyName, int reserved);

/// Text form: writes a complete, printable listing of the names that one device type supports.
/// Its layout is the library's. `size`: the tool passes `kPropertyListSize`.
DEVMGR_API int DeviceGetSupportedProperties(int deviceType, char* buffer, int size);

/// As the text form above, for all device types at once.
DEVMGR_API int DeviceGetAllSupportedProperties(char* buffer, int size);

/// Stores in `*running` whether a refresh of the snapshot is under way. The library must always
/// store a value. The result is ignored by the tool.
DEVMGR_API int SnapShotRefreshStatus(bool* running);

}  // extern "C"

/// Vector form, an overload with C++ linkage: fills `names` with exactly the names that
/// `DeviceGetData`, `DeviceSetData` and `DeviceClearData` accept for that device type, in the
/// library's order. `details` is filled by the library with what it likes and is never read by the
/// tool. Both vectors are empty before the call; on failure their contents mean nothing.
DEVMGR_API int DeviceGetSupportedProperties(int deviceType, std::vector<std::string>& names,
                                            std::vector<std::string>& details);

/// The symbol of the vector form.
inline constexpr const char* kVectorForm =
    "_Z28DeviceGetSupportedPropertiesiRSt6vectorINSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcE"
    "EESaIS5_EES8_";
