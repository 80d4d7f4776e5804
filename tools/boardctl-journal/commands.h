#pragma once

#include <string>
#include <vector>

/// Each command adds what it prints to `out` and returns the exit status: 0, or 1 where it found
/// what it looks for. What is wrong with a file is thrown, as one line that begins with its name.
/// `words`: the names of the files.
using Command = int (*)(const std::vector<std::string>& words, std::string& out);

int checkJournal(const std::vector<std::string>& words, std::string& out);
int scanJournal(const std::vector<std::string>& words, std::string& out);
int redactJournal(const std::vector<std::string>& words, std::string& out);
int makeBoard(const std::vector<std::string>& words, std::string& out);
