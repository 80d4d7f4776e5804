#pragma once

/// What a benchmark may ask of the device library whose calls cost nothing.
struct NullLibrary {
  int names = 0;                   ///< how many properties every device type has
  void (*afterNames)() = nullptr;  ///< called once the names are listed
};

extern NullLibrary nullLibrary;
