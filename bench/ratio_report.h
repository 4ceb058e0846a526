#pragma once
#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

/// Our path and a yardstick that ran in the same process: the ratio is what counts.
struct Comparison {
  const char* name;       ///< what is measured
  const char* ours;       ///< benchmark of our path
  const char* peer_name;  ///< what it is held against
  const char* peer;       ///< benchmark of the yardstick; null: `limit` takes its place
  double goal;            ///< greatest ratio that we accept
  double limit = 0;       ///< in the unit of the benchmark
};

/// Keeps the least time of every benchmark, because what else the machine does only ever adds, and prints the
/// comparisons.
class RatioReport : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& context) override;
  void ReportRuns(const std::vector<Run>& runs) override;

  bool hasRun(const std::string& benchmark) const { return samples_.count(benchmark) != 0; }
  /// A number that was not measured as a time, for a comparison with a limit.
  void set(const std::string& benchmark, double value) { samples_[benchmark] = {value}; }
  /// Prints a table and writes the rows as CSV: name,ours_ns,peer,peer_ns,ratio,goal. Comparisons of which nothing ran
  /// are left out. @return false when the file cannot be written
  bool write(const std::vector<Comparison>& comparisons, const std::string& csv_path) const;

 private:
  double least(const char* benchmark) const;

  std::map<std::string, std::vector<double>> samples_;  // ns per operation, one for each repetition
};
