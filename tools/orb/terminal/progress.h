/// How far long work has come, on standard error when that is a terminal, and nothing otherwise.
#pragma once
#include <chrono>
#include <cstddef>
#include <string>

namespace orb::tool {

class Progress {
 public:
  /// @param what   what is being done: "comparing"
  /// @param total  steps in all; 0 when that is not known
  /// @param prints_data  the command writes to standard output meanwhile; on one terminal they would overwrite each
  /// other
  Progress(std::string what, std::size_t total, bool prints_data = true);
  /// Wipes the line.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Counts a step. Draws at most a few times a second, and not at all during the first half second.
  void step();

 private:
  using Clock = std::chrono::steady_clock;
  void draw();

  std::string what_;
  std::size_t total_;
  std::size_t done_ = 0;
  bool is_shown_;
  bool is_drawn_ = false;
  Clock::time_point next_;
};

}  // namespace orb::tool
