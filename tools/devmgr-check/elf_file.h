#pragma once

#include <link.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// What a symbol says that it stands for.
enum class SymbolKind { function, data, threadLocal, untyped };

SymbolKind kindOf(const ElfW(Sym) & symbol);

/// A shared library as the dynamic loader would see it, read from its file and not loaded. Every
/// offset and count that the file gives is compared with the file's size first.
class ElfFile {
 public:
  /// Reads the file behind a descriptor, which is not needed afterwards. Raises
  /// `std::runtime_error` with the reason unless it is a complete shared library for this machine.
  explicit ElfFile(int descriptor);

  /// Whether that name is one of the file's own. False as well when there is no such file.
  [[nodiscard]] bool isNamed(const char* name) const;

  /// The name under which programs that were linked with the library ask for it; empty for none.
  [[nodiscard]] const std::string& soname() const { return soname_; }

  /// The symbol of that name which the file itself exports; null for none. Valid as long as this
  /// object.
  [[nodiscard]] const ElfW(Sym) * find(std::string_view name) const;

  /// The first exported symbol that is the C++ name of a function called `name`; empty for none.
  [[nodiscard]] std::string cxxNameOf(const std::string& name) const;

 private:
  /// `count` items from an offset of the file.
  template <typename Item>
  [[nodiscard]] std::vector<Item> read(std::uint64_t offset, std::uint64_t count) const;
  /// `count` items from where the loader would put them.
  template <typename Item>
  [[nodiscard]] std::vector<Item> at(std::uint64_t address, std::uint64_t count) const;
  void checkHeader(const ElfW(Ehdr) & header) const;
  void readSegments(const ElfW(Ehdr) & header);
  void readDynamicSection(const ElfW(Phdr) & segment);
  [[nodiscard]] std::uint64_t countSymbols(std::uint64_t gnuHash, std::uint64_t hash) const;
  std::string_view string(std::uint64_t offset) const;

  int descriptor_;
  struct stat status_ = {};
  std::uint64_t size_ = 0;
  std::vector<ElfW(Phdr)> segments_;
  std::vector<ElfW(Sym)> symbols_;
  std::vector<char> strings_;
  std::string soname_;
};
