#pragma once

#include <cstdint>

/// An error code, and how the tool prints it in hexadecimal.
struct CodeText {
  std::int32_t code;
  const char* text;
};
inline constexpr CodeText kCodeTexts[] = {{31, "1f"},
                                          {1, "1"},
                                          {-1, "ffffffff"},
                                          {16, "10"},
                                          {-31, "ffffffe1"},
                                          {INT32_MAX, "7fffffff"},
                                          {INT32_MIN, "80000000"}};

/// The time stamp of a log line, as a regular expression.
inline constexpr const char* kStampPattern =
    R"(\[[0-9]{2}/[0-9]{2}/[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{9}\])";
