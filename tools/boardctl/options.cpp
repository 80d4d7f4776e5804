#include <fcntl.h>
#include <unistd.h>

#include <stdexcept>

#include "cli/handlers.h"
#include "devmgr/logger.h"
#include "tools/boardctl/settings.h"

namespace boardctl {
namespace {

/// Without a file stream: the dynamic loader's work for its symbols is felt at every start.
bool opensForReading(const std::string& name) {
  const int file = open(name.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  close(file);
  return true;
}

std::int32_t keepFileName(const std::string& name, std::string& setting) {
  if (!opensForReading(name)) throw std::runtime_error("File " + name + " not exist!");
  setting = name;
  return 0;
}

}  // namespace

std::int32_t setManifestFile(std::vector<std::string> words) {
  return keepFileName(words.at(0), manifestFile);
}

std::int32_t setProfileFile(std::vector<std::string> words) {
  return keepFileName(words.at(0), profileFile);
}

std::int32_t setPropertiesFile(std::vector<std::string> words) {
  return keepFileName(words.at(0), propertiesFile);
}

std::int32_t setLogLevel(std::vector<std::string> words) {
  const int level = std::stoi(words.at(0));
  if (level < 0 || level > kHighestLogLevel)
    throw std::runtime_error(std::string("Level of our range[0-5]!"));
  GPUSetLogLevel(level);
  return 0;
}

std::int32_t setLogFile(std::vector<std::string> words) {
  if (words.at(0).empty()) throw std::runtime_error(std::string("Need a file name!"));
  GPUSetLogger(words[0].c_str());
  return 0;
}

}  // namespace boardctl
