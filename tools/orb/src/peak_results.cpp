#include "peak_results.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "blocks.h"
#include "comdefs.h"
#include "terminal_text.h"
#include "text_table.h"

namespace orb::tool {

namespace {

constexpr std::uint32_t kPeakClass = ORB_CLS_PEAKS;

constexpr std::uint32_t peakCode(std::uint32_t number) {
  return kPeakClass << 16 | number;
}

std::optional<double> findNumberOf(const FileAccess& file, std::uint32_t number, std::uint16_t record) {
  const auto value = findValue(file, peakCode(number), record);
  return value ? std::optional(value->toDouble()) : std::nullopt;
}

double numberOf(const FileAccess& file, std::uint32_t number, std::uint16_t record) {
  return findNumberOf(file, number, record).value_or(0);
}

PeakRow readPeak(const FileAccess& file, std::uint16_t record) {
  const auto integer = [&](std::uint32_t number) { return static_cast<int>(numberOf(file, number, record)); };
  PeakRow peak;
  peak.energy_keV = findNumberOf(file, 0x07, record);
  peak.energy_unc_keV = findNumberOf(file, 0x08, record);
  peak.centroid = numberOf(file, 0x0A, record);
  peak.centroid_unc = numberOf(file, 0x0B, record);
  peak.fwhm_keV = findNumberOf(file, 0x24, record);
  peak.fwhm_unc_keV = findNumberOf(file, 0x25, record);
  peak.area = numberOf(file, 0x0C, record);
  peak.area_unc = numberOf(file, 0x0D, record);
  peak.rate = findNumberOf(file, 0x31, record);
  peak.rate_unc = findNumberOf(file, 0x32, record);
  peak.continuum = numberOf(file, 0x09, record);
  peak.chi_square_reduced = numberOf(file, 0x10, record);
  peak.significance = numberOf(file, 0x13, record);
  peak.first = integer(0x1E);
  peak.last = integer(0x1F);
  peak.region = integer(0x21);
  peak.marks = integer(0x40);
  peak.width_fixed = peak.fwhm_keV && peak.fwhm_unc_keV.value_or(0) == 0;
  peak.added = integer(0x48) != 0;
  peak.is_unidentified = numberOf(file, 0x56, record) != 0;
  if (const auto nuclide = findValue(file, peakCode(0x57), record)) peak.nuclide = nuclide->toString();
  if (const auto energy = findValue(file, peakCode(0x58), record)) peak.library_keV = energy->toDouble();
  return peak;
}

Json orNull(const std::optional<double>& number) {
  return number && std::isfinite(*number) ? Json(*number) : Json(nullptr);
}

std::string fixed(double number, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, number);
  return text;
}

}  // namespace

std::string markWords(const PeakRow& peak) {
  // The numbers are those of ORB_L_PKSTATUS.
  static const std::pair<int, const char*> kWords[] = {{1, "not converged"}, {2, "on a bound"},  {4, "bad fit"},
                                                       {8, "cut"},           {16, "overflow"},   {32, "extrapolated"},
                                                       {64, "singular"},     {128, "not fitted"}};
  std::string words = peak.added ? "added" : "";
  for (const auto& [mark, word] : kWords) {
    if ((peak.marks & mark) == 0) continue;
    words += words.empty() ? "" : ", ";
    words += word;
  }
  return words;
}

std::string withUncertainty(double value, double uncertainty) {
  if (!std::isfinite(value) || !std::isfinite(uncertainty) || !(uncertainty > 0)) return fixed(value, 2);
  const int decimals = std::clamp(1 - static_cast<int>(std::floor(std::log10(uncertainty))), 0, 9);
  return fixed(value, decimals) + " ± " + fixed(uncertainty, decimals);
}

std::vector<PeakRow> readPeaks(const FileAccess& file) {
  std::vector<PeakRow> peaks;
  for (const AioBlockInfo_T& block : listBlocks(file)) {
    if (block.usClass != kPeakClass) continue;
    for (std::uint32_t record = 1; record <= block.usRecords; ++record)
      peaks.push_back(readPeak(file, static_cast<std::uint16_t>(record)));
  }
  return peaks;
}

Json peaksJson(const std::vector<PeakRow>& peaks) {
  Json list = Json::array();
  for (const PeakRow& peak : peaks) {
    Json json;
    json["energy_keV"] = orNull(peak.energy_keV);
    json["energy_unc_keV"] = orNull(peak.energy_unc_keV);
    json["centroid_channel"] = peak.centroid;
    json["centroid_unc"] = peak.centroid_unc;
    json["fwhm_keV"] = orNull(peak.fwhm_keV);
    json["fwhm_unc_keV"] = orNull(peak.fwhm_unc_keV);
    json["area"] = peak.area;
    json["area_unc"] = peak.area_unc;
    json["continuum"] = peak.continuum;
    json["chi_square_reduced"] = peak.chi_square_reduced;
    json["significance"] = peak.significance;
    json["region"] = {peak.first, peak.last};
    json["width_fixed"] = peak.width_fixed;
    json["added"] = peak.added;
    json["marks"] = peak.marks;
    if (!peak.nuclide.empty()) json["nuclide"] = peak.nuclide;
    list.push_back(std::move(json));
  }
  Json json;
  json["peaks"] = std::move(list);
  return json;
}

void printPeaks(const std::vector<PeakRow>& peaks, Console& console) {
  if (peaks.empty()) return console.line("no lines");
  const bool has_nuclides =
      std::any_of(peaks.begin(), peaks.end(), [](const PeakRow& peak) { return !peak.nuclide.empty(); });
  TextRows rows = {
      {"Energy [keV]", "Channel", "FWHM [keV]", "Net area", "Continuum", "Chi2", "Signif.", "Region", "Remarks"}};
  for (const PeakRow& peak : peaks) {
    const std::string width = peak.fwhm_keV ? fixed(*peak.fwhm_keV, 2) + (peak.width_fixed ? " fixed" : "") : "-";
    rows.push_back({peak.energy_keV ? withUncertainty(*peak.energy_keV, peak.energy_unc_keV.value_or(0)) : "-",
                    fixed(peak.centroid, 2), width, withUncertainty(peak.area, peak.area_unc), fixed(peak.continuum, 0),
                    fixed(peak.chi_square_reduced, 2), fixed(peak.significance, 1),
                    std::to_string(peak.first) + "-" + std::to_string(peak.last), markWords(peak)});
  }
  const std::size_t n_numbers = rows[0].size() - 1;
  if (has_nuclides) {
    rows[0].insert(rows[0].end() - 1, "Nuclide");
    for (std::size_t i = 0; i < peaks.size(); ++i)
      rows[i + 1].insert(rows[i + 1].end() - 1, escapeLine(peaks[i].nuclide));
  }
  printTable(rows, n_numbers, console);
}

}  // namespace orb::tool
