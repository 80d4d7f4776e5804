#pragma once

#include <link.h>

#include <string>

#include "tools/devmgr-check/elf_file.h"

/// The library, loaded into this process. It stays loaded until the process ends: it may have
/// threads. Main thread only.
class Library {
 public:
  /// Loads the file with all its symbols bound. `file`: the name of the file that `contents` was
  /// read from, with a slash in it. Raises `std::runtime_error` with the reason when that fails.
  Library(const std::string& file, const ElfFile& contents);

  /// The address of an exported symbol, of this library or of one that it needs; null for none.
  [[nodiscard]] void* find(const std::string& symbol) const;

  /// The symbol that `find` finds; null when there is none, or when it is another library's and
  /// nothing but its address is known.
  [[nodiscard]] const ElfW(Sym) * symbol(const std::string& name) const;

  /// The entry point of that name, with the type of its declaration; null when there is none.
  template <typename Function>
  [[nodiscard]] Function* entryPoint(const std::string& name) const {
    return isData(name) ? nullptr : reinterpret_cast<Function*>(find(name));
  }

 private:
  [[nodiscard]] bool isData(const std::string& name) const;

  const ElfFile& contents_;
  void* handle_;
};
