#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "record/environment.h"

/// Runs a command with the recorder preloaded.

namespace {

constexpr int kFailed = 125;
constexpr int kCannotRun = 126;
constexpr int kNotFound = 127;

constexpr const char* kHelp =
    "usage: boardctl-record [--keep-identities] [--limit BYTES] FILE COMMAND [ARGUMENT...]\n"
    "Runs COMMAND, and writes what it calls in the device library, and what it gets, into FILE, "
    "which\n"
    "must not exist yet. Serial numbers and other identities are replaced by pseudonyms, unless\n"
    "--keep-identities is given. The limit of the size is 16 MiB unless --limit gives another.\n";

[[noreturn]] void fail(int status, const std::string& what, const char* why) {
  std::fprintf(stderr, "boardctl-record: %s: %s\n", what.c_str(), why);
  std::exit(status);
}

/// As `execvp` looks for it; what is not found stays as it is.
std::string findCommand(const std::string& command) {
  const char* const variable = std::getenv("PATH");
  if (command.find('/') != std::string::npos || variable == nullptr) return command;
  const std::string path = variable;
  for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1) {
    end = path.find(':', begin);
    const std::string folder = path.substr(begin, end - begin);
    std::string file = (folder.empty() ? "." : folder) + '/' + command;
    if (access(file.c_str(), X_OK) == 0) return file;
  }
  return command;
}

/// Why the loader would not preload anything into a program; null for one that it would, and for
/// a script, whose interpreter is another program.
const char* whyNotRecorded(const std::string& file) {
  struct stat status = {};
  std::FILE* const program = std::fopen(file.c_str(), "rb");
  if (program == nullptr || fstat(fileno(program), &status) != 0) return nullptr;
  ElfW(Ehdr) header = {};
  const bool isElf = std::fread(&header, sizeof header, 1, program) == 1 &&
                     std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0;
  bool isDynamic = false;
  const bool isOurs = header.e_ident[EI_CLASS] == (sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32) &&
                      header.e_phentsize == sizeof(ElfW(Phdr));
  if (isElf && isOurs && std::fseek(program, static_cast<long>(header.e_phoff), SEEK_SET) == 0) {
    ElfW(Phdr) part = {};
    for (unsigned i = 0; i < header.e_phnum && std::fread(&part, sizeof part, 1, program) == 1;
         ++i) {
      isDynamic = isDynamic || part.p_type == PT_INTERP;
    }
  }
  std::fclose(program);
  if (!isElf) return nullptr;
  if (!isOurs) return "cannot be recorded: it is built for another machine";
  if (!isDynamic) return "cannot be recorded: it is linked statically";
  if ((status.st_mode & (S_ISUID | S_ISGID)) != 0) return "cannot be recorded: it changes its user";
  return nullptr;
}

/// The recorder lies where it was installed in relation to this program.
std::string recorder() {
  char self[PATH_MAX];
  const ssize_t size = readlink("/proc/self/exe", self, sizeof self);
  if (size < 0) fail(kFailed, "/proc/self/exe", std::strerror(errno));
  const std::string_view program(self, static_cast<std::size_t>(size));
  std::string library(program.substr(0, program.rfind('/') + 1));
  library += BOARDCTL_RECORD_LIBRARY;
  if (library.find_first_of(" :$") != std::string::npos) {
    fail(kFailed, library, "the loader does not find a library with ' ', ':' or '$' in its name");
  }
  if (access(library.c_str(), R_OK) != 0) fail(kFailed, library, std::strerror(errno));
  return library;
}

std::string absolute(const std::string& file) {
  if (file.starts_with('/')) return file;
  char folder[PATH_MAX];
  if (getcwd(folder, sizeof folder) == nullptr) fail(kFailed, ".", std::strerror(errno));
  return std::string(folder) + '/' + file;
}

void set(const char* name, const std::string& value) {
  if (setenv(name, value.c_str(), 1) != 0) fail(kFailed, name, std::strerror(errno));
}

/// Whether a recording of that size holds at least its first lines, and fewer than a reader takes.
bool isLimit(std::string_view bytes) {
  std::size_t limit = 0;
  const auto [end, error] = std::from_chars(bytes.data(), bytes.data() + bytes.size(), limit);
  return error == std::errc() && end == bytes.data() + bytes.size() && limit >= 65536 &&
         limit <= 67108864;
}

/// Reads the options into the environment, and returns the position of FILE.
int readOptions(int argc, char** argv) {
  int i = 1;
  for (; i < argc && argv[i][0] == '-' && argv[i][1] != '\0'; ++i) {
    const std::string_view option = argv[i];
    if (option == "--") return i + 1;
    if (option == "-h" || option == "--help") {
      std::fputs(kHelp, stdout);
      std::exit(0);
    }
    if (option == "--keep-identities") {
      set(record::kKeepVariable, "1");
    } else if (option == "--limit" && i + 1 < argc) {
      const std::string_view bytes = argv[++i];
      if (!isLimit(bytes)) {
        fail(kFailed, argv[i], "--limit takes a number of bytes from 65536 to 67108864");
      }
      set(record::kLimitVariable, argv[i]);
    } else {
      fail(kFailed, argv[i], "unknown option; see boardctl-record --help");
    }
  }
  return i;
}

}  // namespace

int main(int argc, char** argv) {
  for (const char* name : {record::kFileVariable, record::kLimitVariable, record::kKeepVariable}) {
    unsetenv(name);
  }
  const int first = readOptions(argc, argv);
  if (argc - first < 2) {
    std::fputs(kHelp, stderr);
    return kFailed;
  }
  const std::string file = absolute(argv[first]);
  char** const words = argv + first + 1;
  const std::string command = findCommand(words[0]);
  if (const char* const why = whyNotRecorded(command)) fail(kCannotRun, words[0], why);
  const char* const others = std::getenv("LD_PRELOAD");
  set("LD_PRELOAD", recorder() + (others == nullptr ? "" : std::string(":") + others));
  set(record::kFileVariable, file);
  const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (descriptor < 0) fail(kFailed, argv[first], std::strerror(errno));
  // Whatever the mask of the process leaves of the mode.
  fchmod(descriptor, 0600);
  close(descriptor);
  execvp(words[0], words);
  const int error = errno;
  unlink(file.c_str());
  fail(error == ENOENT ? kNotFound : kCannotRun, words[0], std::strerror(error));
}
