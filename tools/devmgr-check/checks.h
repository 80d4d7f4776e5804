#pragma once

#include <string>

#include "tools/devmgr-check/elf_file.h"
#include "tools/devmgr-check/library.h"
#include "tools/devmgr-check/report.h"

/// What the file itself tells: its name, and the kind and size of what it exports. A symbol that it
/// does not export gets no row: a library that it needs may export it.
void checkFile(const ElfFile& file, Report& report);

/// What loading adds: the symbols that the file does not export, and those which it does but the
/// dynamic loader does not find.
void checkLoaded(const ElfFile& file, const Library& library, Report& report);

/// Starts the manager with these files (empty names for none), waits as long as the tool does,
/// makes reading calls only, compares the answers with the contract, and stops the manager. Needs
/// the entry points that it calls; skipped with a row of its own when one is missing.
void checkLive(const Library& library, const std::string& manifest, const std::string& profile,
               const std::string& properties, Report& report);
