#include "report_reader.h"

#include <string>
#include <utility>

#include "header_keys.h"
#include "number_scan.h"
#include "text.h"

namespace orb::formats {
namespace {

/// The channel of a line "channel: count"; null, or the place behind the colon.
const char* scanChannel(std::string_view line, double& channel) {
  const char* p = line.data();
  const char* const end = p + line.size();
  while (p != end && isDigit(*p)) ++p;
  if (p == line.data() || p - line.data() > 9 || p == end || *p != ':') return nullptr;
  scanNumber(line.data(), p, channel);
  return p + 1;
}

/// A clock like "11:43:41" has a colon too, and so has a date: only numbers may follow.
bool isCountLine(std::string_view line) {
  double channel = 0;
  const char* const counts = scanChannel(line, channel);
  if (counts == nullptr) return false;
  const NumberList list = numbersOf(line.substr(static_cast<std::size_t>(counts - line.data())));
  return !list.values.empty() && list.rest.empty();
}

bool hasCountLine(std::string_view text) {
  // Plain columns have no colon at all: one search settles it.
  if (text.find(':') == std::string_view::npos) return false;
  Lines lines(text);
  std::string_view line;
  while (lines.next(line)) {
    if (isCountLine(line)) return true;
  }
  return false;
}

class Reader {
 public:
  explicit Reader(const Source& source) : source_(source) {}

  SpectrumData read() {
    Lines lines(source_.text());
    std::string_view line;
    while (lines.next(line)) {
      if (!line.empty()) take(line, lines.number());
    }
    finish();
    return std::move(spectrum_);
  }

 private:
  enum class Place { kAbove, kTable, kBelow };

  void take(std::string_view line, std::size_t number) {
    double channel = 0;
    const char* const counts = scanChannel(line, channel);
    if (place_ == Place::kAbove && isCountLine(line)) {
      place_ = Place::kTable;
      spectrum_.first_channel = static_cast<std::size_t>(channel);
    }
    if (place_ == Place::kAbove) {
      keys_.take(line, number);
    } else if (counts != nullptr && place_ == Place::kTable) {
      takeCounts(line, counts, channel, number);
    } else if (counts != nullptr || (place_ == Place::kTable && isDigit(line.front()))) {
      source_.failLine(number, "'" + cleanText(line.substr(0, 24)) + "' is no line 'channel: count'");
    } else {
      place_ = Place::kBelow;
    }
  }

  void takeCounts(std::string_view line, const char* p, double channel, std::size_t number) {
    auto& counts = spectrum_.counts;
    const std::size_t expected = spectrum_.first_channel + counts.size();
    if (channel != static_cast<double>(expected)) {
      source_.failLine(
          number, "channel " + numberText(channel) + " where channel " + std::to_string(expected) + " is expected");
    }
    const char* const end = line.data() + line.size();
    p = skipBlanks(p, end);
    if (p == end) source_.failLine(number, "channel " + numberText(channel) + " has no count");
    while (p != end) {
      double count = 0;
      p = skipBlanks(scanCount(source_, p, end, count), end);
      if (counts.size() == kMaxChannels)
        source_.failLine(number, "more than " + std::to_string(kMaxChannels) + " channels");
      counts.push_back(count);
      spectrum_.whole_counts = spectrum_.whole_counts && isWhole(count);
    }
  }

  void finish() {
    const std::size_t n = spectrum_.counts.size();
    if (keys_.n_channels && *keys_.n_channels != n) {
      source_.failFile("the header announces " + std::to_string(*keys_.n_channels) + " channels, " + std::to_string(n) +
                       " follow");
    }
    keys_.apply(spectrum_);
    EnergyCandidate energy = keys_.energy();
    if (!energy.calibration.coefficients.empty()) energy.calibration.points.clear();
    toKeV(energy.calibration, spectrum_.warnings);
    chooseEnergyCalibration({energy}, spectrum_);
  }

  const Source& source_;
  Place place_ = Place::kAbove;
  HeaderKeys keys_;
  SpectrumData spectrum_;
};

}  // namespace

std::optional<std::vector<SpectrumData>> readReport(const Source& source) {
  if (!hasCountLine(source.text())) return std::nullopt;
  std::vector<SpectrumData> spectra;
  spectra.push_back(Reader(source).read());
  return spectra;
}

}  // namespace orb::formats
