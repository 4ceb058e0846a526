#include "nuclide_results.h"

#include <cmath>
#include <cstdio>

#include "blocks.h"
#include "comdefs.h"
#include "failure.h"
#include "peak_results.h"
#include "terminal_text.h"
#include "text_table.h"

namespace orb::tool {

namespace {

std::optional<double> findAt(const FileAccess& file, std::uint32_t code, std::uint16_t record,
                             std::uint16_t entry = 0) {
  const auto value = findValue(file, code, record, entry);
  return value ? std::optional(value->toDouble()) : std::nullopt;
}

double numberAt(const FileAccess& file, std::uint32_t code, std::uint16_t record, std::uint16_t entry = 0) {
  return findAt(file, code, record, entry).value_or(0);
}

std::string textAt(const FileAccess& file, std::uint32_t code, std::uint16_t record) {
  const auto value = findValue(file, code, record);
  return value ? value->toString() : std::string();
}

std::uint16_t countEntries(const FileAccess& file, std::uint16_t cls, std::uint16_t record) {
  std::uint16_t count = 0;
  require(file.countItems(cls, count, record), file.name(), "cannot count the lines of a nuclide");
  return count;
}

NuclideRow readNuclide(const FileAccess& file, std::uint16_t record) {
  NuclideRow row;
  row.name = textAt(file, 0x20080001, record);
  row.confidence = numberAt(file, 0x20080002, record);
  row.activity_bq = findAt(file, 0x20080005, record);
  row.activity_unc_bq = findAt(file, 0x20080006, record);
  row.marks = static_cast<int>(numberAt(file, 0x20080012, record));
  const std::uint16_t entries = countEntries(file, ORB_CLS_NUCRESULTS, record);
  for (std::uint32_t i = 1; i <= entries; ++i) {
    const auto entry = static_cast<std::uint16_t>(i);
    row.lines.push_back(
        {numberAt(file, 0x20080020, record, entry), static_cast<int>(numberAt(file, 0x20080021, record, entry))});
  }
  return row;
}

LimitRow readLimit(const FileAccess& file, std::uint16_t record) {
  LimitRow row;
  row.name = textAt(file, 0x20090001, record);
  row.key_energy_keV = numberAt(file, 0x20090002, record);
  row.threshold_bq = findAt(file, 0x20090003, record);
  row.limit_bq = findAt(file, 0x20090004, record);
  row.threshold_counts = findAt(file, 0x20090009, record);
  row.limit_counts = findAt(file, 0x2009000A, record);
  return row;
}

Json orNull(const std::optional<double>& number) {
  return number && std::isfinite(*number) ? Json(*number) : Json(nullptr);
}

std::string significant(const std::optional<double>& number) {
  if (!number || !std::isfinite(*number)) return "-";
  char text[64];
  std::snprintf(text, sizeof text, "%.3g", *number);
  return text;
}

std::string linesInWords(const NuclideRow& row) {
  std::string words;
  for (const FoundLine& line : row.lines) {
    char text[48];
    std::snprintf(text, sizeof text, line.peak > 0 ? "%.1f" : "(%.1f)", line.energy_keV);
    if (!words.empty()) words += ' ';
    words += text;
  }
  return words;
}

void printLimits(const std::vector<LimitRow>& limits, Console& console) {
  TextRows rows = {{"Not found", "Line [keV]", "Threshold [Bq]", "Limit [Bq]", "Limit [counts]"}};
  for (const LimitRow& row : limits) {
    char energy[48];
    std::snprintf(energy, sizeof energy, "%.1f", row.key_energy_keV);
    rows.push_back({escapeLine(row.name), energy, significant(row.threshold_bq), significant(row.limit_bq),
                    significant(row.limit_counts)});
  }
  printTable(rows, 0, console);
}

}  // namespace

NuclideResults readNuclides(const FileAccess& file) {
  NuclideResults results;
  results.library = {findText(file, 0x20080041), findText(file, 0x20080043)};
  results.limit_library = {findText(file, 0x20090041), findText(file, 0x20090043)};
  results.sequence = {findText(file, 0x20100077), findText(file, 0x20100078)};
  for (const AioBlockInfo_T& block : listBlocks(file)) {
    results.is_analysed |= block.usClass == ORB_CLS_NUCRESULTS;
    for (std::uint32_t i = 1; i <= block.usRecords; ++i) {
      const auto record = static_cast<std::uint16_t>(i);
      if (block.usClass == ORB_CLS_NUCRESULTS) results.nuclides.push_back(readNuclide(file, record));
      if (block.usClass == ORB_CLS_LIMITS) results.not_found.push_back(readLimit(file, record));
      if (block.usClass != ORB_CLS_PEAKS || numberAt(file, 0x20060056, record) == 0) continue;
      if (const auto energy = findAt(file, 0x20060007, record)) results.unidentified.push_back(*energy);
    }
  }
  return results;
}

void appendNuclides(Json& json, const NuclideResults& results) {
  json["nuclides"] = Json::array();
  for (const NuclideRow& row : results.nuclides) {
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
  for (const LimitRow& row : results.not_found) {
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
  for (const NuclideRow& row : results.nuclides) {
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
