#include "tools/devmgr-check/elf_file.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

/// This program's own header, which the linker provides.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" const ElfW(Ehdr) __ehdr_start __attribute__((visibility("hidden")));

namespace {

[[noreturn]] void damaged(const char* what) {
  throw std::runtime_error(std::string("damaged: ") + what);
}

/// `end`: where the part ends, or the highest number if that is beyond every file.
void requireComplete(const char* part, std::uint64_t end, std::uint64_t size) {
  if (end <= size) return;
  throw std::runtime_error("truncated: it has " + std::to_string(size) + " bytes, and its " + part +
                           " end at byte " + std::to_string(end));
}

std::uint64_t endOf(std::uint64_t offset, std::uint64_t size) {
  return size > UINT64_MAX - offset ? UINT64_MAX : offset + size;
}

bool exported(const ElfW(Sym) & symbol) {
  return symbol.st_shndx != SHN_UNDEF && symbol.st_info >> 4 != STB_LOCAL;
}

}  // namespace

SymbolKind kindOf(const ElfW(Sym) & symbol) {
  switch (symbol.st_info & 0xF) {
    case STT_NOTYPE:
      return SymbolKind::untyped;
    case STT_FUNC:
    case STT_GNU_IFUNC:
      return SymbolKind::function;
    case STT_TLS:
      return SymbolKind::threadLocal;
    default:
      return SymbolKind::data;
  }
}

ElfFile::ElfFile(int descriptor) : descriptor_(descriptor) {
  if (fstat(descriptor, &status_) != 0) throw std::system_error(errno, std::generic_category());
  if (!S_ISREG(status_.st_mode)) throw std::runtime_error("not a regular file");
  size_ = static_cast<std::uint64_t>(status_.st_size);

  const std::vector<char> magic = read<char>(0, std::min<std::uint64_t>(size_, SELFMAG));
  if (magic.empty()) throw std::runtime_error("the file is empty");
  if (std::memcmp(magic.data(), ELFMAG, magic.size()) != 0) {
    throw std::runtime_error("not a shared library");
  }
  requireComplete("headers", sizeof(ElfW(Ehdr)), size_);
  const ElfW(Ehdr) header = read<ElfW(Ehdr)>(0, 1)[0];
  checkHeader(header);
  readSegments(header);
  const auto dynamic =
      std::find_if(segments_.begin(), segments_.end(),
                   [](const ElfW(Phdr) & segment) { return segment.p_type == PT_DYNAMIC; });
  if (dynamic == segments_.end()) throw std::runtime_error("not a shared library");
  readDynamicSection(*dynamic);
}

bool ElfFile::isNamed(const char* name) const {
  struct stat other = {};
  return stat(name, &other) == 0 && other.st_dev == status_.st_dev &&
         other.st_ino == status_.st_ino;
}

void ElfFile::checkHeader(const ElfW(Ehdr) & header) const {
  if (header.e_ident[EI_CLASS] != __ehdr_start.e_ident[EI_CLASS] ||
      header.e_ident[EI_DATA] != __ehdr_start.e_ident[EI_DATA] ||
      header.e_machine != __ehdr_start.e_machine) {
    throw std::runtime_error("made for another machine");
  }
  if (header.e_type != ET_DYN) throw std::runtime_error("not a shared library");
  if (header.e_phentsize != sizeof(ElfW(Phdr))) damaged("the size of its program headers");
}

void ElfFile::readSegments(const ElfW(Ehdr) & header) {
  const std::uint64_t programHeaders = std::uint64_t{header.e_phnum} * header.e_phentsize;
  requireComplete("program headers", endOf(header.e_phoff, programHeaders), size_);
  segments_ = read<ElfW(Phdr)>(header.e_phoff, header.e_phnum);
  for (const ElfW(Phdr) & segment : segments_) {
    if (segment.p_type == PT_NULL) continue;
    requireComplete("segments", endOf(segment.p_offset, segment.p_filesz), size_);
  }
  // The loader needs no section headers, but they usually are the end of the file.
  const std::uint64_t sections = std::uint64_t{header.e_shnum} * header.e_shentsize;
  requireComplete("section headers", endOf(header.e_shoff, sections), size_);
}

