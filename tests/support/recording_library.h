#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "devmgr/callbacks.h"

/// Stands in for `libdevmgr.so.0` inside the unit tests: it records every call with its arguments,
/// in order, and answers as the test tells it. Sleeps and waits for input are among the calls.
struct RecordingLibrary {
  std::vector<std::string> calls;

  int initResult = 0;
  int setResult = 0;
  int clearResult = 0;
  int listResult = 0;
  int allListResult = 0;
  int namesResult = 0;
  int postboxResult = 0;
  int registerResult = 0;

  std::string listing;             ///< what the text forms write
  std::vector<std::string> names;  ///< what the vector form fills in
  bool refreshRunning = false;
  /// Answers `DeviceGetData`; writes "value" and returns 0 when not set.
  std::function<int(const std::string& name, char* buffer, int size)> get;
  /// Run inside the call of that name, before it answers.
  std::function<void(const std::string& call)> during;
  unsigned int words[3] = {};             ///< the words that the postbox functions store
  std::vector<unsigned int> outputWords;  ///< the list that they fill
  UpdateCallback callback;                ///< the copy kept by the registration
  std::deque<int> sleepResults;           ///< errno of the next sleeps, 0 for a whole one
};

/// The instance behind the entry points.
RecordingLibrary& library();

/// Forgets everything, and brings `logger` back to closed and without a level.
void resetLibrary();
