#include "plotted_spectrum.h"

#include "blocks.h"
#include "calibration_text.h"
#include "channel_shift.h"
#include "failure.h"
#include "orbparams.h"
#include "spectrum_file.h"
#include "value_text.h"

namespace com::norvale::measurement {

namespace {

std::string timesText(const std::optional<double>& live_s, const std::optional<double>& real_s) {
  std::string text;
  if (live_s) text = "live time " + numberText(*live_s) + " s";
  if (real_s) text += (text.empty() ? "real time " : ", real time ") + numberText(*real_s) + " s";
  return text;
}

void addSubtitle(plot::Spectrum& spectrum, const std::string& start, const std::string& times) {
  const std::string text = start + (start.empty() || times.empty() ? "" : ", ") + times;
  if (!text.empty()) spectrum.subtitle.push_back(text);
}

/// A line is named by its nuclide, or by its energy while none is known.
std::string peakLabel(const FileAccess& file, std::uint16_t record, bool has_energy) {
  const auto nuclide = findValue(file, ORB_T_PKNUCLIDE, record);
  if (nuclide && !nuclide->toString().empty()) return nuclide->toString();
  const auto energy = findValue(file, ORB_D_PKENERGY, record);
  return has_energy && energy ? roundedText(static_cast<double>(*energy), 4) : std::string();
}

void markPeaks(const FileAccess& file, const std::vector<AioBlockInfo_T>& blocks, plot::Spectrum& spectrum) {
  for (const AioBlockInfo_T& block : blocks) {
    if (block.usClass != ORB_CLS_PEAKS) continue;
    for (std::uint32_t record = 1; record <= block.usRecords; ++record) {
      const auto number = static_cast<std::uint16_t>(record);
      const auto centroid = findValue(file, ORB_D_PKCENTROID, number);
      if (!centroid) continue;
      const bool has_energy = !spectrum.energy_coefficients.empty();
      const auto area = findValue(file, ORB_D_PKAREA, number);
      spectrum.peaks.push_back(
          {static_cast<double>(*centroid), peakLabel(file, number, has_energy), area ? area->toDouble() : 0});
    }
  }
}

plot::Spectrum ofDataFile(const FileAccess& file) {
  const auto blocks = listBlocks(file);
  const AioBlockInfo_T* const block = findSpectralBlock(blocks);
  if (block == nullptr) throw Failure(file.name(), "no spectrum", convertReturnCode(AIO_NOBLOCK));
  const Counts counts = readCounts(file, *block, 1, 1);
  plot::Spectrum spectrum;
  spectrum.title = findText(file, ORB_T_CTITLE);
  spectrum.counts.resize(counts.size());
  for (std::size_t i = 0; i < counts.size(); ++i) spectrum.counts[i] = counts.at(i);
  if (const auto calibration = readEnergyCalibration(file)) spectrum.energy_coefficients = calibration->coefficients;
  const auto start = findValue(file, ORB_X_ACQSTART);
  addSubtitle(spectrum, start ? start->toString() : "",
              timesText(findNumber(file, ORB_D_LIVETIME), findNumber(file, ORB_D_REALTIME)));
  markPeaks(file, blocks, spectrum);
  return spectrum;
}

plot::Spectrum ofTextFile(const std::string& path, const Note& note) {
  const SpectrumFile file = readSpectrumFile(path);
  const formats::SpectrumData& first = file.spectra.front();
  if (file.spectra.size() > 1) note("drawn: the first of " + std::to_string(file.spectra.size()) + " spectra");
  plot::Spectrum spectrum;
  spectrum.title = first.title;
  spectrum.counts = first.counts;
  spectrum.first_channel = first.first_channel + 1;
  spectrum.energy_unit = first.energy.unit;
  spectrum.energy_coefficients = formats::toChannelsFromOne(first.energy.coefficients);
  addSubtitle(spectrum, first.start ? first.start->toString() : "", timesText(first.live_s, first.real_s));
  return spectrum;
}

plot::Spectrum drawable(plot::Spectrum spectrum, const std::string& name, const Note& note) {
  spectrum.file_name = name;
  if (const std::string problem = plot::calibrationProblem(spectrum); !problem.empty()) {
    note("drawn over channels: " + problem);
    spectrum.energy_coefficients.clear();
  }
  return spectrum;
}

}  // namespace

plot::Spectrum spectrumForPlot(const std::string& path, const Note& note) {
  if (!looksLikeDataFile(path)) return drawable(ofTextFile(path, note), path, note);
  FileAccess file;
  openForReading(file, path);
  return spectrumForPlot(file, note);
}

plot::Spectrum spectrumForPlot(const FileAccess& file, const Note& note) {
  return drawable(ofDataFile(file), file.name(), note);
}

}  // namespace com::norvale::measurement
