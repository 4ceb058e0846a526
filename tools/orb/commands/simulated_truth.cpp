#include "simulated_truth.h"

#include <cmath>
#include <cstdio>
#include <set>

#include "failure.h"
#include "read_bytes.h"
#include "terminal_text.h"
#include "text_table.h"

namespace orb::tool {

namespace {

struct TrueLine {
  std::string nuclides;
  double energy_keV = 0;
  double fwhm_keV = 0;
  double area = 0;
};

struct Truth {
  std::vector<TrueLine> lines;  ///< lines nearer than half a FWHM are one
  std::vector<std::pair<std::string, double>> activities_bq;
};

Truth readTruth(const std::string& path) {
  const std::string text = readBytes(path);
  Truth truth;
  try {
    const Json json = Json::parse(text);
    for (const auto& [name, activity] : json.at("activities_bq").items())
      truth.activities_bq.emplace_back(name, activity);
    for (const Json& line : json.at("lines")) {
      const TrueLine next{line.at("nuclide"), line.at("energy_keV"), line.at("fwhm_keV"), line.at("expected_area")};
      TrueLine* const last = truth.lines.empty() ? nullptr : &truth.lines.back();
      if (last == nullptr || next.energy_keV - last->energy_keV > next.fwhm_keV / 2) {
        truth.lines.push_back(next);
        continue;
      }
      const double area = last->area + next.area;
      if (area > 0) last->energy_keV = (last->energy_keV * last->area + next.energy_keV * next.area) / area;
      last->area += next.area;
      if (last->nuclides.find(next.nuclides) == std::string::npos) last->nuclides += " " + next.nuclides;
    }
  } catch (const Json::exception& error) {
    throw Failure(path, std::string("is no truth of a simulation: ") + error.what());
  }
  return truth;
}

std::string number(double value, const char* format) {
  char text[48];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

/// The fitted line nearest to a true one, no further than half a FWHM; -1 for none.
int nearestPeak(const std::vector<Peak>& peaks, const TrueLine& line) {
  int nearest = -1;
  double distance = line.fwhm_keV / 2;
  for (std::size_t i = 0; i < peaks.size(); ++i) {
    const double d = std::abs(peaks[i].energy_keV.value_or(0) - line.energy_keV);
    if (d > distance) continue;
    distance = d;
    nearest = static_cast<int>(i);
  }
  return nearest;
}

void printLines(const Truth& truth, const std::vector<Peak>& peaks, Console& console) {
  TextRows rows = {{"Energy [keV]", "True area", "Found", "Sigmas", "Nuclide"}};
  std::set<int> matched;
  for (const TrueLine& line : truth.lines) {
    const int peak = nearestPeak(peaks, line);
    if (peak < 0 && line.area < 100) continue;  // too weak for anyone to look for
    const std::string energy = number(line.energy_keV, "%.2f");
    const std::string area = number(line.area, "%.0f");
    if (peak < 0) {
      rows.push_back({energy, area, "-", "", escapeLine(line.nuclides)});
      continue;
    }
    matched.insert(peak);
    const Peak& found = peaks[static_cast<std::size_t>(peak)];
    const std::string sigmas = found.area_unc > 0 ? number((found.area - line.area) / found.area_unc, "%+.1f") : "";
    rows.push_back({energy, area, withUncertainty(found.area, found.area_unc), sigmas, escapeLine(line.nuclides)});
  }
  for (std::size_t i = 0; i < peaks.size(); ++i) {
    if (matched.count(static_cast<int>(i)) != 0) continue;
    rows.push_back({number(peaks[i].energy_keV.value_or(0), "%.2f"), "-",
                    withUncertainty(peaks[i].area, peaks[i].area_unc), "", "not in the truth"});
  }
  printTable(rows, 4, console);
}

void printActivities(const Truth& truth, const NuclideResults& results, Console& console) {
  TextRows rows = {{"Nuclide", "True activity [Bq]", "Found", "Sigmas"}};
  std::set<std::string> known;
  for (const auto& [name, activity] : truth.activities_bq) {
    known.insert(name);
    std::vector<std::string> row = {escapeLine(name), number(activity, "%.6g"), "-", ""};
    for (const Nuclide& found : results.nuclides) {
      if (found.name != name) continue;
      row[2] = found.activity_bq ? withUncertainty(*found.activity_bq, found.activity_unc_bq.value_or(0)) : "found";
      if (found.activity_bq && found.activity_unc_bq.value_or(0) > 0)
        row[3] = number((*found.activity_bq - activity) / *found.activity_unc_bq, "%+.1f");
    }
    rows.push_back(row);
  }
  for (const Nuclide& found : results.nuclides)
    if (known.count(found.name) == 0) rows.push_back({escapeLine(found.name), "-", "found", ""});
  printTable(rows, 0, console);
}

}  // namespace

void requireTruth(const std::string& truth) {
  readTruth(truth);
}

void printAgainstTruth(const std::string& path, const std::vector<Peak>& peaks, const NuclideResults& nuclides,
                       Console& console) {
  const Truth truth = readTruth(path);
  console.line("Against the truth");
  printLines(truth, peaks, console);
  console.line();
  printActivities(truth, nuclides, console);
}

}  // namespace orb::tool