void ElfFile::readDynamicSection(const ElfW(Phdr) & segment) {
  std::uint64_t symbols = 0;
  std::uint64_t strings = 0;
  std::uint64_t stringsSize = 0;
  std::uint64_t gnuHash = 0;
  std::uint64_t hash = 0;
  std::uint64_t soname = 0;
  std::uint64_t flags = 0;
  using Entry = ElfW(Dyn);
  for (const Entry& entry : at<Entry>(segment.p_vaddr, segment.p_filesz / sizeof(Entry))) {
    const std::uint64_t value = entry.d_un.d_val;
    if (entry.d_tag == DT_NULL) break;
    if (entry.d_tag == DT_SYMTAB) symbols = value;
    if (entry.d_tag == DT_STRTAB) strings = value;
    if (entry.d_tag == DT_STRSZ) stringsSize = value;
    if (entry.d_tag == DT_GNU_HASH) gnuHash = value;
    if (entry.d_tag == DT_HASH) hash = value;
    if (entry.d_tag == DT_SONAME) soname = value;
    if (entry.d_tag == DT_FLAGS_1) flags = value;
  }
  if ((flags & DF_1_PIE) != 0) throw std::runtime_error("a program, not a shared library");
  strings_ = at<char>(strings, stringsSize);
  if (soname != 0) soname_ = string(soname);
  symbols_ = at<ElfW(Sym)>(symbols, countSymbols(gnuHash, hash));
  for (const ElfW(Sym) & symbol : symbols_) string(symbol.st_name);
}

/// The old hash table gives the number of symbols. In the new one, the last symbol is the end of
/// the longest chain.
std::uint64_t ElfFile::countSymbols(std::uint64_t gnuHash, std::uint64_t hash) const {
  using Word = std::uint32_t;
  if (gnuHash == 0) return hash == 0 ? 0 : at<Word>(hash, 2)[1];
  const std::vector<Word> header = at<Word>(gnuHash, 4);
  const std::uint64_t bucketCount = header[0];
  const std::uint64_t firstHashed = header[1];
  const std::uint64_t filterSize = std::uint64_t{header[2]} * sizeof(ElfW(Addr));
  const std::uint64_t bucketsAt = gnuHash + 4 * sizeof(Word) + filterSize;
  const std::vector<Word> buckets = at<Word>(bucketsAt, bucketCount);
  if (buckets.empty()) return firstHashed;
  std::uint64_t last = *std::max_element(buckets.begin(), buckets.end());
  if (last < firstHashed) return firstHashed;
  const std::uint64_t chainsAt = bucketsAt + bucketCount * sizeof(Word);
  while ((at<Word>(chainsAt + (last - firstHashed) * sizeof(Word), 1)[0] & 1) == 0) ++last;
  return last + 1;
}

template <typename Item>
std::vector<Item> ElfFile::read(std::uint64_t offset, std::uint64_t count) const {
  std::vector<Item> items(static_cast<std::size_t>(count));
  auto* const bytes = reinterpret_cast<char*>(items.data());
  const std::size_t size = items.size() * sizeof(Item);
  std::size_t done = 0;
  while (done < size) {
    const ssize_t got =
        pread(descriptor_, bytes + done, size - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw std::system_error(errno, std::generic_category());
    if (got == 0) throw std::runtime_error("truncated while it was read");
    done += static_cast<std::size_t>(got);
  }
  return items;
}

template <typename Item>
std::vector<Item> ElfFile::at(std::uint64_t address, std::uint64_t count) const {
  for (const ElfW(Phdr) & segment : segments_) {
    if (segment.p_type != PT_LOAD || address < segment.p_vaddr) continue;
    const std::uint64_t before = address - segment.p_vaddr;
    if (before > segment.p_filesz) continue;
    if (count > (segment.p_filesz - before) / sizeof(Item)) continue;
    return read<Item>(segment.p_offset + before, count);
  }
  damaged("a table lies outside its segments");
}

std::string_view ElfFile::string(std::uint64_t offset) const {
  if (offset >= strings_.size()) damaged("a name lies outside its string table");
  const char* const text = strings_.data() + offset;
  return {text, strnlen(text, strings_.size() - static_cast<std::size_t>(offset))};
}

const ElfW(Sym) * ElfFile::find(std::string_view name) const {
  const auto found = std::find_if(symbols_.begin(), symbols_.end(), [&](const ElfW(Sym) & symbol) {
    return exported(symbol) && string(symbol.st_name) == name;
  });
  return found == symbols_.end() ? nullptr : &*found;
}

std::string ElfFile::cxxNameOf(const std::string& name) const {
  const std::string prefix = "_Z" + std::to_string(name.size()) + name;
  for (const ElfW(Sym) & symbol : symbols_) {
    const std::string_view text = string(symbol.st_name);
    if (exported(symbol) && text.starts_with(prefix)) return std::string(text);
  }
  return {};
}
