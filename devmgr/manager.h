#pragma once

#include "devmgr/api.h"

/// Lifecycle of the device manager. At most one manager exists in a process. The order is
/// `GPUManagerInit`, `GPUManagerRun`, requests, `GPUManagerStop`; a process may also end without
/// `GPUManagerStop`. All three are called from the main thread only.
extern "C" {

/// Prepares the manager from three files.
///
/// `manifestFile`, `profileFile`, `propertiesFile`: names, NUL-terminated, never null; empty when
/// the operator named none. The library reads the files itself and keeps no reference to the names.
/// Returns 0 when the manager can be run; any other value is a library error code and means that
/// the manager is unusable. Some commands go on after a failure, so every later call must still be
/// safe and answer with a code.
DEVMGR_API int GPUManagerInit(const char* manifestFile, const char* profileFile,
                              const char* propertiesFile);

/// Starts the manager's work, which may include threads of the library's own.
///
/// Both arguments are passed as 0 and their meaning is the library's.
/// Returns 0 or a library error code; the tool ignores it.
DEVMGR_API int GPUManagerRun(int reserved0, int reserved1);

/// Ends the manager and every thread that it started; no update callback is called after it has
/// returned. Called at most once for each `GPUManagerInit`.
/// Returns 0 or a library error code; the tool ignores it.
DEVMGR_API int GPUManagerStop();

}  // extern "C"
