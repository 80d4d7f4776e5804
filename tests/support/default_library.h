#pragma once

#include <vector>

/// `default_library.cpp` defines everything that `libdevmgr.so.0` exports, weakly: each call
/// succeeds and does nothing. A stand-in for the library is linked with its object, not with an
/// archive of it, and defines only what it is about.
///
/// The postbox entry points of one signature call one of these functions, which are weak as well.
/// `name`: the entry point's.

int postboxList(const char* name, int deviceId, unsigned char opcode, unsigned char arg1,
                unsigned char arg2, const std::vector<unsigned int>& input,
                std::vector<unsigned int>& output, bool flag);

int postboxSync(const char* name, int deviceId, unsigned char opcode, unsigned char arg1,
                unsigned char arg2, unsigned int data, unsigned int extendedData,
                unsigned int* output1, unsigned int* output2, unsigned int* output3, bool flag);

int postboxAsync(const char* name, int deviceId, unsigned char request,
                 const std::vector<unsigned int>& input, unsigned int* output1,
                 unsigned int* output2, std::vector<unsigned int>& output, unsigned int outputSize,
                 bool flag);
