#include "header_keys.h"

#include <algorithm>
#include <utility>

#include "dates.h"
#include "number_scan.h"
#include "text.h"

namespace orb::formats {
namespace {

constexpr std::size_t kLongestKey = 40;

std::string_view withoutMark(std::string_view line) {
  while (!line.empty() && (line.front() == '#' || line.front() == '%' || line.front() == '/')) line.remove_prefix(1);
  return trimmed(line);
}

/// "Live time (s)" and "live_time_s" are the same key.
std::string normalised(std::string_view key) {
  std::string out;
  for (const char c : key) {
    if (c >= 'A' && c <= 'Z') out += static_cast<char>(c - 'A' + 'a');
    if ((c >= 'a' && c <= 'z') || isDigit(c)) out += c;
  }
  return out;
}

bool isOneOf(std::string_view key, std::initializer_list<std::string_view> keys) {
  return std::find(keys.begin(), keys.end(), key) != keys.end();
}

std::optional<std::size_t> wholeNumber(std::string_view value) {
  const NumberList list = numbersOf(value, 1);
  if (list.values.empty() || list.values[0] < 0 || list.values[0] > 1e9) return std::nullopt;
  return static_cast<std::size_t>(list.values[0]);
}

void setIfEmpty(std::string& text, std::string_view value) {
  if (text.empty()) text = cleanText(value);
}

void addPoint(std::string_view value, std::vector<CalibrationPoint>& points) {
  const NumberList list = numbersOf(value, 2);
  const bool rises = list.values.size() == 2 && (points.empty() || points.back().x < list.values[0]);
  if (rises) points.push_back({list.values[0], list.values[1]});
}

}  // namespace

bool HeaderKeys::take(std::string_view line, std::size_t number) {
  line = withoutMark(line);
  const std::size_t end = line.find_first_of(":=,;\t");
  if (end == std::string_view::npos || end > kLongestKey) return false;
  const std::string key = normalised(line.substr(0, end));
  const std::string_view value = trimmed(line.substr(end + 1));
  return takeText(key, value) || takeNumbers(key, value, number);
}

bool HeaderKeys::takeText(std::string_view key, std::string_view value) {
  if (isOneOf(key, {"title", "sampledescription"})) {
    setIfEmpty(texts_.title, value);
  } else if (key == "spectrumname") {
    setIfEmpty(spectrum_name_, value);
  } else if (key == "name") {
    setIfEmpty(texts_.name, value);
  } else if (isOneOf(key, {"detector", "detectordescription"})) {
    setIfEmpty(texts_.detector, value);
  } else if (key == "instrument") {
    setIfEmpty(texts_.instrument, value);
  } else if (isOneOf(key, {"remark", "comment"})) {
    addRemark(value);
  } else if (isOneOf(key, {"starttime", "startdate", "acquisitionstartdate", "date", "measurementdate"})) {
    setIfEmpty(date_, value);
  } else if (isOneOf(key, {"acquisitionstarttime", "time"})) {
    setIfEmpty(clock_, value);
  } else if (key == "energyunit") {
    energy_.unit = cleanText(value);
  } else if (key == "fwhmform") {
    fwhm_.width = value.starts_with("keV") ? Quantity::kEnergy : Quantity::kChannel;
    fwhm_.position = value.ends_with("energy") ? Quantity::kEnergy : Quantity::kChannel;
  } else {
    return false;
  }
  return true;
}

bool HeaderKeys::takeNumbers(std::string_view key, std::string_view value, std::size_t number) {
  if (key.starts_with("livetime")) {
    takeTime(value, number, texts_.live_s);
  } else if (key.starts_with("realtime")) {
    takeTime(value, number, texts_.real_s);
  } else if (isOneOf(key, {"energyfit", "energycoefficients"})) {
    energy_.coefficients = numbersOf(value, kMaxCoefficients).values;
  } else if (isOneOf(key, {"fwhmfit", "fwhmcoefficients"})) {
    fwhm_.coefficients = numbersOf(value, kMaxCoefficients).values;
  } else if (key == "energypoint") {
    addPoint(value, energy_.points);
  } else if (key == "fwhmpoint") {
    addPoint(value, fwhm_.points);
  } else if (key == "numberofchannels") {
    n_channels = wholeNumber(value);
  } else if (key == "startingchannelnumber") {
    first_channel = wholeNumber(value);
  } else {
    return false;
  }
  return true;
}

void HeaderKeys::takeTime(std::string_view value, std::size_t number, std::optional<double>& seconds) {
  const NumberList list = numbersOf(value, 1);
  if (!list.values.empty() && list.values[0] >= 0) {
    seconds = list.values[0];
  } else if (!value.empty()) {
    texts_.warnings.push_back("line " + std::to_string(number) + ": time '" + cleanText(value) + "' is not understood");
  }
}

void HeaderKeys::addRemark(std::string_view line) {
  std::string text = cleanText(withoutMark(line));
  if (!text.empty()) texts_.remarks.push_back(std::move(text));
}

void HeaderKeys::applyStart(SpectrumData& spectrum) const {
  if (date_.empty()) return;
  const bool separate = !clock_.empty() && date_.find(':') == std::string::npos;
  const std::string text = separate ? date_ + " " + clock_ : date_;
  spectrum.start = parseDate(text);
  if (!spectrum.start) spectrum.warnings.push_back("date '" + text + "' is not understood");
}

void HeaderKeys::apply(SpectrumData& spectrum) const {
  spectrum.name = texts_.name;
  spectrum.title = texts_.title.empty() ? spectrum_name_ : texts_.title;
  spectrum.detector = texts_.detector;
  spectrum.instrument = texts_.instrument;
  spectrum.remarks = texts_.remarks;
  spectrum.live_s = texts_.live_s;
  spectrum.real_s = texts_.real_s;
  spectrum.warnings.insert(spectrum.warnings.end(), texts_.warnings.begin(), texts_.warnings.end());
  applyStart(spectrum);
  warnOfTimes(spectrum);
  FwhmCalibration fwhm = fwhm_;
  if (!fwhm.coefficients.empty()) fwhm.points.clear();
  setFwhmCalibration("header", std::move(fwhm), spectrum);
}

std::string fwhmForm(const FwhmCalibration& fwhm) {
  return std::string(fwhm.width == Quantity::kEnergy ? "keV" : "channels") + " over " +
         (fwhm.position == Quantity::kEnergy ? "energy" : "channel");
}

}  // namespace orb::formats
