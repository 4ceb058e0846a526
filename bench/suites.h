#pragma once
#include <vector>

#include "ratio_report.h"

/// Each suite registers its benchmarks and says what they are compared with. measureOnce() takes what is no time.
std::vector<Comparison> serviceSuite();
void measureServiceOnce(RatioReport& report);
std::vector<Comparison> fileObjectSuite();
std::vector<Comparison> toolSuite();
std::vector<Comparison> analysisSuite();
std::vector<Comparison> enginesSuite();
