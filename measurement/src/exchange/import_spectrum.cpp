#include "import_spectrum.h"

#include "blocks.h"
#include "calibration_text.h"
#include "detector_guess.h"
#include "failure.h"
#include "spectrum_file.h"
#include "value_text.h"

namespace com::norvale::measurement {

namespace {

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

DetectorGuess detectorOf(const ImportRequest& request, const formats::SpectrumData& spectrum, const Note& note) {
  if (!request.detector.empty()) return {request.detector == "nai", "", 0, 0};
  const auto energy = energyFromOne(spectrum, [](const std::string&) {});
  const std::string named = spectrum.detector + " " + spectrum.instrument;
  const DetectorGuess guess = guessDetector(countsFromChannelZero(spectrum), energy, named);
  note(std::string("taken for ") + (guess.is_NaI ? "a scintillator (nai)" : "germanium (hpge)") + ": " + guess.reason);
  return guess;
}

/// Scintillators differ much. Where the typical widths are far below those of all lines that stand out, they would
/// make several lines of one; they are scaled to the narrowest, and still count as not measured.
void scaleTypicalWidths(FileAccess& file, const DetectorGuess& guess, const Note& note) {
  constexpr double kFarBelow = 1.3;
  const auto typical = readFwhmCalibration(file);
  if (!guess.is_NaI || guess.energy_keV <= 0 || !typical || typical->source != kTypicalWidths) return;
  const double ratio = guess.fwhm_keV / typical->fwhm_keV(guess.energy_keV);
  if (!(ratio > kFarBelow && ratio < 10)) return;
  scaleFwhmCalibration(file, *typical, ratio);
  note("the typical widths were scaled by " + roundedText(ratio, 2) + " to those in the spectrum");
}

}  // namespace

void importSpectrum(const ImportRequest& request, FileAccess& file, const std::string& target,
                    const std::string& shown_name, const Note& note) {
  importSpectrum(readSpectrumFile(request.spectrum), request, file, target, shown_name, note);
}

void importSpectrum(const SpectrumFile& source, const ImportRequest& request, FileAccess& file,
                    const std::string& target, const std::string& shown_name, const Note& note) {
  const formats::SpectrumData& spectrum = choose(source, request.number, note);
  for (const std::string& warning : spectrum.warnings) note(warning);

  const auto n_channels = static_cast<std::uint32_t>(countsFromChannelZero(spectrum).size());
  const DetectorGuess detector = detectorOf(request, spectrum, note);
  const std::string type = request.detector.empty() ? "" : detector.is_NaI ? "NAI" : "HPGE";
  createFile(file, target, n_channels, detector.is_NaI, shown_name);
  fillFile(file, spectrum, {request.spectrum, formatWords(source.format), type}, note);
  scaleTypicalWidths(file, detector, note);
}

}  // namespace com::norvale::measurement
