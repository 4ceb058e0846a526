// How the work of a piece of code grows with the size of what it works on.
#pragma once
#include <algorithm>
#include <cstddef>
#include <ctime>
#include <limits>

namespace orbtest {

/// Processor time of this thread, the lesser of two runs.
template <typename Work, typename Input>
double leastTime_s(const Work& work, const Input& input) {
  const auto now_s = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
  };
  double least = std::numeric_limits<double>::max();
  for (int run = 0; run < 2; ++run) {
    const double begin = now_s();
    work(input);
    least = std::min(least, now_s() - begin);
  }
  return least;
}

/// The work on prepare(factor * n) over that on prepare(n): about `factor` where it is in proportion to the size, and
/// the square of it where every part is held against every other.
template <typename Prepare, typename Work>
double growth(std::size_t n, std::size_t factor, const Prepare& prepare, const Work& work) {
  const double small = leastTime_s(work, prepare(n));
  return leastTime_s(work, prepare(factor * n)) / small;
}

}  // namespace orbtest
