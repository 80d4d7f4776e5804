#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <utility>

#include "sim/base/log.h"
#include "sim/config/fields.h"
#include "sim/config/readers.h"
#include "sim/library/builtin.h"
#include "sim/library/manager.h"

// The files that the manager opens, each of which may have one use only.

namespace sim {
namespace {

Document readOr(const std::string& file, std::string_view builtin, const std::string& name) {
  return file.empty() ? parseJson(builtin, name) : readJsonFile(file);
}

}  // namespace

void Manager::load(const std::string& manifest, const std::string& profile,
                   const std::string& properties) {
  files_ = {};
  const std::pair<const std::string&, std::string_view> inputs[] = {
      {manifest, "the manifest"}, {profile, "the profile"}, {properties, "the properties file"}};
  for (const auto& [name, use] : inputs) {
    const std::optional<FileId> file = fileNamed(name.c_str());
    if (file && file == logFile()) {
      throw FileError(name + ": is the log; " + std::string(use) + " needs a file of its own");
    }
    files_.add(use, file);
  }
  const Document behaviour = readOr(profile, "{}", "");
  if (const std::optional<ReplaySettings> settings = readReplay(behaviour)) {
    replay(behaviour, *settings);
    return;
  }
  player_.dropLog();
  const Document devices = readOr(manifest, kBuiltinManifest, "(built-in manifest)");
  Topology topology = readTopology(devices);
  const Document document = readOr(properties, R"({"extends": "builtin", "properties": {}})", "");
  Document builtin;
  if (document.find("extends") != nullptr) {
    builtin = parseJson(kBuiltinProperties, "(built-in properties)");
  }
  PropertyDb db = readProperties(document, builtin, devices, topology);
  Profile settings = readProfile(behaviour, topology, db);
  if (!settings.journal.empty()) openJournal(behaviour, settings);
  journal_.dropBuffered();
  clock_.emplace(settings.clock);
  board_.emplace(std::move(topology), std::move(db), std::move(settings));
}

void Manager::replay(const Document& profile, const ReplaySettings& settings) {
  const Node& place = requireMember(requireMember(profile, "replay"), "journal");
  const std::string quoted = '\'' + settings.journal + "' ";
  const std::optional<FileId> file = fileNamed(settings.journal.c_str());
  if (const std::string_view use = usedFiles().useOf(file); !use.empty()) {
    place.reject(quoted + "is " + std::string(use) + "; the recording needs a file of its own");
  }
  std::ifstream input(settings.journal, std::ios::binary);
  if (!input) place.reject(quoted + "cannot be opened: " + std::strerror(errno));
  journal::Recording recording;
  try {
    recording = journal::readRecording(input, settings.journal);
  } catch (const journal::Error& error) {
    throw FileError(error.what());
  }
  if (recording.cutAt) {
    logLine(Level::warning, settings.journal + ':' + std::to_string(*recording.cutAt) +
                                ": the last line is cut off and left out");
  }
  files_.add("the recording", file);
  player_.start(Replay(settings, std::move(recording)));
}

UsedFiles Manager::usedFiles() const {
  UsedFiles files = files_;
  files.add("the log", logFile());
  files.add("standard output", fileBehind(STDOUT_FILENO));
  files.add("standard error", fileBehind(STDERR_FILENO));
  return files;
}

void Manager::openJournal(const Document& profile, const Profile& settings) {
  const auto mode = kClockWords[static_cast<std::size_t>(settings.clock.mode)];
  const std::string error = journal_.open(settings.journal, usedFiles(), settings.seed, mode);
  if (!error.empty()) {
    requireMember(profile, "journal").reject("'" + settings.journal + "' " + error);
  }
  files_.add("the journal", journal_.file());
}

int Manager::openLog(const char* fileName, const journal::Capture& capture) {
  const Lock lock(mutex_);
  return noteLog(capture, openLogFile(fileName, files_));
}

int Manager::setLogLevel(int level, const journal::Capture& capture) {
  const Lock lock(mutex_);
  return noteLog(capture, sim::setLogLevel(level));
}

int Manager::noteLog(const journal::Capture& capture, int code) {
  if (!journal_.isOpen()) journal_.buffer(capture, code);
  if (!board_ && !player_.active()) player_.noteLog(capture);
  return note(capture, code);
}

}  // namespace sim
