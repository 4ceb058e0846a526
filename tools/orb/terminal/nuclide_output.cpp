#include "nuclide_output.h"

#include <cmath>
#include <cstdio>

#include "peak_output.h"
#include "terminal_text.h"
#include "text_table.h"

namespace orb::tool {

namespace {

std::string significant(const std::optional<double>& number) {
  if (!number || !std::isfinite(*number)) return "-";
  char text[64];
  std::snprintf(text, sizeof text, "%.3g", *number);
  return text;
}

std::string linesInWords(const Nuclide& row) {
  std::string words;
  for (const FoundLine& line : row.lines) {
    char text[48];
    std::snprintf(text, sizeof text, line.peak > 0 ? "%.1f" : "(%.1f)", line.energy_keV);
    if (!words.empty()) words += ' ';
    words += text;
  }
  return words;
}

void printLimits(const std::vector<Limit>& limits, Console& console) {
  TextRows rows = {{"Not found", "Line [keV]", "Threshold [Bq]", "Limit [Bq]", "Limit [counts]"}};
  for (const Limit& row : limits) {
    char energy[48];
    std::snprintf(energy, sizeof energy, "%.1f", row.key_energy_keV);
    rows.push_back({escapeLine(row.name), energy, significant(row.threshold_bq), significant(row.limit_bq),
                    significant(row.limit_counts)});
  }
  printTable(rows, 0, console);
}

}  // namespace

void appendNuclides(Json& json, const NuclideResults& results) {
  json["nuclides"] = Json::array();
  for (const Nuclide& row : results.nuclides) {
    Json lines = Json::array();
    for (const FoundLine& line : row.lines)
      lines.push_back({{"energy_keV", line.energy_keV}, {"peak", line.peak > 0 ? Json(line.peak) : Json(nullptr)}});
    json["nuclides"].push_back({{"name", row.name},
                                {"confidence", row.confidence},
                                {"activity_bq", orNull(row.activity_bq)},
                                {"activity_unc_bq", orNull(row.activity_unc_bq)},
                                {"marks", row.marks},
                                {"lines", lines}});
  }
  json["not_found"] = Json::array();
  for (const Limit& row : results.not_found) {
    json["not_found"].push_back({{"name", row.name},
                                 {"energy_keV", row.key_energy_keV},
                                 {"decision_threshold", orNull(row.threshold_bq)},
                                 {"detection_limit", orNull(row.limit_bq)},
                                 {"decision_threshold_counts", orNull(row.threshold_counts)},
                                 {"detection_limit_counts", orNull(row.limit_counts)}});
  }
  json["unidentified"] = results.unidentified;
  for (const auto& [what, source] : {std::pair{"library", &results.library},
                                     {"limit_library", &results.limit_library},
                                     {"sequence", &results.sequence}})
    if (!source->path.empty()) json["made_from"][what] = {{"path", source->path}, {"sha256", source->sha256}};
}

void printNuclides(const NuclideResults& results, bool with_limits, Console& console) {
  if (results.nuclides.empty()) console.line("no nuclides found");
  TextRows rows = {{"Nuclide", "Confidence", "Activity [Bq]", "Lines [keV]"}};
  for (const Nuclide& row : results.nuclides) {
    char confidence[32];
    std::snprintf(confidence, sizeof confidence, "%.2f", row.confidence);
    const std::string activity =
        row.activity_bq ? withUncertainty(*row.activity_bq, row.activity_unc_bq.value_or(0)) : "-";
    rows.push_back({escapeLine(row.name), confidence, activity, linesInWords(row)});
  }
  if (rows.size() > 1) printTable(rows, 0, console);
  if (!results.unidentified.empty()) {
    std::string energies;
    for (const double energy : results.unidentified) {
      char text[48];
      std::snprintf(text, sizeof text, " %.1f", energy);
      energies += text;
    }
    console.line();
    console.line("Unidentified [keV]:" + energies);
  }
  if (results.not_found.empty()) return;
  console.line();
  if (with_limits) return printLimits(results.not_found, console);
  console.line("Not found: " + std::to_string(results.not_found.size()) +
               " nuclides of the library; --limits lists their detection limits");
}

}  // namespace orb::tool
