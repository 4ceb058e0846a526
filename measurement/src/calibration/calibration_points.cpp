#include "calibration_points.h"

#include <charconv>
#include <cmath>
#include <optional>

#include "anautils.h"
#include "blocks.h"
#include "failure.h"
#include "orbparams.h"
#include "read_bytes.h"
#include "text_stream.h"
#include "words.h"

namespace com::norvale::measurement {

namespace {

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> words;
  TextStream in(text);
  for (std::string word; std::getline(in, word, separator);) words.push_back(word);
  return words;
}

std::optional<double> numberIn(const std::string& word) {
  double value = 0;
  const auto [rest, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc() || rest != word.data() + word.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

/// x, value and, where there is one, uncertainty from words; nothing when they are none.
std::optional<GivenPoint> pointOf(const std::vector<std::string>& words, std::size_t first) {
  if (words.size() < first + 2 || words.size() > first + 3) return std::nullopt;
  const auto x = numberIn(words[first]);
  const auto value = numberIn(words[first + 1]);
  const bool has_uncertainty = words.size() == first + 3 && !words[first + 2].empty();
  const auto uncertainty = has_uncertainty ? numberIn(words[first + 2]) : 0.0;
  if (!x || !value || !uncertainty || *uncertainty < 0) return std::nullopt;
  return GivenPoint{*x, *value, *uncertainty, ""};
}

/// What no point of its kind can be; nothing when all is well.
const char* objection(const GivenPoint& point, const std::string& kind) {
  if (kind == "energy")
    return point.x > 0 && point.value >= 0 ? nullptr : "channels count from 1, energies are not negative";
  if (!(point.x > 0)) return "an energy is above 0";
  if (kind == "efficiency" && !(point.value > 0 && point.value <= 1)) return "an efficiency is above 0 and at most 1";
  if (kind != "efficiency" && !(point.value > 0)) return "a width is above 0";
  return nullptr;
}

std::vector<GivenPoint>* listOf(CalibrationTable& table, const std::string& kind) {
  return kind == "energy"       ? &table.energy
         : kind == "fwhm"       ? &table.fwhm
         : kind == "tail"       ? &table.tail
         : kind == "efficiency" ? &table.efficiency
                                : nullptr;
}

}  // namespace

GivenPoint pointOf(const std::string& text, const std::string& kind) {
  const auto point = pointOf(split(text, ':'), 0);
  if (!point) throw std::invalid_argument("not X:VALUE or X:VALUE:UNCERTAINTY");
  if (const char* const why = objection(*point, kind)) throw std::invalid_argument(why);
  return *point;
}

CalibrationTable readCalibrationTable(const std::string& path) {
  CalibrationTable table;
  TextStream in(readBytes(path));
  std::size_t number = 0;
  for (std::string row; std::getline(in, row);) {
    ++number;
    if (!row.empty() && row.back() == '\r') row.pop_back();
    if (row.empty() || row[0] == '#' || row.rfind("kind,", 0) == 0) continue;
    const auto words = split(row, ',');
    std::vector<GivenPoint>* const list = listOf(table, words.empty() ? "" : words[0]);
    const auto point = pointOf(words, 1);
    if (list == nullptr || !point)
      throw Failure(path + ": line " + std::to_string(number), "not KIND,X,VALUE,UNCERTAINTY with a known kind");
    if (const char* const why = objection(*point, words[0]))
      throw Failure(path + ": line " + std::to_string(number), why);
    list->push_back(*point);
  }
  if (table.empty()) throw Failure(path, "no points");
  return table;
}

void fitEfficiency(FileAccess& file, const std::vector<GivenPoint>& points) {
  for (const AioBlockInfo_T& block : listBlocks(file)) {
    if (block.usClass != ORB_D_EFFPTENERGY >> 16) continue;
    for (std::uint32_t record = block.usRecords; record > 0; --record)
      require(file.deleteItem(ORB_D_EFFPTENERGY, static_cast<std::uint16_t>(record), 0), file.name(),
              "cannot remove an efficiency point");
  }
  std::uint16_t record = 0;
  for (const GivenPoint& point : points) {
    ++record;
    const auto put = [&](std::uint32_t offset, double value) {
      require(file.setParameter(ORB_D_EFFPTENERGY + offset, Variant(value), record, 0), file.name(),
              "cannot store an efficiency point");
    };
    put(0, point.x);
    put(1, point.value);
    put(2, point.uncertainty);
  }
  require(static_cast<std::uint32_t>(lEfcal(file.handle(), 1, nullptr, nullptr)), file.name(),
          "cannot fit the efficiency");
  file.setModified(true);
}

}  // namespace com::norvale::measurement
