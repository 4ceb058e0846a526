#include "nuclide_csv.h"

#include <charconv>
#include <cmath>
#include <map>

#include "failure.h"
#include "terminal_text.h"

namespace orb::tool {

namespace {

constexpr const char* kColumns =
    "nuclide,half_life,parent,energy_keV,energy_unc_keV,probability_percent,probability_unc,type,key,reference";

constexpr std::size_t kLongestName = 16;

/// One row taken apart, with what is needed to complain about it.
class Row {
 public:
  Row(std::string_view text, std::string place) : place_(std::move(place)) {
    std::string field;
    bool is_quoted = false;
    for (const char c : text) {
      if (c == '"') {
        is_quoted = !is_quoted;
      } else if (c == ',' && !is_quoted) {
        fields_.push_back(std::move(field));
        field.clear();
      } else {
        field += c;
      }
    }
    if (is_quoted) refuse("a quote is not closed");
    fields_.push_back(std::move(field));
    if (fields_.size() != 10) refuse(std::to_string(fields_.size()) + " fields instead of 10");
  }

  [[noreturn]] void refuse(const std::string& why) const { throw Failure(place_, why); }

  const std::string& text(std::size_t column, std::size_t longest) const {
    if (fields_[column].size() > longest)
      refuse("'" + escapeLine(fields_[column]) + "' is longer than " + std::to_string(longest) + " bytes");
    return fields_[column];
  }

  double number(std::size_t column, double least) const { return numberIn(fields_[column], least); }

  /// An empty field is 0.
  double uncertainty(std::size_t column) const { return fields_[column].empty() ? 0 : number(column, 0); }

  double seconds(std::size_t column) const {
    const std::string& field = fields_[column];
    const std::size_t blank = field.find(' ');
    const std::string unit = blank == std::string::npos ? "" : field.substr(blank + 1);
    static const std::map<std::string, double> kUnits = {
        {"s", 1.0}, {"m", 60.0}, {"h", 3600.0}, {"d", 86400.0}, {"y", 365.2422 * 86400.0}};
    const auto found = kUnits.find(unit);
    if (found == kUnits.end()) refuse("the half-life '" + escapeLine(field) + "' is no number with s, m, h, d or y");
    return numberIn(field.substr(0, blank), kPositive) * found->second;
  }

  bool yes(std::size_t column) const {
    if (fields_[column] != "yes" && fields_[column] != "no")
      refuse("'" + escapeLine(fields_[column]) + "' is neither yes nor no");
    return fields_[column] == "yes";
  }

  static constexpr double kPositive = 1e-300;

 private:
  double numberIn(const std::string& field, double least) const {
    double value = 0;
    const char* const end = field.data() + field.size();
    const auto [rest, error] = std::from_chars(field.data(), end, value);
    if (error != std::errc() || rest != end || !std::isfinite(value) || value < least)
      refuse("'" + escapeLine(field) + "' is not a number" + (least > 0 ? " above 0" : " of 0 or more"));
    return value;
  }

  std::string place_;
  std::vector<std::string> fields_;
};

NuclideLine lineOf(const Row& row) {
  NuclideLine line;
  line.nuclide = row.text(0, kLongestName);
  if (line.nuclide.empty()) row.refuse("the nuclide has no name");
  line.half_life_s = row.seconds(1);
  line.parent = row.text(2, kLongestName);
  line.energy_keV = row.number(3, Row::kPositive);
  line.energy_unc_keV = row.uncertainty(4);
  line.probability = row.number(5, Row::kPositive);
  line.probability_unc = row.uncertainty(6);
  line.type = row.text(7, kLongestName);
  if (line.type != "gamma" && line.type != "xray" && line.type != "annihilation")
    row.refuse("'" + escapeLine(line.type) + "' is none of gamma, xray, annihilation");
  line.is_key = row.yes(8);
  line.reference = row.text(9, 128);
  return line;
}

}  // namespace

std::vector<NuclideLine> readNuclideCsv(std::string_view text, const std::string& name) {
  std::vector<NuclideLine> lines;
  bool has_head = false;
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t end = text.find('\n');
    std::string_view row = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (!row.empty() && row.back() == '\r') row.remove_suffix(1);
    if (row.empty() || row.front() == '#') continue;
    const std::string place = name + ": line " + std::to_string(number);
    if (!has_head) {
      if (row != kColumns) throw Failure(place, std::string("the columns are not ") + kColumns);
      has_head = true;
      continue;
    }
    lines.push_back(lineOf(Row(row, place)));
  }
  if (lines.empty()) throw Failure(name, "no lines of nuclides");
  return lines;
}

}  // namespace orb::tool
