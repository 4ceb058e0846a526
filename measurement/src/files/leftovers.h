/// Files that must not stay behind when the program ends.
#pragma once
#include <cstddef>
#include <string>
#include <vector>

namespace com::norvale::measurement {

/// From now on SIGINT, SIGTERM and SIGHUP remove what Leftovers name before they end the program. Without it the
/// signals are left to the program.
void removeLeftoversOnSignals();

/// Names up to five files, or folders that are empty once the files before them are gone, that must not stay behind as
/// long as the object lives. Several threads may have such objects, 256 at once.
class Leftovers {
 public:
  /// @throws Failure when there are too many
  explicit Leftovers(const std::vector<std::string>& names);
  ~Leftovers();
  Leftovers(const Leftovers&) = delete;
  Leftovers& operator=(const Leftovers&) = delete;

  /// Removes them now. What is not there is no failure.
  void remove() const;

 private:
  std::size_t place_;
};

/// Removes all of them, for a program that ends at once. Neither allocates nor locks.
void removeLeftovers() noexcept;

/// As long as it lives, the first of these signals does not end the program but asks it to come to an end by itself;
/// the second one ends it. One object at a time.
class GentleStop {
 public:
  GentleStop();
  ~GentleStop();
  GentleStop(const GentleStop&) = delete;
  GentleStop& operator=(const GentleStop&) = delete;

  /// Whether a signal has come.
  bool isAsked() const;
};

/// The names that a data file can have on disk while it is being written: its own and those of its companions.
std::vector<std::string> namesOfDataFile(const std::string& path);

}  // namespace com::norvale::measurement
