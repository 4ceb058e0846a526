#include "file_to_spectrum.h"

#include <cmath>

#include "blocks.h"
#include "calibration_text.h"
#include "channel_shift.h"
#include "failure.h"
#include "orbparams.h"
#include "text_stream.h"
#include "value_text.h"
#include "width_transfer.h"
#include "words.h"

namespace com::norvale::measurement {

using formats::SpectrumData;

namespace {

void takeTexts(const FileAccess& file, SpectrumData& spectrum) {
  spectrum.name = findText(file, ORB_T_MEASID);
  spectrum.title = findText(file, ORB_T_CTITLE);
  spectrum.detector = findText(file, ORB_T_DETNAME);
  spectrum.instrument = findText(file, ORB_T_INSTRUMENT);
  TextStream remarks(findText(file, ORB_T_REMARKS));
  for (std::string line; std::getline(remarks, line);) spectrum.remarks.push_back(line);
}

void takeTimes(const FileAccess& file, SpectrumData& spectrum) {
  if (const auto start = findValue(file, ORB_X_ACQSTART)) spectrum.start = start->toXtime_t();
  spectrum.live_s = findNumber(file, ORB_D_LIVETIME);
  spectrum.real_s = findNumber(file, ORB_D_REALTIME);
}

std::vector<double> takeEnergy(const FileAccess& file, SpectrumData& spectrum, const Note& note) {
  const auto calibration = readEnergyCalibration(file);
  if (!calibration) return {};
  if (calibration->is_default) {
    note("the energy equation is the default of a new file, nobody has measured it; it is left out");
    return {};
  }
  spectrum.energy.coefficients = formats::toChannelsFromZero(calibration->coefficients);
  return spectrum.energy.coefficients;
}

/// Which forms of an FWHM calibration a format can hold.
bool canHold(ExportFormat format, const formats::FwhmCalibration& fwhm) {
  const bool over_channels = fwhm.position == formats::Quantity::kChannel && !fwhm.coefficients.empty();
  const bool in_keV = fwhm.position == formats::Quantity::kEnergy && fwhm.width == formats::Quantity::kEnergy;
  switch (format) {
    case ExportFormat::kSpe:
      return over_channels;
    case ExportFormat::kN42:
      return (over_channels && fwhm.width == formats::Quantity::kChannel) || (in_keV && !fwhm.points.empty());
    default:
      return true;
  }
}

void takeWidth(const FileAccess& file, ExportFormat format, std::size_t n_channels, const std::vector<double>& energy,
               SpectrumData& spectrum, const Note& note) {
  const auto calibration = readFwhmCalibration(file);
  if (!calibration || calibration->is_default) return;
  if (findText(file, ORB_T_SCENGINE) == kImportEngine) {
    const auto original = originalWidth(findText(file, ORB_T_SCSETTINGS), *calibration);
    if (original && canHold(format, *original)) {
      spectrum.fwhm = *original;
      return;
    }
  }
  if (energy.empty()) return note("the FWHM calibration is left out, because there is no energy calibration");
  if (format != ExportFormat::kSpe) {
    spectrum.fwhm = widthPoints(*calibration, energy, n_channels);
    return;
  }
  double worst = 0;
  spectrum.fwhm = widthQuadratic(*calibration, energy, n_channels, worst);
  note("the FWHM calibration is written as a quadratic over the channel, within " + roundedText(100 * worst, 2) + " %");
}

void takeCounts(const FileAccess& file, const AioBlockInfo_T& block, std::uint32_t group, std::uint32_t row,
                SpectrumData& spectrum) {
  const Counts counts = readCounts(file, block, group, row);
  spectrum.counts.resize(counts.size());
  for (std::size_t i = 0; i < counts.size(); ++i) {
    const double count = counts.at(i);
    if (!(count >= 0) || !std::isfinite(count)) {
      throw Failure(file.name(), "channel " + std::to_string(i + 1) + " holds " + numberText(count) +
                                     "; text formats hold counts that are finite and not negative");
    }
    spectrum.counts[i] = count;
    spectrum.whole_counts = spectrum.whole_counts && count == std::floor(count);
  }
}

void noteOtherBlocks(const FileAccess& file, const std::vector<AioBlockInfo_T>& blocks, const Note& note) {
  for (const AioBlockInfo_T& block : blocks) {
    if (block.usClass == ORB_CLS_SPECTRUM || block.usRecords == 0) continue;
    note("not carried: " + classWords(block.usClass) + ", " + std::to_string(block.usRecords) + " records");
  }
  constexpr std::uint32_t kFirstOfSample = ORB_CLS_SAMPLE << 16 | 1;
  constexpr std::uint32_t kLastOfSampleTexts = ORB_CLS_SAMPLE << 16 | 4;
  for (std::uint32_t code = kFirstOfSample; code <= kLastOfSampleTexts; ++code) {
    if (findText(file, code).empty()) continue;
    note("not carried: the description of the sample");
    return;
  }
}

formats::Written writeText(const std::vector<SpectrumData>& spectra, ExportFormat format, const Note& note) {
  if (format == ExportFormat::kN42) return formats::writeN42(spectra);
  if (spectra.size() > 1) {
    note("not carried: " + std::to_string(spectra.size() - 1) + " further spectra; only n42 holds several");
  }
  switch (format) {
    case ExportFormat::kSpe:
      return formats::writeSpe(spectra.front());
    case ExportFormat::kCsv:
      return formats::writeCsv(spectra.front());
    default:
      return formats::writeJson(spectra.front());
  }
}

}  // namespace

std::vector<SpectrumData> spectraOfFile(const FileAccess& file, ExportFormat format, const Note& note) {
  const auto blocks = listBlocks(file);
  const AioBlockInfo_T* const block = findSpectralBlock(blocks);
  if (block == nullptr) throw Failure(file.name(), "no spectrum", convertReturnCode(AIO_NOBLOCK));
  if (block->ulChannels == 0) throw Failure(file.name(), "the spectrum has no channels");
  SpectrumData common;
  takeTexts(file, common);
  takeTimes(file, common);
  const auto energy = takeEnergy(file, common, note);
  takeWidth(file, format, block->ulChannels, energy, common, note);
  noteOtherBlocks(file, blocks, note);

  auto written = listSpectra(file);
  if (written.empty()) written.push_back({1, 1, AIO_FORMAT_LONG});  // zeros
  std::vector<SpectrumData> spectra;
  for (const AioSpectrumInfo_T& place : written) {
    SpectrumData spectrum = common;
    if (written.size() > 1) {
      spectrum.name = "group " + std::to_string(place.ulGroup) + " row " + std::to_string(place.ulRow);
    }
    takeCounts(file, *block, place.ulGroup, place.ulRow, spectrum);
    spectra.push_back(std::move(spectrum));
  }
  return spectra;
}

std::string textOfFile(const FileAccess& file, ExportFormat format, const Note& note) {
  const formats::Written written = writeText(spectraOfFile(file, format, note), format, note);
  for (const std::string& text : written.not_carried) note("not carried: " + text);
  return written.text;
}

}  // namespace com::norvale::measurement
