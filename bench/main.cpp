// Runs every benchmark beside its yardstick, interleaved, and leaves the ratios in ratios.csv.
#include <cstdio>

#include "suites.h"

int main(int argc, char** argv) {
#ifndef NDEBUG
  std::fprintf(stderr, "built with assertions: these times would mean nothing. Use the release preset.\n");
  return 1;
#endif
  std::vector<Comparison> comparisons = serviceSuite();
  for (const auto suite : {fileObjectSuite, toolSuite, analysisSuite, enginesSuite})
    for (const Comparison& comparison : suite()) comparisons.push_back(comparison);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  RatioReport report;
  benchmark::RunSpecifiedBenchmarks(&report);
  measureServiceOnce(report);
  return report.write(comparisons, "ratios.csv") ? 0 : 1;
}
