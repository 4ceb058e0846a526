// orb import: a spectrum in a text format becomes a data file.
#include <memory>

#include "atomic_file.h"
#include "command.h"
#include "detector_guess.h"
#include "failure.h"
#include "spectrum_file.h"
#include "spectrum_to_file.h"

namespace orb::tool {

namespace {

struct Options {
  std::string spectrum;
  std::string file;
  std::string detector;
  std::size_t number = 0;  // 0: not given
  bool force = false;
};

/// The spectrum that is meant, and what to say when there are others.
const formats::SpectrumData& choose(const SpectrumFile& source, std::size_t number, const Note& note) {
  const std::size_t n = source.spectra.size();
  if (number > n) {
    throw Failure(source.path,
                  "there is no spectrum " + std::to_string(number) + "; the file holds " + std::to_string(n));
  }
  if (number == 0 && n > 1) {
    note("the file holds " + std::to_string(n) + " spectra; this is the first, --spectrum N takes another");
  }
  return source.spectra[number == 0 ? 0 : number - 1];
}

bool isScintillator(const Options& options, const formats::SpectrumData& spectrum, const Note& note) {
  if (!options.detector.empty()) return options.detector == "nai";
  const auto energy = energyFromOne(spectrum, [](const std::string&) {});
  const std::string named = spectrum.detector + " " + spectrum.instrument;
  const DetectorGuess guess = guessDetector(countsFromChannelZero(spectrum), energy, named);
  note(std::string("taken for ") + (guess.is_NaI ? "a scintillator (nai)" : "germanium (hpge)") + ": " + guess.reason);
  return guess.is_NaI;
}

int run(const Options& options, Console& console) {
  const Note note = [&](const std::string& text) { console.note(options.spectrum + ": " + text); };
  requireNoOtherFile(options.file);
  DraftFile draft(options.file, options.force);
  const SpectrumFile source = readSpectrumFile(options.spectrum);
  const formats::SpectrumData& spectrum = choose(source, options.number, note);
  for (const std::string& warning : spectrum.warnings) note(warning);

  const auto n_channels = static_cast<std::uint32_t>(countsFromChannelZero(spectrum).size());
  const bool is_NaI = isScintillator(options, spectrum, note);
  const std::string type = options.detector.empty() ? "" : is_NaI ? "NAI" : "HPGE";
  FileAccess file;
  require(file.create(draft.path(), n_channels, is_NaI), options.file, "cannot create");
  fillFile(file, spectrum, {options.spectrum, formatWords(source.format), type}, note);
  require(file.flush(), options.file, "cannot write");
  require(file.close(com::norvale::orb::NOFLUSH), options.file, "cannot close");
  draft.publish();
  return kDone;
}

}  // namespace

void addImport(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("import", "Make a data file of a spectrum in a text format");
  command->add_option("SPECTRUM", options->spectrum, "Spectrum: IAEA ASCII, ANSI N42.42, CSV or text; told by content")
      ->required();
  command->add_option("FILE", options->file, "Data file to make")->required();
  command
      ->add_option("--detector", options->detector, "Kind of detector, hpge or nai; guessed from the widths without it")
      ->check(CLI::IsMember({"hpge", "nai"}))
      ->type_name("KIND");
  command->add_option("--spectrum", options->number, "Which spectrum of the file, from 1 ('orb info' lists them)")
      ->check(CLI::PositiveNumber)
      ->type_name("N");
  command->add_flag("--force", options->force, "Replace an existing file");
  command->footer(
      "What cannot be carried over is told on standard error. Without an energy calibration in the source the file "
      "has\n"
      "none; without widths it keeps those typical of the kind of detector, marked as not measured.\n\n"
      "Example:\n"
      "  orb import soil.spe soil.dat --detector hpge");
  command->callback([options, &job] { job = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
