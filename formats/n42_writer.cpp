#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "calibration_choice.h"
#include "channel_shift.h"
#include "number_scan.h"
#include "spectrum_data.h"
#include "text.h"

namespace orb::formats {
namespace {

constexpr std::string_view kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<RadInstrumentData xmlns=\"http://physics.nist.gov/N42/2011/N42\">\n"
    "  <RadInstrumentDataCreatorName>orb</RadInstrumentDataCreatorName>\n";

std::string escaped(const std::string& text) {
  std::string out;
  for (const char c : writtenText(text)) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

/// The kinds that the format has a word for.
std::string_view kindOf(const std::string& detector) {
  constexpr std::array<std::string_view, 8> kKinds{"HPGe", "NaI", "CsI", "LaBr3", "LaCl3", "CeBr3", "CZT", "BGO"};
  const auto found = std::find_if(kKinds.begin(), kKinds.end(),
                                  [&](std::string_view kind) { return detector.find(kind) != std::string::npos; });
  return found == kKinds.end() ? "Other" : *found;
}

/// Writes one file; elements of the n-th spectrum have ids that end in n.
class Writer {
 public:
  Written write(std::span<const SpectrumData> spectra) {
    out() += kHead;
    appendInstrument(spectra);
    for (std::size_t i = 0; i < spectra.size(); ++i) appendDetector(spectra[i], i + 1);
    for (std::size_t i = 0; i < spectra.size(); ++i) appendEnergy(spectra[i], i + 1);
    for (std::size_t i = 0; i < spectra.size(); ++i) appendFwhm(spectra[i], i + 1);
    for (std::size_t i = 0; i < spectra.size(); ++i) appendMeasurement(spectra[i], i + 1);
    out() += "</RadInstrumentData>\n";
    return std::move(written_);
  }

 private:
  std::string& out() { return written_.text; }

  void element(std::string_view indent, std::string_view name, const std::string& content) {
    out().append(indent).append("<").append(name).append(">").append(content);
    out().append("</").append(name).append(">\n");
  }

  void lose(const SpectrumData& spectrum, const std::string& what) {
    written_.not_carried.push_back(spectrum.name.empty() ? what : spectrum.name + ": " + what);
  }

  /// The format has one instrument for all spectra of a file.
  void appendInstrument(std::span<const SpectrumData> spectra) {
    const std::string instrument = spectra.empty() ? std::string() : spectra[0].instrument;
    for (const SpectrumData& spectrum : spectra) {
      if (spectrum.instrument != instrument) lose(spectrum, "instrument '" + spectrum.instrument + "'");
    }
    out() += "  <RadInstrumentInformation id=\"instrument\">\n";
    element("    ", "RadInstrumentManufacturerName", "unknown");
    element("    ", "RadInstrumentModelName", instrument.empty() ? "unknown" : escaped(instrument));
    element("    ", "RadInstrumentClassCode", "Other");
    out() +=
        "    <RadInstrumentVersion>\n"
        "      <RadInstrumentComponentName>Software</RadInstrumentComponentName>\n"
        "      <RadInstrumentComponentVersion>unknown</RadInstrumentComponentVersion>\n"
        "    </RadInstrumentVersion>\n"
        "  </RadInstrumentInformation>\n";
  }

  void open(const char* element_name, const char* id, std::size_t n) {
    out().append("  <").append(element_name).append(" id=\"").append(id).append(std::to_string(n)).append("\">\n");
  }

  void appendDetector(const SpectrumData& spectrum, std::size_t n) {
    open("RadDetectorInformation", "detector", n);
    element("    ", "RadDetectorCategoryCode", "Gamma");
    element("    ", "RadDetectorKindCode", std::string(kindOf(spectrum.detector)));
    if (!spectrum.detector.empty()) element("    ", "RadDetectorDescription", escaped(spectrum.detector));
    out() += "  </RadDetectorInformation>\n";
  }

  bool hasEnergy(const SpectrumData& spectrum) const {
    const EnergyCalibration& energy = spectrum.energy;
    return energy.unit == "keV" && (!energy.coefficients.empty() ||
                                    (spectrum.counts.size() > 1 && coversEveryChannel(energy.points, spectrum)));
  }

  void appendEnergy(const SpectrumData& spectrum, std::size_t n) {
    const EnergyCalibration& energy = spectrum.energy;
    if (!hasEnergy(spectrum)) {
      if (!energy.empty() && energy.unit != "keV") lose(spectrum, "energy calibration in '" + energy.unit + "'");
      if (!energy.points.empty() && energy.unit == "keV") lose(spectrum, "energy calibration by points");
      return;
    }
    open("EnergyCalibration", "energy", n);
    if (!energy.coefficients.empty()) {
      element("    ", "CoefficientValues", joined(energy.coefficients));
    } else {
      element("    ", "EnergyBoundaryValues", boundaries(energy.points));
    }
    out() += "  </EnergyCalibration>\n";
  }

  /// The upper edge of the last channel, which nobody knows, is put as far off as its lower edge is from the one
  /// before.
  static std::string boundaries(const std::vector<CalibrationPoint>& points) {
    std::vector<double> edges;
    for (const CalibrationPoint& point : points) edges.push_back(point.y);
    edges.push_back(2 * edges.back() - edges[edges.size() - 2]);
    return joined(edges);
  }

  static bool isInChannels(const FwhmCalibration& fwhm) {
    return !fwhm.coefficients.empty() && fwhm.position == Quantity::kChannel && fwhm.width == Quantity::kChannel;
  }

  /// The format knows widths at energies only. A polynomial in channels is given at some energies for other readers,
  /// and as it is in a remark.
  bool hasFwhm(const SpectrumData& spectrum) const {
    const FwhmCalibration& fwhm = spectrum.fwhm;
    if (isInChannels(fwhm)) return hasEnergy(spectrum) && !spectrum.energy.coefficients.empty();
    return !fwhm.points.empty() && fwhm.position == Quantity::kEnergy && fwhm.width == Quantity::kEnergy;
  }

  void appendFwhm(const SpectrumData& spectrum, std::size_t n) {
    const FwhmCalibration& fwhm = spectrum.fwhm;
    if (!hasFwhm(spectrum)) {
      if (!fwhm.empty()) lose(spectrum, "FWHM calibration that is not by energies");
      return;
    }
    open("FWHMCalibration", "fwhm", n);
    std::vector<CalibrationPoint> points = fwhm.points;
    if (isInChannels(fwhm)) {
      element("    ", "Remark", "FWHM in channels over the channel: " + joined(fwhm.coefficients));
      points = sampled(spectrum);
    }
    std::vector<double> energies;
    std::vector<double> widths;
    for (const CalibrationPoint& point : points) {
      energies.push_back(point.x);
      widths.push_back(point.y);
    }
    element("    ", "EnergyValues", joined(energies));
    element("    ", "FWHMValues", joined(widths));
    out() += "  </FWHMCalibration>\n";
  }

  /// Energy and width in keV at evenly spaced channels: the width in channels times the slope of the energy.
  static std::vector<CalibrationPoint> sampled(const SpectrumData& spectrum) {
    constexpr int kPoints = 8;
    std::vector<CalibrationPoint> points;
    const auto& energy = spectrum.energy.coefficients;
    for (int i = 1; i <= kPoints; ++i) {
      const double channel = static_cast<double>(spectrum.first_channel) +
                             std::floor(static_cast<double>(spectrum.counts.size()) * i / kPoints);
      const double slope = (polynomial(energy, channel + 1) - polynomial(energy, channel - 1)) / 2;
      points.push_back({polynomial(energy, channel), polynomial(spectrum.fwhm.coefficients, channel) * slope});
    }
    return points;
  }

  void appendMeasurement(const SpectrumData& spectrum, std::size_t n) {
    open("RadMeasurement", "measurement", n);
    if (!spectrum.title.empty()) element("    ", "Remark", "Title: " + escaped(spectrum.title));
    for (const std::string& remark : spectrum.remarks) element("    ", "Remark", escaped(remark));
    element("    ", "MeasurementClassCode", "NotSpecified");
    if (spectrum.start) element("    ", "StartDateTime", spectrum.start->toString());
    if (spectrum.real_s) element("    ", "RealTimeDuration", "PT" + plainNumberText(*spectrum.real_s) + "S");
    appendSpectrum(spectrum, n);
    out() += "  </RadMeasurement>\n";
  }

  void appendSpectrum(const SpectrumData& spectrum, std::size_t n) {
    const std::string number = std::to_string(n);
    out() += "    <Spectrum id=\"spectrum" + number + "\" radDetectorInformationReference=\"detector" + number + "\"";
    if (hasEnergy(spectrum)) out() += " energyCalibrationReference=\"energy" + number + "\"";
    if (hasFwhm(spectrum)) out() += " FWHMCalibrationReference=\"fwhm" + number + "\"";
    out() += ">\n";
    if (!spectrum.name.empty()) element("      ", "Remark", "Name: " + escaped(spectrum.name));
    if (spectrum.live_s) element("      ", "LiveTimeDuration", "PT" + plainNumberText(*spectrum.live_s) + "S");
    if (spectrum.first_channel != 0) {
      lose(spectrum, "first channel " + std::to_string(spectrum.first_channel) + ": the counts begin at channel 0");
    }
    appendChannelData(spectrum.counts);
    out() += "    </Spectrum>\n";
  }

  void appendChannelData(const std::vector<double>& counts) {
    out() += "      <ChannelData compressionCode=\"CountedZeroes\">";
    for (std::size_t i = 0; i < counts.size();) {
      if (i > 0) out() += ' ';
      if (counts[i] != 0) {
        appendCount(out(), counts[i++]);
        continue;
      }
      const std::size_t run = i;
      while (i < counts.size() && counts[i] == 0) ++i;
      out() += "0 " + std::to_string(i - run);
    }
    out() += "</ChannelData>\n";
  }

  Written written_;
};

}  // namespace

Written writeN42(std::span<const SpectrumData> spectra) {
  return Writer().write(spectra);
}

}  // namespace orb::formats
