#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

/// A fuzz target tries one input, and ends the process when it finds a fault.
using FuzzTarget = void(const std::uint8_t* data, std::size_t size);

/// The targets, each in a file of its name.
FuzzTarget fuzz_front_end;
FuzzTarget fuzz_journal;
FuzzTarget fuzz_library;
FuzzTarget fuzz_log;
FuzzTarget fuzz_manifest;
FuzzTarget fuzz_numbers;
FuzzTarget fuzz_profile;
FuzzTarget fuzz_properties;
FuzzTarget fuzz_shell;
FuzzTarget fuzz_usage;

/// What they share.
namespace fuzz {

/// Ends the process with both texts when they differ.
void expectEqual(const char* what, std::string_view expected, std::string_view found);

/// Takes pieces off the front of an input; past its end everything is 0 or empty.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size)
      : rest_(reinterpret_cast<const char*>(data), size) {}

  std::uint8_t byte();
  std::uint32_t word();
  /// Up to the next newline, which is dropped.
  std::string line();
  std::string rest() const { return std::string(rest_); }
  bool empty() const { return rest_.empty(); }

 private:
  std::string_view rest_;
};

/// Collects what is written to standard output while it lives.
class Capture {
 public:
  Capture();
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;
  ~Capture();
  std::string_view text();

 private:
  std::FILE* before_;
  char* text_ = nullptr;
  std::size_t size_ = 0;
};

std::string joined(const std::vector<std::string>& lines);

}  // namespace fuzz
