// What stands around the results: heading, spectrum, calibrations, settings, provenance.
#include "sections.h"

#include "markup.h"
#include "numbers.h"
#include "text.h"

namespace orb::report {

namespace {

using enum Column;

std::string sectionHead(const char* id, const char* title) {
  return std::string("<section aria-labelledby=\"") + id + "\">\n<h2 id=\"" + id + "\">" + title + "</h2>\n";
}

std::string button(const char* id, const char* words) {
  return std::string("<button type=\"button\" id=\"") + id + "\">" + words + "</button>\n";
}

std::string settingTable(const char* id, const char* caption, const std::vector<Setting>& settings,
                         const std::vector<std::pair<std::string, Column>>& columns) {
  Table table(id, caption, columns);
  for (const Setting& setting : settings) table.row({text(setting.name), text(setting.value), text(setting.meaning)});
  return table.html();
}

std::string pointTable(const Calibration& calibration, std::size_t number) {
  Table table("points-" + std::to_string(number), calibration.name + ": points",
              {{calibration.x_label, kNumber},
               {calibration.y_label, kNumber},
               {calibration.residual_label, kNumber},
               {"Nuclide", kText},
               {"Remarks", kText}});
  for (const CurvePoint& point : calibration.points)
    table.row({text(plot::fixed(point.x, 2)), quantity(point.y), report::number(point.residual, 2), text(point.label),
               text(point.is_used ? "" : "not used")});
  return table.html();
}

/// "name=value" lines one after the other.
std::string inOneLine(std::string lines) {
  while (!lines.empty() && lines.back() == '\n') lines.pop_back();
  for (std::size_t at = lines.find('\n'); at != std::string::npos; at = lines.find('\n', at))
    lines.replace(at, 1, ", ");
  return lines;
}

}  // namespace

std::string titleOf(const Report& report) {
  const std::string& file = report.spectrum.file_name;
  if (!report.spectrum.title.empty()) return report.spectrum.title;
  return file.empty() ? "Spectrum" : file.substr(file.rfind('/') + 1);
}

std::string headerSection(const Report& report) {
  std::string out = "<header>\n<h1>" + text(titleOf(report)).html() + "</h1>\n";
  for (const std::string& line : report.spectrum.subtitle)
    out += "<p class=\"subtitle\">" + text(line).html() + "</p>\n";
  std::vector<Fact> facts = report.facts;
  facts.push_back({"Uncertainties", report.coverage_factor == 1
                                        ? "standard ones"
                                        : plot::number(report.coverage_factor) + " times the standard ones"});
  return out + factList(facts) + "</header>\n";
}

std::string spectrumSection(const Report& report) {
  std::string out = sectionHead("h-spectrum", "Spectrum");
  if (report.spectrum.counts.empty()) return out + "<p class=\"note\">The file has no spectrum.</p>\n</section>\n";
  out += "<div class=\"bar\">\n" + button("log", "Log scale");
  if (!report.spectrum.energy_coefficients.empty()) out += button("energy", "Energy axis");
  out += button("whole", "Whole spectrum") + "<output id=\"readout\"></output>\n</div>\n";
  out += "<div id=\"chart\" tabindex=\"0\" role=\"group\" aria-label=\"Counts in each channel";
  out += report.regions.empty() ? "" : ", with the fitted curve and its continuum";
  out += "\" aria-describedby=\"chart-help\"></div>\n";
  if (!report.regions.empty()) {
    out +=
        "<p class=\"legend\"><span class=\"key counts\"></span>counts <span class=\"key model\"></span>fitted curve "
        "<span class=\"key continuum\"></span>continuum</p>\n";
    out +=
        "<h3>Residuals of the fits</h3>\n<div id=\"residuals\" role=\"img\" aria-label=\"Counts minus the fitted "
        "curve, "
        "in standard deviations\"></div>\n";
  }
  out +=
      "<p class=\"help\" id=\"chart-help\">Drag to zoom, double click for the whole spectrum; a peak's number in the "
      "table shows that peak. Keys while the chart has the focus: L log scale, E energy or channels, + and - zoom, "
      "arrows move, R whole spectrum.</p>\n";
  return out + "</section>\n";
}

std::string calibrationSection(const Report& report) {
  std::string out = sectionHead("h-calibrations", "Calibrations");
  if (report.calibrations.empty()) out += "<p class=\"note\">The file has no calibrations.</p>\n";
  std::size_t n = 0;
  for (const Calibration& calibration : report.calibrations) {
    const std::string name = text(calibration.name).html();
    out += "<div class=\"calibration\">\n<div><h3>" + name + "</h3>\n" + factList(calibration.facts) + "</div>\n";
    out += "<div class=\"curve\" id=\"curve-" + std::to_string(n) + "\" role=\"img\" aria-label=\"" + name +
           " calibration: curve and points\"></div>\n</div>\n";
    out += pointTable(calibration, n);
    ++n;
  }
  return out + "</section>\n";
}

std::string settingsSection(const Report& report) {
  if (report.settings.empty() && report.steps.empty()) return {};
  std::string out = sectionHead("h-settings", "Settings");
  out += settingTable("steps", "Steps of the analysis sequence", report.steps,
                      {{"Engine", kText}, {"Options", kText}, {"Description", kText}});
  out += settingTable("settings", "Settings in the file", report.settings,
                      {{"Setting", kText}, {"Value", kText}, {"Meaning", kText}});
  return out + "</section>\n";
}

std::string provenanceSection(const Report& report) {
  std::string out = sectionHead("h-provenance", "Provenance") + factList(report.origin);
  Table table("provenance", "Who wrote the results",
              {{"Results", kText}, {"Routine", kText}, {"Version", kText}, {"Time", kText}, {"Settings", kText}});
  for (const Provenance& row : report.provenance)
    table.row({text(row.results), text(row.routine), text(row.version), text(row.time), text(inOneLine(row.settings))});
  return out + table.html() + "</section>\n";
}

}  // namespace orb::report
