#pragma once

#include <cstdio>
#include <string>

/// What has been found out so far, printed row by row as a table: verdict, what was checked,
/// detail.
class Report {
 public:
  void good(const std::string& what, const std::string& detail = "") { row("ok", what, detail); }
  void bad(const std::string& what, const std::string& detail) {
    fits_ = false;
    row("FAIL", what, detail);
  }
  void check(bool condition, const std::string& what, const std::string& detail = "") {
    condition ? good(what) : bad(what, detail);
  }
  void unknown(const std::string& what, const std::string& detail) {
    complete_ = false;
    row("?", what, detail);
  }

  /// 0: the library fits; 1: it does not; 2: something could not be told.
  [[nodiscard]] int status() const { return fits_ ? (complete_ ? 0 : 2) : 1; }

 private:
  static void row(const char* verdict, const std::string& what, const std::string& detail) {
    std::printf(detail.empty() ? "%-4s  %s%s\n" : "%-4s  %-32s  %s\n", verdict, what.c_str(),
                detail.c_str());
    std::fflush(stdout);
  }

  bool fits_ = true;
  bool complete_ = true;
};
