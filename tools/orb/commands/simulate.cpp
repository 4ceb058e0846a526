// orb simulate: a spectrum with known truth.
#include <cmath>
#include <map>
#include <memory>

#include "aioproto.h"
#include "atomic_file.h"
#include "calibration_points.h"
#include "command.h"
#include "failure.h"
#include "json_output.h"
#include "nuclide_library.h"
#include "orbparams.h"
#include "simulator.h"
#include "terminal_text.h"
#include "text_stream.h"
#include "usage_error.h"

namespace orb::tool {

namespace {

namespace sim = orb::simulate;

struct Options {
  std::string file;
  std::string nuclides;
  std::string detector = "hpge";
  std::string library;
  double live_s = 3600;
  double background = 20;
  unsigned channels = 0;  // 0: what the detector has
  std::uint64_t seed = 1;
  bool force = false;
};

struct Source {
  std::string nuclide;
  double activity = 1000;  // Bq
};

/// "Cs-137:500,Co-60"
std::vector<Source> sourcesOf(const std::string& text) {
  std::vector<Source> sources;
  TextStream in(text);
  for (std::string word; std::getline(in, word, ',');) {
    Source source;
    const auto colon = word.find(':');
    source.nuclide = word.substr(0, colon);
    if (colon != std::string::npos) {
      TextStream number(word.substr(colon + 1));
      if (!(number >> source.activity) || !number.eof() || !(source.activity > 0) || !std::isfinite(source.activity))
        throw UsageError("simulate: '" + escapeLine(word) + "' is no nuclide with an activity in Bq");
    }
    sources.push_back(source);
  }
  return sources;
}

std::vector<sim::Line> linesOf(const std::vector<Source>& sources, const std::string& library_name) {
  const std::string path = findLibrary(library_name);
  const auto library = readLibrary(path);
  std::vector<sim::Line> lines;
  for (const Source& source : sources)
    for (const LibraryLine& line : gammaLinesOfNuclide(library, source.nuclide, path))
      lines.push_back({line.nuclide, line.energy_keV, source.activity * line.probability / 100});
  return lines;
}

sim::Detector detectorOf(const Options& options) {
  sim::Detector detector = sim::detectorOfKind(options.detector);
  if (options.channels == 0) return detector;
  const double shrink = static_cast<double>(detector.channels) / options.channels;
  detector.channels = static_cast<int>(options.channels);
  detector.gain_keV *= shrink;
  detector.quadratic_keV *= shrink * shrink;
  return detector;
}

void fill(FileAccess& file, const Options& options, const sim::Detector& detector, const sim::Spectrum& spectrum) {
  std::vector<unsigned int> counts;
  for (const double n : spectrum.counts) counts.push_back(static_cast<unsigned int>(std::min(n, 2147483647.0)));
  putValue(file, ORB_T_CTITLE, Variant("simulated: " + options.nuclides));
  putValue(file, ORB_T_ACQMODE, Variant(std::string("SIM")));
  putValue(file, ORB_D_LIVETIME, Variant(options.live_s));
  putValue(file, ORB_D_REALTIME, Variant(options.live_s));
  putValue(file, ORB_D_ECALOFFSET, Variant(detector.offset_keV));
  putValue(file, ORB_D_ECALOFFSET + 1, Variant(detector.gain_keV));
  putValue(file, ORB_D_ECALOFFSET + 2, Variant(detector.quadratic_keV));
  putValue(file, ORB_T_ECALSOURCE, Variant(std::string("simulation")));
  putValue(file, ORB_D_FWHMOFF, Variant(detector.fwhm_offset_keV));
  putValue(file, ORB_D_FWHMSLOPE, Variant(detector.fwhm_slope));
  putValue(file, ORB_T_SCALSOURCE, Variant(std::string("simulation")));
  require(file.setSpectrum(counts, 1, 1), file.name(), "cannot store the spectrum");
}

/// The efficiency by which the spectrum was made, as points of a calibration. Interpolated, because no polynomial
/// follows it as closely as the points lie.
void calibrateEfficiency(FileAccess& file, const sim::Detector& detector) {
  constexpr double kUncertainty = 0.01;
  std::vector<GivenPoint> points;
  for (double energy = 45; energy < 3000; energy *= 1.25) {
    const double efficiency = sim::efficiencyAt(detector, energy);
    points.push_back({energy, efficiency, kUncertainty * efficiency, ""});
  }
  putValue(file, ORB_T_EFFMODEL, Variant(std::string("INTERPOL")));
  fitEfficiency(file, points);
}

/// By the names of the library, whatever the user wrote; a nuclide that is named twice has the sum.
std::map<std::string, double> activitiesOf(const Options& options) {
  const std::string path = findLibrary(options.library);
  const auto library = readLibrary(path);
  std::map<std::string, double> activities;
  for (const Source& source : sourcesOf(options.nuclides))
    activities[linesOfNuclide(library, source.nuclide, path).front().nuclide] += source.activity;
  return activities;
}

Json truthJson(const Options& options, const sim::Detector& detector, const sim::Spectrum& spectrum) {
  Json json;
  json["file"] = options.file;
  json["nuclides"] = options.nuclides;
  json["activities_bq"] = Json::object();
  for (const auto& [nuclide, activity] : activitiesOf(options)) json["activities_bq"][nuclide] = activity;
  json["detector"] = detector.kind;
  json["live_time_s"] = options.live_s;
  json["seed"] = options.seed;
  json["energy_coefficients"] = {detector.offset_keV, detector.gain_keV, detector.quadratic_keV};
  json["fwhm_coefficients"] = {detector.fwhm_offset_keV, detector.fwhm_slope};
  json["lines"] = Json::array();
  for (const sim::TrueLine& line : spectrum.lines) {
    json["lines"].push_back({{"nuclide", line.nuclide},
                             {"energy_keV", line.energy_keV},
                             {"channel", line.channel},
                             {"fwhm_keV", line.fwhm_keV},
                             {"efficiency", sim::efficiencyAt(detector, line.energy_keV)},
                             {"expected_area", line.expected_area}});
  }
  return json;
}

void writeSpectrum(const Options& options, const sim::Detector& detector, const sim::Spectrum& spectrum) {
  DraftFile draft(options.file, options.force);
  FileAccess file;
  const bool is_scintillator = detector.kind != "hpge" && detector.kind != "czt";
  createFile(file, draft.path(), static_cast<std::uint32_t>(detector.channels), is_scintillator, options.file);
  fill(file, options, detector, spectrum);
  calibrateEfficiency(file, detector);
  draft.write(file);
  draft.publish();
}

int run(const Options& options, Console&) {
  const auto lines = linesOf(sourcesOf(options.nuclides), options.library);
  const sim::Detector detector = detectorOf(options);
  const std::string truth_name = options.file + ".json";
  if (!options.force && pathExists(truth_name))
    throw Failure(truth_name, "not overwritten without --force", convertReturnCode(AIO_FILEEXISTS));
  const sim::Spectrum spectrum = sim::simulate(detector, lines, options.live_s, options.background, options.seed);
  writeSpectrum(options, detector, spectrum);
  DraftFile truth(truth_name, options.force, DraftFile::Content::kText);
  truth.write(jsonText(truthJson(options, detector, spectrum)) + "\n");
  truth.publish();
  return kDone;
}

}  // namespace

void addSimulate(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("simulate", "Make a spectrum with known truth");
  command->add_option("OUT", options->file, "Data file to make; the truth is written beside it as OUT.json")
      ->required();
  command->add_option("--nuclides", options->nuclides, "Sources with activities in Bq (1000 without): Cs-137:500,Co-60")
      ->required()
      ->type_name("LIST");
  command->add_option("--detector", options->detector, "hpge, nai, labr, csi or czt")
      ->check(CLI::IsMember({"hpge", "nai", "labr", "csi", "czt"}))
      ->type_name("KIND");
  command->add_option("--live-time", options->live_s, "Live time in seconds")
      ->check(CLI::Range(1e-3, 1e9))
      ->type_name("S");
  command->add_option("--background", options->background, "Counts per second of a falling continuum")
      ->check(CLI::Range(0.0, 1e6))
      ->type_name("CPS");
  command->add_option("--channels", options->channels, "Channels; the energy range stays")
      ->check(CLI::Range(64u, 65535u))
      ->type_name("N");
  command->add_option("--seed", options->seed, "Of the random numbers")->type_name("N");
  command->add_option("--library", options->library, "Nuclide library; the standard one without it")->type_name("FILE");
  command->add_flag("--force", options->force, "Replace existing files");
  command->footer(
      "The spectrum is that of a modelled detector: lines with tails and steps, Compton continua, a background, "
      "counting\n"
      "statistics. Equal seeds give equal spectra.\n\n"
      "Example:\n"
      "  orb simulate eu152.dat --nuclides Eu-152:2000,K-40:300 --live-time 600");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
