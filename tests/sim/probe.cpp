#include <cstdio>
#include <iostream>
#include <string>

#include "devmgr/manager.h"

// Initialises the library with three files for each three lines of standard input and prints the
// codes. What the library has to say about a rejection goes to standard error.
int main() {
  std::string manifest;
  std::string profile;
  std::string properties;
  while (std::getline(std::cin, manifest) && std::getline(std::cin, profile) &&
         std::getline(std::cin, properties)) {
    const int code = GPUManagerInit(manifest.c_str(), profile.c_str(), properties.c_str());
    if (code == 0) GPUManagerStop();
    std::printf("%d\n", code);
  }
}
