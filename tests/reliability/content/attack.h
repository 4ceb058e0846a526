#pragma once
#include <filesystem>
#include <string>
#include <vector>

namespace content {

/// What a process may use.
struct Bounds {
  double cpu_s = 60;  ///< in one operation
  std::size_t memory_mb = 1024;
};

struct Find {
  std::string operation;
  std::string what;    ///< in a line
  std::string report;  ///< what the process printed
};

/// Runs operations, each in a process of its own, in a folder with the files of operations.h.
/// @param slowest  in, out: the most processor time that each operation took
std::vector<Find> attack(const std::filesystem::path& folder, const std::vector<std::size_t>& numbers,
                         const Bounds& bounds, std::vector<double>& slowest_s);

}  // namespace content
