#include "ratio_report.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

bool RatioReport::ReportContext(const Context& context) {
  PrintBasicContext(&GetErrorStream(), context);
  return true;
}

void RatioReport::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (run.error_occurred)
      std::fprintf(stderr, "%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
    else if (run.run_type == Run::RT_Iteration)
      samples_[run.run_name.function_name].push_back(run.GetAdjustedRealTime());
  }
}

double RatioReport::least(const char* benchmark) const {
  const auto found = samples_.find(benchmark);
  return found != samples_.end() ? *std::min_element(found->second.begin(), found->second.end()) : 0;
}

bool RatioReport::write(const std::vector<Comparison>& comparisons, const std::string& csv_path) const {
  std::ofstream csv(csv_path);
  csv << "name,ours_ns,peer,peer_ns,ratio,goal\n";
  std::printf("%-42s %14s  %-34s %14s %8s %6s\n", "what", "ours [ns]", "peer", "peer [ns]", "ratio", "goal");
  for (const Comparison& row : comparisons) {
    const double ours = least(row.ours);
    const double peer = row.peer != nullptr ? least(row.peer) : row.limit;
    if (ours == 0 || peer == 0) continue;
    const double ratio = ours / peer;
    std::printf("%-42s %14.1f  %-34s %14.1f %8.3f %6.3g%s\n", row.name, ours, row.peer_name, peer, ratio, row.goal,
                ratio > row.goal ? "  MISSED" : "");
    csv << row.name << ',' << ours << ',' << row.peer_name << ',' << peer << ',' << ratio << ',' << row.goal << '\n';
  }
  return csv.flush().good();
}
