#pragma once

#include <functional>
#include <string>
#include <utility>

/// What is said about one thing that was checked.
enum class Verdict : char { good = '+', bad = '-', unknown = '?' };

/// Where the rows of the report go.
struct Rows {
  /// Takes a row: verdict, what was checked, detail, which may be empty.
  std::function<void(Verdict, const std::string&, const std::string&)> add;
  /// Notes what begins now, in case that it never ends: a name that fits behind "in".
  std::function<void(const std::string&)> enter;
};

/// What has been found out so far. Single-threaded.
class Report {
 public:
  explicit Report(Rows rows) : rows_(std::move(rows)) {}

  void good(const std::string& what, const std::string& detail = "") {
    add(Verdict::good, what, detail);
  }
  void bad(const std::string& what, const std::string& detail = "") {
    add(Verdict::bad, what, detail);
  }
  void unknown(const std::string& what, const std::string& detail = "") {
    add(Verdict::unknown, what, detail);
  }
  void check(bool condition, const std::string& what, const std::string& detail) {
    condition ? good(what) : bad(what, detail);
  }
  void add(Verdict verdict, const std::string& what, const std::string& detail) {
    fits_ = fits_ && verdict != Verdict::bad;
    complete_ = complete_ && verdict != Verdict::unknown;
    rows_.add(verdict, what, detail);
  }
  void enter(const std::string& place) { rows_.enter(place); }

  /// 0: the library is compatible; 1: it is not; 2: something could not be determined.
  [[nodiscard]] int status() const { return fits_ ? (complete_ ? 0 : 2) : 1; }

 private:
  Rows rows_;
  bool fits_ = true;
  bool complete_ = true;
};
