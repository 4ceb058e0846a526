#include "spectrum_to_file.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <numeric>
#include <string_view>

#include "blocks.h"
#include "channel_shift.h"
#include "failure.h"
#include "orbparams.h"
#include "polynomial_fit.h"
#include "value_text.h"
#include "width_transfer.h"

namespace com::norvale::measurement {

using com::norvale::datatypes::xtime_t;
using formats::SpectrumData;

namespace {

constexpr std::size_t kPointsDegree = 3;

xtime_t now() {
  xtime_t time;
  time.dateTime =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
  return time;
}

std::string baseName(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

/// "spectrum1": a name that only a document needs says nothing about the measurement.
bool isNumbered(const std::string& name) {
  constexpr std::string_view kWord = "spectrum";
  return name.compare(0, kWord.size(), kWord) == 0 &&
         std::all_of(name.begin() + kWord.size(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// Stores a text, cut at a character where it is too long.
void putText(FileAccess& file, std::uint32_t code, const std::string& text, const Note& note) {
  if (text.empty()) return;
  AioParamInfo_T info{};
  require(convertReturnCode(AioUtilParamInfo(file.handle(), code, &info)), file.name(), "cannot store a text");
  const auto room = static_cast<std::size_t>(info.lStorageLength);
  std::size_t length = std::min(text.size(), room);
  while (length < text.size() && length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
  if (length < text.size()) {
    note(std::string(info.szName) + " has room for " + std::to_string(room) + " bytes, the text of " +
         std::to_string(text.size()) + " was cut");
  }
  putValue(file, code, Variant(text.substr(0, length)));
}

/// A value cannot be taken out of a block, so the block is made anew without it.
void removeDefaultEnergy(FileAccess& file) {
  com::norvale::orb::ParameterMap kept;
  for (const AioValueInfo_T& listed : listValues(file, ORB_CLS_ACQUISITION, 0)) {
    const bool is_energy = listed.ulCode >= ORB_D_ECALOFFSET && listed.ulCode < ORB_D_ECALOFFSET + kEnergyCoefficients;
    if (is_energy) continue;
    if (const auto value = findValue(file, listed.ulCode)) kept[listed.ulCode] = *value;
  }
  require(file.deleteBlock(ORB_CLS_ACQUISITION), file.name(), "cannot make the acquisition block");
  require(file.createBlock(ORB_CLS_ACQUISITION, 0, 1, 1), file.name(), "cannot make the acquisition block");
  require(file.setParameters(kept, 0, 0, false), file.name(), "cannot store the defaults");
}

/// Integers while they fit, because they are exact; single precision otherwise.
void putCounts(FileAccess& file, const SpectrumData& spectrum, const Note& note) {
  const std::vector<double> counts = countsFromChannelZero(spectrum);
  const double largest = *std::max_element(counts.begin(), counts.end());
  if (spectrum.whole_counts && largest <= std::numeric_limits<std::int32_t>::max()) {
    std::vector<int> integers(counts.size());
    std::transform(counts.begin(), counts.end(), integers.begin(), [](double c) { return static_cast<int>(c); });
    require(file.setSpectrum(integers, 1, 1), file.name(), "cannot store the spectrum");
  } else {
    const std::vector<float> reals(counts.begin(), counts.end());
    const auto n_rounded = static_cast<std::size_t>(
        std::inner_product(counts.begin(), counts.end(), reals.begin(), std::ptrdiff_t{0}, std::plus<>(),
                           [](double c, float stored) { return static_cast<double>(stored) == c ? 0 : 1; }));
    note(std::string("counts are stored as 32-bit real numbers") +
         (n_rounded == 0 ? "" : "; " + std::to_string(n_rounded) + " of them are rounded to about 7 digits"));
    require(file.setSpectrum(reals, 1, 1), file.name(), "cannot store the spectrum");
  }
  const double total = std::accumulate(counts.begin(), counts.end(), 0.0);
  putValue(file, ORB_L_TOTALCOUNTS, Variant(static_cast<std::int64_t>(std::llround(total))));
}

void putTimes(FileAccess& file, const SpectrumData& spectrum, const Note& note) {
  if (spectrum.start) putValue(file, ORB_X_ACQSTART, Variant(*spectrum.start));
  if (spectrum.live_s) putValue(file, ORB_D_LIVETIME, Variant(*spectrum.live_s));
  if (spectrum.real_s) putValue(file, ORB_D_REALTIME, Variant(*spectrum.real_s));
  if (!spectrum.start) note("the source names no start of the acquisition");
  if (!spectrum.live_s) note("the source names no live time");
}

void putEnergy(FileAccess& file, const SpectrumData& spectrum, const ImportContext& context, const Note& note) {
  const std::vector<double> coefficients = energyFromOne(spectrum, note);
  if (coefficients.empty()) return note("no energy calibration");
  for (std::size_t i = 0; i < kEnergyCoefficients; ++i) {
    const double c = i < coefficients.size() ? coefficients[i] : 0.0;
    putValue(file, ORB_D_ECALOFFSET + static_cast<std::uint32_t>(i), Variant(c));
  }
  putValue(file, ORB_T_ECALTYPE, Variant("POLY"));
  putText(file, ORB_T_ECALSOURCE, baseName(context.source_name), note);
}

/// Keeps the original equation beside the fitted one, for an export.
void putOriginalWidth(FileAccess& file, const formats::FwhmCalibration& original, const WidthFit& fit) {
  const std::string record = widthRecord(original, fit);
  AioParamInfo_T info{};
  const bool known = AioUtilParamInfo(file.handle(), ORB_T_SCSETTINGS, &info) == AIO_OK;
  if (!known || record.size() > static_cast<std::size_t>(info.lStorageLength)) return;
  putValue(file, ORB_T_SCENGINE, Variant(kImportEngine));
  putValue(file, ORB_T_SCSETTINGS, Variant(record));
}

constexpr double kScatterOfTypical = 5;  // %: so far detectors of a kind are apart

void putWidth(FileAccess& file, const SpectrumData& spectrum, const ImportContext& context, const Note& note) {
  const auto energy = energyFromOne(spectrum, [](const std::string&) {});
  const auto from_zero = energy.empty() ? std::vector<double>() : formats::toChannelsFromZero(energy);
  const std::size_t n_channels = spectrum.first_channel + spectrum.counts.size();
  const auto fit = spectrum.fwhm.empty() ? std::nullopt : fitWidth(spectrum.fwhm, from_zero, n_channels);
  if (!fit) {
    if (!spectrum.fwhm.empty()) note("the FWHM calibration cannot be used: no widths that grow with the energy");
    note("no FWHM calibration; widths typical of the kind of detector stay in the file, marked as not measured");
    putValue(file, ORB_D_FWHMSCATTER, Variant(kScatterOfTypical));
    return putValue(file, ORB_T_SCALSOURCE, Variant(kTypicalWidths));
  }
  putValue(file, ORB_D_FWHMOFF, Variant(fit->offset));
  putValue(file, ORB_D_FWHMSLOPE, Variant(fit->slope));
  putText(file, ORB_T_SCALSOURCE, baseName(context.source_name), note);
  putOriginalWidth(file, spectrum.fwhm, *fit);
  constexpr double kWorthAWord = 1e-6;
  if (fit->worst > kWorthAWord) {
    note("the FWHM calibration has another form; offset + slope sqrt(E) was fitted to it, within " +
         roundedText(100 * fit->worst, 2) + " %");
  }
}

void putTexts(FileAccess& file, const SpectrumData& spectrum, const ImportContext& context, const Note& note) {
  std::string remarks;
  for (const std::string& remark : spectrum.remarks) remarks += (remarks.empty() ? "" : "\n") + remark;
  if (!isNumbered(spectrum.name)) putText(file, ORB_T_MEASID, spectrum.name, note);
  putText(file, ORB_T_CTITLE, spectrum.title, note);
  putText(file, ORB_T_DETNAME, spectrum.detector, note);
  putText(file, ORB_T_INSTRUMENT, spectrum.instrument, note);
  putText(file, ORB_T_REMARKS, remarks, note);
  putText(file, ORB_T_DETTYPE, context.detector_type, note);
  putText(file, ORB_T_SOURCEFILE, baseName(context.source_name), note);
  putText(file, ORB_T_SOURCEFORM, context.source_format, note);
  putValue(file, ORB_X_IMPORTTIME, Variant(now()));
}

/// Points become a polynomial, which is what a data file evaluates.
std::vector<double> fitPoints(const formats::EnergyCalibration& energy, const Note& note) {
  const std::vector<double> fitted = fitPolynomial(energy.points, kPointsDegree);
  double worst = 0;
  for (const auto& [x, y] : energy.points) worst = std::max(worst, std::fabs(formats::polynomial(fitted, x) - y));
  note("the energy calibration is given by " + std::to_string(energy.points.size()) +
       " points; a polynomial was fitted to them, within " + roundedText(worst, 2) + " keV");
  return fitted;
}

}  // namespace

std::vector<double> countsFromChannelZero(const SpectrumData& spectrum) {
  const std::size_t n_channels = spectrum.first_channel + spectrum.counts.size();
  if (spectrum.counts.empty() || n_channels > AIO_MAX_CHANNELS) {
    throw Failure("", "the spectrum has " + std::to_string(n_channels) + " channels",
                  convertReturnCode(AIO_BADCHANNELS));
  }
  std::vector<double> counts(spectrum.first_channel, 0.0);
  counts.insert(counts.end(), spectrum.counts.begin(), spectrum.counts.end());
  return counts;
}

std::vector<double> energyFromOne(const SpectrumData& spectrum, const Note& note) {
  const formats::EnergyCalibration& energy = spectrum.energy;
  if (energy.empty()) return {};
  if (energy.unit != "keV") {
    note("the energy calibration is in " + energy.unit + ", not in keV, and was left out");
    return {};
  }
  std::vector<double> from_zero = energy.coefficients.empty() ? fitPoints(energy, note) : energy.coefficients;
  while (!from_zero.empty() && from_zero.back() == 0) from_zero.pop_back();
  if (from_zero.size() < 2) return {};
  if (from_zero.size() > kEnergyCoefficients) {
    note("the energy equation has " + std::to_string(from_zero.size()) + " terms, more than a data file can hold");
    return {};
  }
  return formats::toChannelsFromOne(from_zero);
}

void fillFile(FileAccess& file, const SpectrumData& spectrum, const ImportContext& context, const Note& note) {
  if (spectrum.first_channel != 0) {
    note("the spectrum begins with channel " + std::to_string(spectrum.first_channel) +
         "; the channels before it are filled with zeros");
  }
  removeDefaultEnergy(file);
  putCounts(file, spectrum, note);
  putTimes(file, spectrum, note);
  putEnergy(file, spectrum, context, note);
  putWidth(file, spectrum, context, note);
  putTexts(file, spectrum, context, note);
}

}  // namespace com::norvale::measurement
