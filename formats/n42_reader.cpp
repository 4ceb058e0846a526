#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "calibration_choice.h"
#include "dates.h"
#include "n42_document.h"
#include "n42_parts.h"
#include "text.h"

namespace orb::formats {
namespace {

constexpr std::size_t kMaxSpectra = 16384;
constexpr std::size_t kMaxRemarks = 16;

/// What an element says about all spectra inside it. Levels are chained outwards.
struct Level {
  const Level* outer = nullptr;
  pugi::xml_node start;
  pugi::xml_node real;
  pugi::xml_node live;
  pugi::xml_node instrument;
  std::string detector;
  std::vector<std::string> remarks;

  /// The innermost of the nodes that `member` names.
  pugi::xml_node find(pugi::xml_node Level::*member) const {
    const Level* level = this;
    while (level->outer != nullptr && !(level->*member)) level = level->outer;
    return level->*member;
  }
};

Level readLevel(const pugi::xml_node& element, const Level* outer) {
  Level level;
  level.outer = outer;
  const std::string_view type = attributeOf(element, "DetectorType");
  if (!type.empty() && !equalsIgnoringCase(type, "Other")) level.detector = cleanText(type);
  for (const pugi::xml_node& child : element.children()) {
    const std::string_view name = localName(child);
    if (name == "StartTime" || name == "StartDateTime") level.start = child;
    if (name == "RealTime" || name == "RealTimeDuration" || name == "SampleRealTime") level.real = child;
    if (name == "LiveTime" || name == "LiveTimeDuration") level.live = child;
    if (name == "InstrumentInformation" || name == "RadInstrumentInformation") level.instrument = child;
    if (name == "DetectorType") level.detector = textOf(child);
    if (name == "Remark" && level.remarks.size() < kMaxRemarks) level.remarks.push_back(textOf(child));
  }
  return level;
}

/// Texts of the children with these names, without those that say nothing.
std::string description(const pugi::xml_node& node, std::initializer_list<std::string_view> names,
                        std::string_view separator) {
  std::vector<std::string> texts;
  for (const std::string_view name : names) {
    std::string text = textOf(childNamed(node, name));
    const bool empty_word = text.empty() || equalsIgnoringCase(text, "unknown") || equalsIgnoringCase(text, "Other");
    // A description that begins with the kind needs no kind in front.
    if (!texts.empty() && text.starts_with(texts.back())) texts.pop_back();
    if (!empty_word) texts.push_back(std::move(text));
  }
  return joined(texts, separator);
}

class Reader {
 public:
  Reader(std::string_view bytes, std::string_view name) : document_(bytes, name) {}

  std::vector<SpectrumData> read() {
    walk(document_.root(), nullptr);
    if (spectra_.empty()) document_.fail(document_.root(), "there is no <Spectrum> with <ChannelData>");
    if (!left_.empty()) {
      spectra_.front().warnings.push_back("elements not carried: " + joined({left_.begin(), left_.end()}, ", "));
    }
    return std::move(spectra_);
  }

 private:
  /// The depth is limited: the document has been checked.
  void walk(const pugi::xml_node& element, const Level* outer) {
    const Level level = readLevel(element, outer);
    if (localName(element) == "Spectrum") {
      readSpectrum(element, level);
      return;
    }
    for (const pugi::xml_node& child : element.children()) {
      if (child.type() != pugi::node_element) continue;
      noteIfLeft(localName(child));
      if (child.first_child()) walk(child, &level);
    }
  }

  void noteIfLeft(std::string_view name) {
    constexpr std::array<std::string_view, 8> kLeft{"AnalysisResults", "RadDetectorState", "RadInstrumentState",
                                                    "GrossCounts",     "DoseRate",         "ExposureRate",
                                                    "CountDoseData",   "RadItemState"};
    if (std::find(kLeft.begin(), kLeft.end(), name) != kLeft.end()) left_.emplace(name);
  }

  void readSpectrum(const pugi::xml_node& element, const Level& level) {
    const pugi::xml_node counts = childNamed(element, "ChannelData");
    if (!counts) return;
    if (spectra_.size() == kMaxSpectra) {
      document_.fail(element, "more than " + std::to_string(kMaxSpectra) + " spectra in one file");
    }
    SpectrumData spectrum;
    readChannelData(document_, counts, budget_, scratch_, spectrum);
    readName(element, spectrum);
    readTexts(element, level, spectrum);
    readTimes(level, spectrum);
    readN42Calibrations(document_, element, spectrum);
    spectra_.push_back(std::move(spectrum));
  }

  /// The id of 2012, or detector and sample of 2006.
  static void readName(const pugi::xml_node& element, SpectrumData& spectrum) {
    const std::string_view id = attributeOf(element, "id");
    const std::string_view sample = attributeOf(element, "SampleNumber");
    spectrum.name = cleanText(id.empty() ? attributeOf(element, "Detector") : id);
    if (!id.empty() || sample.empty()) return;
    spectrum.name += (spectrum.name.empty() ? "sample " : ", sample ") + cleanText(sample);
  }

  void readTexts(const pugi::xml_node& element, const Level& level, SpectrumData& spectrum) {
    constexpr std::string_view kTitle = "Title:";
    constexpr std::string_view kName = "Name:";
    for (const Level* from = &level; from != nullptr; from = from->outer) {
      if (spectrum.detector.empty()) spectrum.detector = from->detector;
      for (const std::string& remark : from->remarks) {
        if (remark.starts_with(kTitle) && spectrum.title.empty()) {
          spectrum.title = trimmed(std::string_view(remark).substr(kTitle.size()));
        } else if (remark.starts_with(kName) && from == &level) {
          spectrum.name = trimmed(std::string_view(remark).substr(kName.size()));
        } else if (!remark.empty() && spectrum.remarks.size() < kMaxRemarks) {
          spectrum.remarks.push_back(remark);
        }
      }
    }
    spectrum.instrument = description(
        level.find(&Level::instrument),
        {"RadInstrumentManufacturerName", "RadInstrumentModelName", "Manufacturer", "InstrumentModel"}, " ");
    const pugi::xml_node detector =
        document_.byId("RadDetectorInformation", attributeOf(element, "radDetectorInformationReference"));
    if (!detector) return;
    spectrum.detector =
        description(detector, {"RadDetectorName", "RadDetectorKindCode", "RadDetectorDescription"}, ", ");
  }

  std::optional<double> duration(const pugi::xml_node& node) const {
    if (!node || trimmed(rawText(node)).empty()) return std::nullopt;
    const auto seconds = parseDuration(rawText(node));
    if (!seconds) document_.fail(node, "'" + textOf(node) + "' is no duration");
    return seconds;
  }

  void readTimes(const Level& level, SpectrumData& spectrum) const {
    const std::string start = textOf(level.find(&Level::start));
    spectrum.start = parseDate(start);
    if (!start.empty() && !spectrum.start) spectrum.warnings.push_back("date '" + start + "' is not understood");
    spectrum.live_s = duration(level.live);
    spectrum.real_s = duration(level.find(&Level::real));
    warnOfTimes(spectrum);
  }

  N42Document document_;
  std::vector<SpectrumData> spectra_;
  std::size_t budget_ = kMaxChannelsOfFile;
  std::vector<double> scratch_;
  std::set<std::string> left_;
};

}  // namespace

std::vector<SpectrumData> readN42(std::string_view bytes, std::string_view name) {
  return Reader(bytes, name).read();
}

}  // namespace orb::formats
