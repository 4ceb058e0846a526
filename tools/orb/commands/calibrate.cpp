// orb calibrate: energy, FWHM, low-tail and efficiency equations from points, or from the lines of a known source.
#include <cmath>
#include <memory>

#include "arguments.h"
#include "calibration_doubts.h"
#include "calibration_points.h"
#include "calibration_text.h"
#include "command.h"
#include "engine.h"
#include "failure.h"
#include "json_output.h"
#include "logged_failure.h"
#include "orbparams.h"
#include "source_calibration.h"
#include "usage_error.h"
#include "value_text.h"

namespace orb::tool {

namespace {

namespace lib = com::norvale::orb;

struct Options {
  std::string file;
  std::vector<std::string> energy, fwhm, tail, efficiency;
  std::string table;
  std::string source;
  std::string library;
  int terms = 0;
  bool json = false;
};

CalibrationTable givenPoints(const Options& options) {
  CalibrationTable table;
  if (!options.table.empty()) table = readCalibrationTable(options.table);
  const auto add = [](std::vector<GivenPoint>& points, const std::vector<std::string>& texts, const char* option) {
    for (const std::string& text : texts) points.push_back(parsePoint(text, option));
  };
  add(table.energy, options.energy, "--energy");
  add(table.fwhm, options.fwhm, "--fwhm");
  add(table.tail, options.tail, "--tail");
  add(table.efficiency, options.efficiency, "--efficiency");
  return table;
}

lib::CalibrationPoints asPoints(const std::vector<GivenPoint>& given) {
  lib::CalibrationPoints points;
  for (const GivenPoint& p : given)
    points.push_back({{static_cast<float>(p.x), 0}, {static_cast<float>(p.value), static_cast<float>(p.uncertainty)}});
  return points;
}

/// As many terms as the points determine well: a parabola from four on.
int termsFor(const Options& options, const CalibrationTable& table) {
  if (options.terms > 0) return options.terms;
  const std::size_t n_points = table.energy.size();
  return n_points >= 4 ? table.most_terms : n_points >= 2 ? 2 : 1;
}

/// The file object tells a failure by its line in the log alone.
lib::ParameterMap fitEquations(FileAccess& file, const CalibrationTable& table, int terms) {
  const LoggedFailure failure;
  auto results = file.energyShapeCalibration(asPoints(table.energy), asPoints(table.fwhm), asPoints(table.tail), terms);
  require(failure.code(), file.name(), "cannot fit the equations");
  return results;
}

/// As fitEquations. Widths that were found, not given, do not stand in the way of the energies.
lib::ParameterMap fitBest(FileAccess& file, CalibrationTable& table, int terms, bool is_found, const Note& note) {
  std::vector<orbengine::BlockCopy> former;
  for (const auto cls : {ORB_CLS_ACQUISITION, ORB_CLS_CALRESULTS, ORB_CLS_SHAPECALRES})
    former.emplace_back(file.handle(), static_cast<USHORT>(cls));
  const auto fit = [&] {
    auto results = fitEquations(file, table, terms);
    if (!table.fwhm.empty()) requireWidths(file);
    return results;
  };
  try {
    return fit();
  } catch (const Failure& failure) {
    requireAnswer(failure.code(), file.name(), "cannot fit the equations");
    if (!is_found || table.fwhm.empty() || table.energy.empty()) throw;
    for (const auto& block : former) block.restore();
    table.fwhm.clear();
    note("the widths of the lines make no FWHM curve; the file keeps its own");
    return fit();
  }
}

Json equationJson(const lib::ParameterMap& results, std::initializer_list<std::uint32_t> codes, std::uint32_t chi2) {
  Json json;
  json["coefficients"] = Json::array();
  for (const std::uint32_t code : codes) json["coefficients"].push_back(results.at(code).toDouble());
  const auto found = results.find(chi2);
  json["chi_square_reduced"] =
      found != results.end() && found->second.hasValue() ? Json(found->second.toDouble()) : Json();
  return json;
}

Json resultJson(const Options& options, const lib::ParameterMap& results, const CalibrationTable& table) {
  Json json;
  json["file"] = options.file;
  if (!table.energy.empty())
    json["energy"] = equationJson(
        results, {ORB_D_ECALOFFSET, ORB_D_ECALGAIN, ORB_D_ECALQUAD, ORB_D_ECALCUBIC, ORB_D_ECALQUART, ORB_D_ECALQUINT},
        ORB_D_ECALCHISQ);
  if (!table.fwhm.empty()) json["fwhm"] = equationJson(results, {ORB_D_FWHMOFF, ORB_D_FWHMSLOPE}, ORB_D_FWHMCHISQ);
  if (!table.tail.empty()) json["tail"] = equationJson(results, {ORB_D_TAILOFF, ORB_D_TAILSLOPE}, ORB_D_TAILCHISQ);
  json["points"] = Json::array();
  for (const GivenPoint& p : table.energy) json["points"].push_back({{"channel", p.x}, {"energy_keV", p.value}});
  json["efficiency_points"] = table.efficiency.size();
  return json;
}

void printResult(const FileAccess& file, const lib::ParameterMap& results, const CalibrationTable& table,
                 Console& console) {
  const auto chi2 = [&](std::uint32_t code) {
    const auto found = results.find(code);
    return found != results.end() && found->second.hasValue()
               ? ", reduced chi-square " + roundedText(found->second.toDouble(), 3)
               : std::string();
  };
  for (const GivenPoint& p : table.energy)
    console.line("  channel " + roundedText(p.x, 7) + "  " + roundedText(p.value, 8) + " keV" +
                 (p.label.empty() ? "" : "  " + p.label));
  const auto count = [](const std::vector<GivenPoint>& points) { return std::to_string(points.size()) + " points"; };
  if (!table.energy.empty()) {
    const auto energy = readEnergyCalibration(file);
    std::string words;
    for (std::size_t i = 0; energy && i < energy->coefficients.size(); ++i)
      words += (i == 0 ? "" : ", ") + roundedText(energy->coefficients[i], 8);
    console.line("Energy  " + count(table.energy) + chi2(ORB_D_ECALCHISQ) + "; coefficients " + words);
  }
  if (!table.fwhm.empty()) {
    const auto fwhm = readFwhmCalibration(file);
    console.line("FWHM    " + count(table.fwhm) + chi2(ORB_D_FWHMCHISQ) + (fwhm ? "; " + fwhmWords(*fwhm) : ""));
  }
  if (!table.tail.empty()) console.line("Tail    " + count(table.tail) + chi2(ORB_D_TAILCHISQ));
  if (!table.efficiency.empty()) console.line("Efficiency  " + count(table.efficiency));
}

/// One width is no curve, but tells how far all widths are off that the file has.
void putToOneWidth(FileAccess& file, const GivenPoint& width, const Note& note) {
  constexpr double kBorne = 0.02;
  constexpr double kScatter = 5;  // %, of widths elsewhere about the scaled ones
  const auto calibration = readFwhmCalibration(file);
  const double ratio = calibration ? width.value / calibration->fwhm_keV(width.x) : 0;
  if (!(ratio > 0) || std::abs(ratio - 1) < kBorne) return;
  scaleFwhmCalibration(file, *calibration, ratio);
  putValue(file, ORB_D_FWHMSCATTER, Variant(kScatter));
  putValue(file, ORB_T_SCALSOURCE, Variant("scaled to the width of one line"));
  note("the widths were scaled by " + roundedText(ratio, 3) + " to that of the line");
}

/// What the calibrations come from, in the place of what the file said of the former ones.
void putSources(FileAccess& file, const Options& options, const CalibrationTable& table) {
  const std::string source = options.source.empty() ? "points given to orb calibrate" : "lines of " + options.source;
  if (!table.energy.empty()) putValue(file, ORB_T_ECALSOURCE, Variant(source));
  if (!table.fwhm.empty()) putValue(file, ORB_T_SCALSOURCE, Variant(source));
}

int run(const Options& options, Console& console) {
  CalibrationTable table = givenPoints(options);
  FileAccess file;
  openForWriting(file, options.file);
  const Note note = [&](const std::string& text) { console.note(options.file + ": " + text); };
  if (!options.source.empty()) addSourceLines(file, options.source, options.library, table, note);
  if (table.empty()) throw UsageError("calibrate: give points, a table of points, or a source (--auto)");
  requireChannels(file, table);
  const auto former = readEnergyCalibration(file);
  lib::ParameterMap results;
  if (!table.energy.empty() || !table.fwhm.empty() || !table.tail.empty())
    results = fitBest(file, table, termsFor(options, table), !options.source.empty(), note);
  if (!table.efficiency.empty()) fitEfficiency(file, table.efficiency);
  if (table.one_width) putToOneWidth(file, *table.one_width, note);
  putSources(file, options, table);
  noteDoubts(file, table, former, !options.source.empty(), note);
  flushAndClose(file);
  openForReading(file, options.file);
  if (options.json) {
    printJson(resultJson(options, results, table), console);
  } else {
    printResult(file, results, table, console);
  }
  return kDone;
}

}  // namespace

void addCalibrate(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("calibrate", "Fit energy, FWHM, low-tail and efficiency equations");
  command->add_option("FILE", options->file, "Data file")->required();
  command->add_option("--energy", options->energy, "Point CHANNEL:KEV or CHANNEL:KEV:UNCERTAINTY; any number of them")
      ->type_name("POINT");
  command->add_option("--fwhm", options->fwhm, "Point KEV:FWHM[:UNCERTAINTY], in keV")->type_name("POINT");
  command->add_option("--tail", options->tail, "Point KEV:JUNCTION[:UNCERTAINTY], in keV")->type_name("POINT");
  command->add_option("--efficiency", options->efficiency, "Point KEV:EFFICIENCY[:UNCERTAINTY]")->type_name("POINT");
  command->add_option("--points", options->table, "CSV with the columns kind,x,value,uncertainty; kinds as the options")
      ->type_name("CSV");
  command
      ->add_option("--auto", options->source,
                   "Finds the lines of these nuclides in the spectrum: Eu-152 or Cs-137,Co-60")
      ->type_name("SOURCE");
  command->add_option("--library", options->library, "Nuclide library for --auto; the standard one without it")
      ->type_name("FILE");
  command->add_option("--terms", options->terms, "Terms of the energy equation, 1 to 4; by the points without it")
      ->check(CLI::Range(1, 4))
      ->type_name("N");
  command->add_flag("--json", options->json, "Print JSON");
  command->footer("Example:\n  orb calibrate eu152.dat --auto Eu-152");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
