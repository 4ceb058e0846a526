#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "source.h"

namespace orb::formats {

enum class Column { kChannel, kEnergy, kCounts, kOther };

/// What the names of a header line say; empty when no name is known.
std::vector<Column> columnsOf(std::string_view header_line);

/// The numbers of a table, column by column. Rows are given one after the other; the first decides on the separator
/// and on the number of columns.
class Table {
 public:
  explicit Table(const Source& source) : source_(source) {}

  /// True when every field of the line is a number (or NaN): such a line begins the table.
  static bool isRow(std::string_view line);

  /// @throws FormatError  when the line is no row like the others.
  void add(std::string_view line, std::size_t number);

  std::size_t columns() const { return columns_.size(); }
  std::size_t rows() const { return lines_.size(); }
  const std::vector<double>& column(std::size_t index) const { return columns_[index]; }
  /// The most significant digits that a number of the column is printed with.
  int digits(std::size_t index) const { return digits_[index]; }
  /// The line on which a row stands.
  std::size_t line(std::size_t row) const { return lines_[row]; }

 private:
  const Source& source_;
  char separator_ = '\0';
  std::vector<double> fields_;  ///< of the row at hand
  std::vector<int> field_digits_;
  std::vector<std::vector<double>> columns_;
  std::vector<int> digits_;
  std::vector<std::uint32_t> lines_;
};

}  // namespace orb::formats
