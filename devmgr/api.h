#pragma once

/// Marks what `libdevmgr.so.0` exports. Everything else on either side of the interface is compiled
/// with hidden visibility, so neither side can bind to the other's internals by accident, and the
/// tool reaches the library's data through the global offset table instead of copying it.
#define DEVMGR_API __attribute__((visibility("default")))
