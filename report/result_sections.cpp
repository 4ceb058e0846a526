// Peaks and nuclides.
#include <cmath>

#include "markup.h"
#include "numbers.h"
#include "sections.h"
#include "text.h"

namespace orb::report {

namespace {

using enum Column;

std::string paragraph(std::string_view words) {
  return "<p class=\"note\">" + text(words).html() + "</p>\n";
}

/// The row's number; pressing it brings the peak into view.
Markup peakButton(const Peak& peak, std::size_t number) {
  const std::string name = std::to_string(number);
  return Markup::trusted("<button type=\"button\" class=\"go\" data-channel=\"" + plot::number(peak.centroid.value) +
                         "\" title=\"Show this peak in the spectrum\">" + name + "</button>");
}

Markup peakLink(int peak) {
  if (peak <= 0) return text("not found");
  const std::string name = std::to_string(peak);
  return Markup::trusted("<a href=\"#peak-" + name + "\">" + name + "</a>");
}

Markup width(const Peak& peak) {
  if (!peak.fwhm_keV) return {};
  if (!peak.is_width_fixed) return quantity(peak.fwhm_keV);
  return Markup::trusted(rounded(peak.fwhm_keV->value, 3) + " <span class=\"dim\">fixed</span>");
}

/// Empty without a number.
Markup fixedNumber(const std::optional<double>& value, int decimals) {
  if (!value) return {};
  return std::isfinite(*value) ? Markup::trusted(plot::fixed(*value, decimals)) : text("–");
}

std::string peakTable(const Report& report) {
  Table table("peaks", "Fitted peaks",
              {{"No.", kNumber},
               {"Energy [keV]", kNumber},
               {"Centroid [channel]", kNumber},
               {"FWHM [keV]", kNumber},
               {"Net area [counts]", kNumber},
               {"Rate [1/s]", kNumber},
               {"Signif.", kNumber},
               {"χ²/dof", kNumber},
               {"Nuclide", kText},
               {"Remarks", kText}});
  std::size_t n = 0;
  for (const Peak& peak : report.peaks) {
    ++n;
    const Markup nuclide = peak.nuclide.empty() && peak.is_unidentified ? text("unidentified") : text(peak.nuclide);
    table.row({peakButton(peak, n), quantity(peak.energy_keV), quantity(peak.centroid), width(peak),
               quantity(peak.area), quantity(peak.rate), fixedNumber(peak.significance, 1),
               fixedNumber(peak.chi_square_reduced, 2), nuclide, text(peak.remarks)},
              "peak-" + std::to_string(n));
  }
  return table.html();
}

std::string nuclideTable(const Report& report) {
  const std::string activity = "At acquisition [" + report.activity_unit + "]";
  const std::string reference = "At reference date [" + report.activity_unit + "]";
  const std::string specific = "Per quantity [" + report.specific_unit + "]";
  Table table("nuclides", "Identified nuclides and their activities",
              {{"Nuclide", kText},
               {"Confidence", kNumber},
               {activity, kNumber},
               {reference, kNumber},
               {specific, kNumber},
               {"Half-life", kNumber},
               {"Lines found", kNumber},
               {"Remarks", kText}});
  for (const Nuclide& nuclide : report.nuclides) {
    table.row({text(nuclide.name), fixedNumber(nuclide.confidence, 2), quantity(nuclide.activity),
               quantity(nuclide.reference_activity), quantity(nuclide.specific_activity),
               nuclide.half_life_s ? text(duration(*nuclide.half_life_s)) : Markup(), text(nuclide.lines_found),
               text(nuclide.remarks)});
  }
  return table.html();
}

/// The name stands in every row: a table may go over to another sheet.
std::string lineTable(const Report& report) {
  const std::string activity = "Activity [" + report.activity_unit + "]";
  Table table("lines", "Lines of the identified nuclides",
              {{"Nuclide", kText},
               {"Energy [keV]", kNumber},
               {"Emission [%]", kNumber},
               {"Peak", kNumber},
               {"Peak − line [keV]", kNumber},
               {activity, kNumber},
               {"Residual [σ]", kNumber},
               {"Weight [%]", kNumber},
               {"Remarks", kText}});
  for (const Nuclide& nuclide : report.nuclides) {
    for (const NuclideLine& line : nuclide.lines) {
      table.row({text(nuclide.name), fixedNumber(line.energy_keV, 2), number(line.probability_percent, 3),
                 peakLink(line.peak), number(line.energy_difference_keV, 2), quantity(line.activity),
                 fixedNumber(line.residual, 2), fixedNumber(line.weight_percent, 1), text(line.remarks)});
    }
  }
  return table.html();
}

std::string limitTable(const Report& report) {
  const std::string threshold = "Decision threshold [" + report.activity_unit + "]";
  const std::string limit = "Detection limit [" + report.activity_unit + "]";
  const std::string specific = "Per quantity [" + report.specific_unit + "]";
  Table table("limits", "Nuclides that were not found",
              {{"Nuclide", kText},
               {"Key line [keV]", kNumber},
               {threshold, kNumber},
               {limit, kNumber},
               {specific, kNumber},
               {"Threshold [counts]", kNumber},
               {"Limit [counts]", kNumber},
               {"Method", kText},
               {"Remarks", kText}});
  for (const Limit& row : report.limits) {
    table.row({text(row.name), fixedNumber(row.key_energy_keV, 2), number(row.threshold, 3), number(row.limit, 3),
               number(row.specific_limit, 3), number(row.threshold_counts, 3), number(row.limit_counts, 3),
               text(row.method), text(row.remarks)});
  }
  return table.html();
}

std::string unidentifiedTable(const Report& report) {
  Table table("unidentified", "Peaks that no identified nuclide explains",
              {{"Peak", kNumber},
               {"Energy [keV]", kNumber},
               {"Net area [counts]", kNumber},
               {"Rate [1/s]", kNumber},
               {"Signif.", kNumber}});
  int n = 0;
  for (const Peak& peak : report.peaks) {
    ++n;
    if (!peak.is_unidentified) continue;
    table.row({peakLink(n), quantity(peak.energy_keV), quantity(peak.area), quantity(peak.rate),
               fixedNumber(peak.significance, 1)});
  }
  return table.html();
}

}  // namespace

std::string peakSection(const Report& report) {
  std::string out = "<section aria-labelledby=\"h-peaks\">\n<h2 id=\"h-peaks\">Peaks</h2>\n";
  if (!report.has_peak_table) return out + paragraph("No peaks have been searched for in this file.") + "</section>\n";
  if (report.peaks.empty()) return out + paragraph("The search found no peaks.") + "</section>\n";
  return out + peakTable(report) + "</section>\n";
}

std::string nuclideSection(const Report& report) {
  std::string out = "<section aria-labelledby=\"h-nuclides\">\n<h2 id=\"h-nuclides\">Nuclides</h2>\n";
  out += factList(report.nuclide_facts);
  if (!report.has_nuclide_table) out += paragraph("No identification has been made in this file.");
  if (report.has_nuclide_table && report.nuclides.empty()) out += paragraph("No nuclides were identified.");
  if (!report.nuclides.empty()) out += nuclideTable(report) + lineTable(report);
  if (!report.limits.empty()) out += limitTable(report);
  if (!report.has_limit_table) out += paragraph("No detection limits have been computed.");
  return out + unidentifiedTable(report) + "</section>\n";
}

}  // namespace orb::report
