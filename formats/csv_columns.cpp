#include "csv_columns.h"

#include <algorithm>
#include <string>

#include "number_scan.h"
#include "text.h"

namespace orb::formats {
namespace {

constexpr std::size_t kMaxColumns = 16;

char separatorOf(std::string_view line) {
  for (const char c : {';', '\t', ','}) {
    if (line.find(c) != std::string_view::npos) return c;
  }
  return ' ';
}

/// Fields of a line. A separator at the very end opens no further field, and blanks in a row are one.
class Fields {
 public:
  Fields(std::string_view line, char separator) : rest_(line), separator_(separator) {}

  bool next(std::string_view& field) {
    rest_ = separator_ == '\t' ? trimmedBlanks(rest_) : trimmed(rest_);
    if (rest_.empty()) return false;
    const std::size_t length = std::min(rest_.find_first_of(separator_ == ' ' ? " \t" : separators()), rest_.size());
    field = trimmed(rest_.substr(0, length));
    rest_.remove_prefix(std::min(length + 1, rest_.size()));
    if (field.size() >= 2 && field.front() == '"' && field.back() == '"') {
      field = trimmed(field.substr(1, field.size() - 2));
    }
    return true;
  }

 private:
  std::string_view separators() const { return {&separator_, 1}; }
  /// Tabs stay: they separate.
  static std::string_view trimmedBlanks(std::string_view text) {
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    return text;
  }

  std::string_view rest_;
  char separator_;
};

/// With semicolons between the fields, a comma is the decimal sign.
bool readField(std::string_view field, char separator, double& value) {
  std::string point;
  if (separator == ';' && field.find(',') != std::string_view::npos) {
    point.assign(field);
    std::replace(point.begin(), point.end(), ',', '.');
    field = point;
  }
  const char* const end = field.data() + field.size();
  return !field.empty() && scanNumber(field.data(), end, value) == end;
}

Column columnOf(std::string_view name) {
  std::string key;
  for (const char c : name) {
    if (c >= 'A' && c <= 'Z') key += static_cast<char>(c - 'A' + 'a');
    if (c >= 'a' && c <= 'z') key += c;
  }
  const auto starts = [&](std::initializer_list<std::string_view> words) {
    return std::any_of(words.begin(), words.end(), [&](std::string_view word) { return key.starts_with(word); });
  };
  if (starts({"channel", "chan", "bin", "ch"}) || key == "index") return Column::kChannel;
  if (starts({"energy", "kev"}) || key == "e") return Column::kEnergy;
  if (starts({"count", "data", "cts", "gross"})) return Column::kCounts;
  return Column::kOther;
}

}  // namespace

std::vector<Column> columnsOf(std::string_view header_line) {
  std::vector<Column> columns;
  Fields fields(header_line, separatorOf(header_line));
  std::string_view field;
  while (columns.size() < kMaxColumns && fields.next(field)) columns.push_back(columnOf(field));
  const bool known = std::any_of(columns.begin(), columns.end(), [](Column c) { return c != Column::kOther; });
  return known ? columns : std::vector<Column>();
}

bool Table::isRow(std::string_view line) {
  const char separator = separatorOf(line);
  Fields fields(line, separator);
  std::string_view field;
  bool any = false;
  while (fields.next(field)) {
    double value = 0;
    if (!readField(field, separator, value)) return false;
    any = true;
  }
  return any;
}

void Table::add(std::string_view line, std::size_t number) {
  if (rows() == kMaxChannels) {
    source_.failLine(number, "more than " + std::to_string(kMaxChannels) + " channels");
  }
  if (separator_ == '\0') separator_ = separatorOf(line);
  Fields fields(line, separator_);
  std::string_view field;
  fields_.clear();
  field_digits_.clear();
  while (fields.next(field)) {
    double value = 0;
    if (!readField(field, separator_, value)) {
      source_.failLine(number, "'" + cleanText(field.substr(0, 24)) + "' is not a number");
    }
    fields_.push_back(value);
    field_digits_.push_back(printedDigits(field.data(), field.data() + field.size()));
  }
  if (columns_.empty()) {
    if (fields_.size() > kMaxColumns) source_.failLine(number, "more than " + std::to_string(kMaxColumns) + " columns");
    columns_.resize(fields_.size());
    digits_.resize(fields_.size());
  }
  if (fields_.size() != columns_.size()) {
    source_.failLine(number, std::to_string(fields_.size()) + " columns where the rows above have " +
                                 std::to_string(columns_.size()));
  }
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    columns_[i].push_back(fields_[i]);
    digits_[i] = std::max(digits_[i], field_digits_[i]);
  }
  lines_.push_back(static_cast<std::uint32_t>(number));
}

}  // namespace orb::formats
