/// What the analysis says about nuclides.
#pragma once
#include <optional>
#include <string>
#include <vector>

#include "json_output.h"
#include "open_file.h"

namespace orb::tool {

struct FoundLine {
  double energy_keV = 0;
  int peak = 0;  ///< number of the peak, from 1; 0: not found
};

struct NuclideRow {
  std::string name;
  double confidence = 0;
  std::optional<double> activity_bq, activity_unc_bq;  ///< at the reference date where the file has one
  int marks = 0;                                       ///< values of ORB_L_NUSTATUS
  std::vector<FoundLine> lines;
};

struct LimitRow {
  std::string name;
  double key_energy_keV = 0;
  std::optional<double> threshold_bq, limit_bq;
  std::optional<double> threshold_counts, limit_counts;
};

/// A file that the results were made from.
struct SourceFile {
  std::string path;
  std::string sha256;
};

struct NuclideResults {
  std::vector<NuclideRow> nuclides;  ///< judged present, by falling confidence
  std::vector<LimitRow> not_found;
  std::vector<double> unidentified;  ///< energies of the peaks that nothing explains [keV]
  bool is_analysed = false;          ///< nuclides were looked for
  SourceFile library, limit_library, sequence;
};

/// @throws Failure
NuclideResults readNuclides(const FileAccess& file);

/// Adds "nuclides", "not_found", "unidentified" and, of an analysed file, "made_from" to an object.
void appendNuclides(Json& json, const NuclideResults& results);
/// @param with_limits  also the detection limits of what was not found, some hundred lines
void printNuclides(const NuclideResults& results, bool with_limits, Console& console);

}  // namespace orb::tool
