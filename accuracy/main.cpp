// Prints the measures as rows of a Markdown table.
#include <cstdio>

#include "measures.h"

std::string fixed(double number, int digits) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", digits, number);
  return text;
}

int main() {
  std::puts("| measure | goal | measured | |");
  std::puts("|---|---|---|---|");
  bool all_met = true;
  for (const auto measure : {measureRegionFits, measureDecisions, measureCalibrations}) {
    for (const Measure& row : measure()) {
      std::printf("| %s | %s | %s | %s |\n", row.what.c_str(), row.goal.c_str(), row.measured.c_str(),
                  row.met ? "" : "missed");
      std::fflush(stdout);
      all_met = all_met && row.met;
    }
  }
  return all_met ? 0 : 1;
}
