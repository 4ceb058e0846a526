#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include "axis_fit.h"
#include "calibration_choice.h"
#include "csv_columns.h"
#include "header_keys.h"
#include "number_scan.h"
#include "report_reader.h"
#include "source.h"
#include "text.h"

namespace orb::formats {
namespace {

constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

bool isComment(std::string_view line) {
  return line.starts_with('#') || line.starts_with('%') || line.starts_with("//");
}

class Reader {
 public:
  explicit Reader(const Source& source) : source_(source), table_(source) {}

  SpectrumData read() {
    Lines lines(source_.text());
    std::string_view line;
    while (lines.next(line)) {
      if (line.starts_with("\"#")) {
        take(unquotedField(line), lines.number());
      } else if (!line.empty()) {
        take(line, lines.number());
      }
    }
    if (table_.rows() == 0) source_.failFile("there are no counts: no line consists of numbers");
    assignColumns();
    readChannels();
    readCounts();
    keys_.apply(spectrum_);
    readEnergies();
    return std::move(spectrum_);
  }

 private:
  void take(std::string_view line, std::size_t number) {
    if (isComment(line)) {
      if (!keys_.take(line, number)) keys_.addRemark(line);
    } else if (table_.rows() > 0 || Table::isRow(line)) {
      table_.add(line, number);
    } else if (!keys_.take(line, number)) {
      const auto columns = columnsOf(line);
      if (!columns.empty()) header_ = columns;
    }
  }

  std::size_t named(Column kind) const {
    const auto found = std::find(header_.begin(), header_.end(), kind);
    return found == header_.end() ? kNone : static_cast<std::size_t>(found - header_.begin());
  }

  /// By the names, where there are as many as columns and one of them means counts; by the numbers otherwise.
  void assignColumns() {
    if (header_.size() == table_.columns() && named(Column::kCounts) != kNone) {
      channel_ = named(Column::kChannel);
      energy_ = named(Column::kEnergy);
      counts_ = named(Column::kCounts);
      return;
    }
    if (table_.columns() > 3) {
      source_.failLine(table_.line(0), std::to_string(table_.columns()) + " columns, and no header tells the counts");
    }
    counts_ = table_.columns() - 1;
    if (table_.columns() == 3) channel_ = 0;
    if (table_.columns() == 3) energy_ = 1;
    if (table_.columns() == 2) (named(Column::kEnergy) != 0 && risesByOne(0) ? channel_ : energy_) = 0;
  }

  bool risesByOne(std::size_t column) const {
    const auto& numbers = table_.column(column);
    if (!(numbers[0] >= 0 && numbers[0] < 1e9) || numbers[0] != std::floor(numbers[0])) return false;
    return std::adjacent_find(numbers.begin(), numbers.end(), [](double a, double b) { return b != a + 1; }) ==
           numbers.end();
  }

  void readChannels() {
    if (channel_ == kNone) return;
    const auto& channels = table_.column(channel_);
    if (!(channels[0] >= 0 && channels[0] < 1e9) || channels[0] != std::floor(channels[0])) {
      source_.failLine(table_.line(0), numberText(channels[0]) + " is no channel number");
    }
    for (std::size_t i = 1; i < channels.size(); ++i) {
      if (channels[i] == channels[i - 1] + 1) continue;
      source_.failLine(table_.line(i),
                       "channel " + numberText(channels[i]) + " follows channel " + numberText(channels[i - 1]));
    }
    spectrum_.first_channel = static_cast<std::size_t>(channels[0]);
  }

  void readCounts() {
    spectrum_.counts = table_.column(counts_);
    for (std::size_t i = 0; i < spectrum_.counts.size(); ++i) {
      const double count = spectrum_.counts[i];
      if (!(count >= 0 && count < HUGE_VAL)) failCount(table_.line(i), count);
      spectrum_.whole_counts = spectrum_.whole_counts && isWhole(count);
    }
  }

  [[noreturn]] void failCount(std::size_t line, double count) const {
    if (std::isnan(count)) source_.failLine(line, "a count is not a number (NaN)");
    if (std::isinf(count)) source_.failLine(line, "a count is infinite or too large");
    source_.failLine(line, "the count " + numberText(count) + " is negative");
  }

  /// Coefficients or points of the header come before the column: they have all their digits.
  void readEnergies() {
    EnergyCandidate header = keys_.energy();
    if (!header.calibration.coefficients.empty()) header.calibration.points.clear();
    toKeV(header.calibration, spectrum_.warnings);
    std::vector<EnergyCandidate> candidates;
    if (!header.calibration.empty()) candidates.push_back(header);
    if (energy_ != kNone) candidates.push_back({"energy column", energyColumn(header.calibration)});
    chooseEnergyCalibration(candidates, spectrum_);
  }

  void requireFinite(const std::vector<double>& axis) const {
    for (std::size_t i = 0; i < axis.size(); ++i) {
      if (!std::isfinite(axis[i])) source_.failLine(table_.line(i), "an energy is not a number or not finite");
    }
  }

  void requireRising(const std::vector<double>& axis) const {
    for (std::size_t i = 1; i < axis.size(); ++i) {
      if (axis[i] < axis[i - 1]) {
        source_.failLine(table_.line(i), "the energy " + numberText(axis[i]) + " follows " + numberText(axis[i - 1]));
      }
    }
  }

  EnergyCalibration energyColumn(const EnergyCalibration& header) const {
    const auto& axis = table_.column(energy_);
    EnergyCalibration calibration;
    calibration.unit = header.unit;
    // Beside a calibration of the header, the column only serves to compare.
    requireFinite(axis);
    const bool alone = !isMeaningful(header);
    if (alone) requireRising(axis);
    if (alone && axis.front() != axis.back()) {
      calibration.coefficients = fitAxis(axis, spectrum_.first_channel, table_.digits(energy_));
    }
    if (!calibration.coefficients.empty()) return calibration;
    for (std::size_t i = 0; i < axis.size(); ++i) {
      calibration.points.push_back({static_cast<double>(spectrum_.first_channel + i), axis[i]});
    }
    return calibration;
  }

  const Source& source_;
  Table table_;
  HeaderKeys keys_;
  std::vector<Column> header_;
  std::size_t channel_ = kNone;
  std::size_t energy_ = kNone;
  std::size_t counts_ = kNone;
  SpectrumData spectrum_;
};

}  // namespace

std::vector<SpectrumData> readCsv(std::string_view bytes, std::string_view name) {
  const Source source(bytes, name);
  if (source.text().find('\0') != std::string_view::npos) source.failFile("this is no text: it holds zero bytes");
  if (auto report = readReport(source)) return std::move(*report);
  std::vector<SpectrumData> spectra;
  spectra.push_back(Reader(source).read());
  return spectra;
}

}  // namespace orb::formats
