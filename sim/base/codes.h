#pragma once

#include <array>
#include <string_view>

namespace sim {

/// What an entry point answers. 0 is success; every other code of a board is small and positive, so
/// that it reads the same in decimal and, below ten, in hexadecimal. The numbers never change their
/// meaning: scripts and recorded journals hold them.
enum Code : int {
  kOk = 0,
  kNotInitialised = 1,
  kNotRunning = 2,
  kNoSuchProperty = 3,
  kNoSuchKind = 4,
  kNoSuchDevice = 5,
  kDeviceAbsent = 6,
  kNotReady = 7,
  kNotReadable = 8,
  kNotWritable = 9,
  kNotClearable = 10,
  kOutOfRange = 11,
  kBadArgument = 12,
  kBufferTooSmall = 13,
  kFileRefused = 14,
  kAlreadyRunning = 15,
  kNotSupported = 16,
  kStopped = 17,
  kBusy = 18,
  kBadOpcode = 19,
  kBadRequest = 20,
  kTimeout = 21,
  kCannotOpen = 22,
  kIoError = 23,
  kInternal = 24,
  kNotRecorded = 2989,  ///< 0xbad, so that nobody takes it for what a board answered.
};

struct CodeInfo {
  Code code;
  std::string_view name;     ///< As the profile's fault rules and the log spell it.
  std::string_view meaning;  ///< One sentence without its full stop.
};

inline constexpr std::array kCodes{
    CodeInfo{kOk, "ok", "the operation was carried out"},
    CodeInfo{kNotInitialised, "notInitialised",
             "the manager was never initialised, or its initialisation failed"},
    CodeInfo{kNotRunning, "notRunning", "the manager is initialised but does not run"},
    CodeInfo{kNoSuchProperty, "noSuchProperty", "the board has no property of that name"},
    CodeInfo{kNoSuchKind, "noSuchKind", "the device type is not one of the known codes"},
    CodeInfo{kNoSuchDevice, "noSuchDevice", "the board has no place for a device of that number"},
    CodeInfo{kDeviceAbsent, "deviceAbsent", "the device is not fitted or has fallen off the bus"},
    CodeInfo{kNotReady, "notReady",
             "the device is not ready, or the first snapshot is not complete"},
    CodeInfo{kNotReadable, "notReadable", "the property cannot be read"},
    CodeInfo{kNotWritable, "notWritable", "the property cannot be written"},
    CodeInfo{kNotClearable, "notClearable", "the property cannot be cleared"},
    CodeInfo{kOutOfRange, "outOfRange", "the value lies outside the property's range"},
    CodeInfo{kBadArgument, "badArgument",
             "an argument is null, or a size or an access mode means nothing"},
    CodeInfo{kBufferTooSmall, "bufferTooSmall", "the text does not fit the caller's buffer"},
    CodeInfo{kFileRefused, "fileRefused", "the manifest, profile or properties file was rejected"},
    CodeInfo{kAlreadyRunning, "alreadyRunning", "the manager is initialised already"},
    CodeInfo{kNotSupported, "notSupported",
             "the board has no such sensor, or a callback tried to stop the manager"},
    CodeInfo{kStopped, "stopped", "the manager was stopped while the operation waited"},
    CodeInfo{kBusy, "busy", "the postbox still works on an earlier request"},
    CodeInfo{kBadOpcode, "badOpcode", "the postbox does not know the opcode"},
    CodeInfo{kBadRequest, "badRequest", "the postbox rejected an argument of the request"},
    CodeInfo{kTimeout, "timeout", "the device did not answer in time"},
    CodeInfo{kCannotOpen, "cannotOpen", "the log file could not be opened"},
    CodeInfo{kIoError, "ioError", "the bus transfer failed"},
    CodeInfo{kInternal, "internal", "the library ran out of memory or met an unexpected state"},
    CodeInfo{kNotRecorded, "notRecorded", "the replayed recording holds no answer to this call"},
};

}  // namespace sim
