#pragma once
#include <algorithm>
#include <vector>

namespace anautils {

/// The middle value, the upper one of two. There is at least one value.
inline double medianOf(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace anautils
