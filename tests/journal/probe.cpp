#include <iostream>
#include <string>

#include "journal/reader.h"

// Reads the journals that standard input names, and prints "ok" or the rejection for each.
int main() {
  for (std::string file; std::getline(std::cin, file);) {
    try {
      journal::readRecording(file);
      std::cout << "ok\n";
    } catch (const journal::Error& error) {
      std::cout << error.what() << '\n';
    }
  }
}
