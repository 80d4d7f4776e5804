#pragma once

#include <link.h>

#include <cstddef>
#include <optional>
#include <string>

/// A device library that was loaded to be looked at. It stays loaded until the process ends: it may
/// have threads. Main thread only.
class Library {
 public:
  /// Loads the file with all its symbols bound. Raises `std::runtime_error` with the loader's
  /// reason when that fails.
  explicit Library(const std::string& file);

  /// The address of an exported symbol, null when there is none.
  [[nodiscard]] void* find(const std::string& symbol) const;

  /// The entry point of that name, with the type of its declaration; null when there is none.
  template <typename Function>
  [[nodiscard]] Function* entryPoint(const std::string& symbol) const {
    return reinterpret_cast<Function*>(find(symbol));
  }

  /// The size of an exported object as its symbol gives it; nothing when there is no such symbol.
  [[nodiscard]] std::optional<std::size_t> sizeOf(const std::string& symbol) const;

  /// The name under which programs that were linked with the library ask for it; empty for none.
  [[nodiscard]] std::string soname() const;

  /// The first exported symbol that is the C++ name of a function called `name`; empty for none.
  [[nodiscard]] std::string cxxNameOf(const std::string& name) const;

 private:
  void* handle_;
  const link_map* map_ = nullptr;
  const ElfW(Sym) * symbols_ = nullptr;
  const char* strings_ = nullptr;
  std::size_t symbolCount_ = 0;
  std::size_t sonameOffset_ = 0;
};
