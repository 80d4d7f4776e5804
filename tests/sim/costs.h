#pragma once

#include <cstddef>
#include <functional>

/// What the code under test costs in memory and processor time. Neither depends on what else runs
/// on the machine.
namespace costs {

/// Whether the memory is counted here: under some sanitizers it is not.
bool areCounted();

/// The most memory that was allocated at any moment of the work, beyond what was before: bytes.
std::size_t peakOf(const std::function<void()>& work);

/// Lets every allocation fail that another thread makes.
void refuseOthers(bool refused);

/// How often an allocation has been refused.
std::size_t refusals();

/// How many times as much processor time the work takes for 8 * n as for n: 8 when it grows with n,
/// 64 when it grows with the square of n.
double growth(const std::function<void(int n)>& work, int n);
constexpr double kLinear =
    24;  ///< More is no longer linear; the bound is the same factor from both.

}  // namespace costs
