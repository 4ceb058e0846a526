#include "source_calibration.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "anautils.h"
#include "failure.h"
#include "nuclide_library.h"
#include "open_file.h"
#include "orbparams.h"
#include "text_stream.h"

namespace com::norvale::measurement {

namespace {

constexpr double kLeastProbability = 0.5;  // per cent: weaker lines lie in the flanks of others and make no calibration
constexpr double kAnnihilation_keV = 511;
constexpr double kMainShare = 0.3;       // of the strongest line of a nuclide
constexpr double kBroad = 0.03;          // FWHM over energy: a scintillator
constexpr double kLeastFwhmUnc = 0.005;  // relative: or the strongest line dictates the curve

std::vector<LibraryLine> linesOf(const std::string& nuclides, const std::string& library_name) {
  const std::string path = findLibrary(library_name);
  const auto library = readLibrary(path);
  std::vector<LibraryLine> lines;
  TextStream in(nuclides);
  for (std::string nuclide; std::getline(in, nuclide, ',');) {
    const auto found = gammaLinesOfNuclide(library, nuclide, path);
    // By falling probability. A nuclide that has weak lines alone keeps the strongest.
    const double least = std::min(kLeastProbability, found.front().probability);
    std::copy_if(found.begin(), found.end(), std::back_inserter(lines),
                 [&](const LibraryLine& line) { return line.probability >= least; });
  }
  return lines;
}

double greatestOf(const std::vector<LibraryLine>& lines, const std::string& nuclide) {
  double greatest = 0;
  for (const LibraryLine& line : lines)
    if (line.nuclide == nuclide) greatest = std::max(greatest, line.probability);
  return greatest;
}

std::vector<AnaMatchedLine_T> matchesOf(const FileAccess& file, const std::vector<LibraryLine>& lines) {
  std::vector<double> energies;
  std::vector<double> intensities;
  std::vector<int> groups;
  for (const LibraryLine& line : lines) {
    const bool is_new = groups.empty() || line.nuclide != lines[groups.size() - 1].nuclide;
    groups.push_back(groups.empty() ? 0 : groups.back() + (is_new ? 1 : 0));
    energies.push_back(line.energy_keV);
    intensities.push_back(line.probability);
  }
  std::vector<AnaMatchedLine_T> matched(lines.size());
  int n = 0;
  const LONG status = lFindSource(file.handle(), energies.data(), intensities.data(), groups.data(),
                                  static_cast<int>(lines.size()), matched.data(), &n);
  require(static_cast<std::uint32_t>(status), file.name(), "cannot find the source's lines");
  matched.resize(static_cast<std::size_t>(n));
  return matched;
}

/// The energy of a broad peak that holds lines of several nuclides, whose shares nobody knows: the middle between the
/// strongest of each, and half the distance between the outermost for its uncertainty.
struct Blend {
  double energy_keV, spread_keV;
  std::set<std::string> nuclides;
};

Blend blendAt(const std::vector<LibraryLine>& lines, const LibraryLine& line, double fwhm_keV) {
  constexpr double kReach_fwhm = 0.6;
  std::map<std::string, const LibraryLine*> strongest;
  for (const LibraryLine& other : lines) {
    if (std::abs(other.energy_keV - line.energy_keV) > kReach_fwhm * fwhm_keV) continue;
    const LibraryLine*& known = strongest[other.nuclide];
    if (known == nullptr || other.probability > known->probability) known = &other;
  }
  const auto is_main = [&](const LibraryLine& one) {
    return one.probability > kMainShare * greatestOf(lines, one.nuclide);
  };
  double low = line.energy_keV;
  double high = line.energy_keV;
  std::set<std::string> nuclides = {line.nuclide};
  for (const auto& [nuclide, other] : strongest) {
    if (nuclide == line.nuclide || !is_main(*other)) continue;
    low = std::min(low, other->energy_keV);
    high = std::max(high, other->energy_keV);
    nuclides.insert(nuclide);
  }
  return {(low + high) / 2, (high - low) / 2, nuclides};
}

/// "Bi-214+Tl-208"
std::string joined(const std::set<std::string>& nuclides) {
  std::string text;
  for (const std::string& nuclide : nuclides) text += (text.empty() ? "" : "+") + nuclide;
  return text;
}

/// keV per channel between the neighbours of a match; of one alone, by the offset of the file.
double slopeAt(const std::vector<AnaMatchedLine_T>& matched, const std::vector<LibraryLine>& lines, std::size_t i,
               double offset_keV) {
  const std::size_t a = i == 0 ? 0 : i - 1;
  const std::size_t b = std::min(i + 1, matched.size() - 1);
  const auto energy = [&](std::size_t k) { return lines[static_cast<std::size_t>(matched[k].iKnown)].energy_keV; };
  if (a == b) return (energy(a) - offset_keV) / matched[a].dPosition;
  return (energy(b) - energy(a)) / (matched[b].dPosition - matched[a].dPosition);
}

/// Few lines of a scintillator, or lines close together, do not tell a bend from their overlaps.
bool tellBend(const CalibrationTable& table) {
  constexpr std::size_t kFew = 5;
  constexpr double kSpan = 4;
  const bool are_broad = !table.fwhm.empty() && table.fwhm.back().value > kBroad * table.fwhm.back().x;
  const bool are_apart = table.energy.size() >= kFew && table.energy.back().value > kSpan * table.energy.front().value;
  return !are_broad || are_apart;
}

/// What a gain alone leaves of the energy equation in the file.
std::string whatStays(const FileAccess& file) {
  std::ostringstream text;
  text.exceptions(std::ios::badbit);
  text << "the offset stays at " << findNumber(file, ORB_D_ECALOFFSET).value_or(0) << " keV";
  if (findNumber(file, ORB_D_ECALOFFSET + 2).value_or(0) != 0) text << ", and the equation is straight from now on";
  return text.str();
}

}  // namespace

void addSourceLines(const FileAccess& file, const std::string& nuclides, const std::string& library,
                    CalibrationTable& table, const Note& note) {
  const auto lines = linesOf(nuclides, library);
  const auto matched = matchesOf(file, lines);
  std::set<std::string> missing;
  for (const LibraryLine& line : lines) missing.insert(line.nuclide);
  const double offset_keV = findNumber(file, ORB_D_ECALOFFSET).value_or(0);
  for (std::size_t i = 0; i < matched.size(); ++i) {
    const AnaMatchedLine_T& match = matched[i];
    const LibraryLine& line = lines[static_cast<std::size_t>(match.iKnown)];
    const double slope = slopeAt(matched, lines, i, offset_keV);
    const double fwhm = slope * match.dFwhm;
    const Blend blend = blendAt(lines, line, fwhm > kBroad * line.energy_keV ? fwhm : 0);
    const double uncertainty = std::hypot(slope * match.dPositionUnc, line.energy_unc_keV, blend.spread_keV);
    table.energy.push_back({match.dPosition, blend.energy_keV, uncertainty, joined(blend.nuclides)});
    for (const std::string& nuclide : blend.nuclides) missing.erase(nuclide);
    // Annihilation and what several lines make together are broader than the curve.
    if (std::abs(line.energy_keV - kAnnihilation_keV) < 1 || blend.spread_keV > 0) continue;
    table.fwhm.push_back({line.energy_keV, fwhm, std::hypot(slope * match.dFwhmUnc, kLeastFwhmUnc * fwhm), ""});
  }
  for (const std::string& nuclide : missing) note("no line of " + nuclide + " was found");
  if (matched.size() == 1) note("one line was found: it fixes the gain; " + whatStays(file));
  if (table.fwhm.size() == 1) {
    table.one_width = table.fwhm.front();
    table.fwhm.clear();
  }
  if (!tellBend(table)) table.most_terms = 2;
}

}  // namespace com::norvale::measurement
