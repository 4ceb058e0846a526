#include "peak_output.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "text_table.h"

namespace orb::tool {

namespace {

std::string fixed(double number, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, number);
  return text;
}

}  // namespace

std::string withUncertainty(double value, double uncertainty) {
  if (!std::isfinite(value) || !std::isfinite(uncertainty) || !(uncertainty > 0)) return fixed(value, 2);
  const int decimals = std::clamp(1 - static_cast<int>(std::floor(std::log10(uncertainty))), 0, 9);
  return fixed(value, decimals) + " ± " + fixed(uncertainty, decimals);
}

Json peaksJson(const std::vector<Peak>& peaks) {
  Json list = Json::array();
  for (const Peak& peak : peaks) {
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

void printPeaks(const std::vector<Peak>& peaks, Console& console) {
  if (peaks.empty()) return console.line("no lines");
  const bool has_nuclides =
      std::any_of(peaks.begin(), peaks.end(), [](const Peak& peak) { return !peak.nuclide.empty(); });
  TextRows rows = {
      {"Energy [keV]", "Channel", "FWHM [keV]", "Net area", "Continuum", "Chi2", "Signif.", "Region", "Remarks"}};
  for (const Peak& peak : peaks) {
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
