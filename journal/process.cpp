#include "journal/process.h"

#include <fcntl.h>
#include <link.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace journal {
namespace {

struct Search {
  const void* address;  ///< Null: the first object, which is the program.
  std::string found;
};

bool contains(const dl_phdr_info& object, const void* address) {
  const auto place = reinterpret_cast<std::uintptr_t>(address) - object.dlpi_addr;
  for (const ElfW(Phdr) & part : std::span(object.dlpi_phdr, object.dlpi_phnum)) {
    if (part.p_type == PT_LOAD && place - part.p_vaddr < part.p_memsz) return true;
  }
  return false;
}

std::string hexadecimal(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    text += kDigits[static_cast<unsigned char>(c) / 16];
    text += kDigits[static_cast<unsigned char>(c) % 16];
  }
  return text;
}

/// The build id among the notes of one part of an object.
std::string buildIdIn(std::string_view notes) {
  constexpr auto kPadded = [](std::size_t size) { return (size + 3) & ~std::size_t{3}; };
  ElfW(Nhdr) note{};
  while (notes.size() >= sizeof note) {
    std::memcpy(&note, notes.data(), sizeof note);
    const std::size_t content = sizeof note + kPadded(note.n_namesz);
    const std::size_t end = content + kPadded(note.n_descsz);
    if (end > notes.size()) return "";
    const bool isGnu = notes.substr(sizeof note, note.n_namesz) == std::string_view("GNU\0", 4);
    if (note.n_type == NT_GNU_BUILD_ID && isGnu) {
      return hexadecimal(notes.substr(content, note.n_descsz));
    }
    notes.remove_prefix(end);
  }
  return "";
}

int visit(dl_phdr_info* object, std::size_t /*size*/, void* data) {
  auto& search = *static_cast<Search*>(data);
  if (search.address != nullptr && !contains(*object, search.address)) return 0;
  for (const ElfW(Phdr) & part : std::span(object->dlpi_phdr, object->dlpi_phnum)) {
    if (part.p_type != PT_NOTE || !search.found.empty()) continue;
    const auto* const notes = reinterpret_cast<const char*>(object->dlpi_addr + part.p_vaddr);
    search.found = buildIdIn({notes, part.p_memsz});
  }
  return 1;
}

}  // namespace

std::string buildIdOf(const void* address) {
  Search search{address, ""};
  dl_iterate_phdr(visit, &search);
  return search.found;
}

std::vector<std::string> processArguments() {
  std::vector<std::string> arguments;
  const int file = open("/proc/self/cmdline", O_RDONLY | O_CLOEXEC);
  if (file < 0) return arguments;
  std::array<char, 4096> part;
  bool isNew = true;
  for (ssize_t size; (size = read(file, part.data(), part.size())) > 0;) {
    for (const char c : std::span(part).first(static_cast<std::size_t>(size))) {
      if (isNew) arguments.emplace_back();
      isNew = c == '\0';
      if (!isNew) arguments.back() += c;
    }
  }
  close(file);
  return arguments;
}

void addProcess(Line& header, const void* inLibrary) {
  const std::vector<std::string> arguments = processArguments();
  if (!arguments.empty()) header.add("arguments", std::span(arguments));
  const std::string tool = buildIdOf(nullptr);
  const std::string library = buildIdOf(inLibrary);
  if (!tool.empty()) header.add("tool", tool);
  if (!library.empty()) header.add("library", library);
}

}  // namespace journal
