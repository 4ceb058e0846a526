// orb analyze: from a spectrum to its peaks and nuclides in one go.
#include <algorithm>
#include <cmath>
#include <memory>

#include "analysis_options.h"
#include "atomic_file.h"
#include "blocks.h"
#include "command.h"
#include "failure.h"
#include "nuclide_output.h"
#include "orbparams.h"
#include "peak_output.h"
#include "report_file.h"
#include "simulated_truth.h"
#include "temporary_file.h"
#include "terminal_text.h"
#include "usage_error.h"
#include "value_text.h"

namespace orb::tool {

namespace {

struct Options {
  AnalysisRequest request;
  RunOptions engines;
  std::string out;
  std::string report;
  std::string truth;
  bool force = false;
  bool limits = false;
  bool json = false;
};

void print(const FileAccess& file, const std::vector<Peak>& peaks, const Options& options, Console& console) {
  const NuclideResults nuclides = readNuclides(file);
  if (options.json) {
    Json json = peaksJson(peaks);
    appendNuclides(json, nuclides);
    return printJson(json, console);
  }
  printPeaks(peaks, console);
  console.line();
  printNuclides(nuclides, options.limits, console);
  if (options.truth.empty()) return;
  console.line();
  printAgainstTruth(options.truth, peaks, nuclides, console);
}

/// A calibration that the analysis changed must not go unnoticed.
void tellAdjustments(const FileAccess& file, const Note& note) {
  const std::pair<const char*, std::uint32_t> sources[] = {{"energy calibration ", ORB_T_ECALSOURCE},
                                                           {"FWHM calibration ", ORB_T_SCALSOURCE}};
  for (const auto& [what, code] : sources) {
    const std::string source = findText(file, code);
    if (source.rfind("adjusted ", 0) == 0) note(what + source);
  }
}

double medianOf(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Strong lines of identified nuclides that lie on one side of where they belong show that the energy equation is off.
void tellEnergies(const std::vector<Peak>& peaks, const Note& note) {
  constexpr double kStrong = 20;  // significance
  constexpr std::size_t kLeastLines = 3;
  constexpr double kOff_fwhm = 0.15;
  std::vector<double> distances;
  std::vector<double> in_fwhm;
  for (const Peak& peak : peaks) {
    if (peak.significance < kStrong || !peak.energy_keV || !peak.fwhm_keV || !(peak.library_keV > 0)) continue;
    distances.push_back(*peak.energy_keV - peak.library_keV);
    in_fwhm.push_back(distances.back() / *peak.fwhm_keV);
  }
  if (distances.size() < kLeastLines) return;
  const double off = medianOf(in_fwhm);
  if (std::abs(off) > kOff_fwhm)
    note("the strong lines of identified nuclides lie " + roundedText(std::abs(medianOf(distances)), 2) + " keV too " +
         (off > 0 ? "high" : "low") + "; orb calibrate --auto with these nuclides puts the energies right");
}

/// Where the analysed file goes: -o, the data file itself, or a file that is gone afterwards.
class Target {
 public:
  /// In place the file is open afterwards, so that nobody else writes to it.
  Target(const Options& options, FileAccess& file) : name_(options.out.empty() ? options.request.input : options.out) {
    if (!options.out.empty()) {
      draft_ = std::make_unique<DraftFile>(options.out, options.force);
    } else if (looksLikeDataFile(options.request.input)) {
      openForWriting(file, options.request.input);
    } else {
      temporary_ = std::make_unique<TemporaryFile>();
    }
  }

  /// Where to make the file; nowhere in place.
  std::string path() const { return draft_ ? draft_->path() : temporary_ ? temporary_->path() : std::string(); }
  const std::string& shownName() const { return name_; }
  void keep(FileAccess& file) {
    if (draft_) {
      draft_->write(file);
      draft_->publish();
    } else if (temporary_) {
      require(file.close(com::norvale::orb::NOFLUSH), name_, "cannot close");
    } else {
      flushAndClose(file);
    }
  }

 private:
  std::unique_ptr<TemporaryFile> temporary_;
  std::unique_ptr<DraftFile> draft_;
  std::string name_;
};

/// An option that would not be heeded is refused.
void requireHeeded(const Options& options) {
  const bool is_for_texts = !options.request.detector.empty() || options.request.number > 0;
  if (is_for_texts && looksLikeDataFile(options.request.input))
    throw UsageError("analyze: --detector and --spectrum are for spectra in a text format, and '" +
                     escapeLine(options.request.input) + "' is a data file");
}

/// The report must not take the place of the spectrum or of its results.
void requireReportPlace(const Options& options) {
  if (options.report.empty()) return;
  const std::string name = toLower(options.report);
  if (!name.ends_with(".html") && !name.ends_with(".htm"))
    throw UsageError("analyze: the name of the report, '" + escapeLine(options.report) + "', does not end in .html");
  if (options.report == options.out || isSameFile(options.report, options.request.input))
    throw UsageError("analyze: the report and a data file or spectrum are one file");
  requireReportCanBeWritten(options.report, options.force);
}

int run(Options options, Console& console) {
  options.request.engines = findEngines(options.engines);
  requireHeeded(options);
  const Note note = [&](const std::string& text) { console.note(options.request.input + ": " + text); };
  requireReportPlace(options);
  if (!options.truth.empty()) requireTruth(options.truth);
  FileAccess file;
  Target target(options, file);
  analyse(options.request, file, target.path(), target.shownName(), note);
  tellAdjustments(file, note);
  const auto peaks = readPeaks(file);
  tellEnergies(peaks, note);
  if (!options.report.empty()) writeReport(file, options.report, options.force, target.shownName(), note);
  print(file, peaks, options, console);
  target.keep(file);
  return kDone;
}

}  // namespace

void addAnalyze(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("analyze", "Find the peaks and nuclides of a spectrum");
  command->add_option("IN", options->request.input, "Data file, or a spectrum in a text format")->required();
  command
      ->add_option("-o,--output", options->out,
                   "Data file for the results; without it a data file keeps its own, and a text leaves none")
      ->type_name("FILE");
  command->add_option("--report", options->report, "Report page to write, .html")->type_name("R.html");
  command
      ->add_option("--detector", options->request.detector,
                   "For a text: hpge or nai; guessed from the widths without it")
      ->check(CLI::IsMember({"hpge", "nai"}))
      ->type_name("KIND");
  command->add_option("--spectrum", options->request.number, "For a text: which spectrum, from 1")
      ->check(CLI::PositiveNumber)
      ->type_name("N");
  addAnalysisOptions(*command, options->request, options->engines);
  command->add_option("--truth", options->truth, "Truth of a simulated spectrum, to be printed beside the results")
      ->type_name("JSON");
  command->add_flag("--force", options->force, "Replace existing files");
  command->add_flag("--limits", options->limits, "List the detection limits of nuclides that were not found");
  command->add_flag("--json", options->json, "Print JSON")->excludes("--truth");
  command->footer(
      "Nuclides are listed by falling confidence, lines that ought to be seen and are not in brackets. Activities "
      "need\n"
      "an efficiency calibration and a live time in the file.\n\n"
      "Example:\n  orb analyze soil.spe -o soil.dat --report soil.html");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
