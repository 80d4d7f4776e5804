#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

namespace PropertyCatalogue {

/// An immutable set, sorted at compile time.
template <typename T, std::size_t N>
class SortedSet {
 public:
  consteval explicit SortedSet(const T (&values)[N]) {
    std::copy(std::begin(values), std::end(values), values_.begin());
    std::sort(values_.begin(), values_.end());
    if (std::adjacent_find(values_.begin(), values_.end()) != values_.end()) {
      throw "a value stands twice";
    }
  }

  constexpr bool contains(const T& value) const {
    return std::binary_search(values_.begin(), values_.end(), value);
  }
  constexpr auto begin() const { return values_.begin(); }
  constexpr auto end() const { return values_.end(); }
  constexpr std::size_t size() const { return N; }

 private:
  std::array<T, N> values_ = {};
};

template <typename T, std::size_t N>
consteval SortedSet<T, N> sortedSet(const T (&values)[N]) {
  return SortedSet<T, N>(values);
}

}  // namespace PropertyCatalogue
