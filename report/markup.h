/// Pieces of an HTML page. A text from outside gets in through text() alone, which makes it harmless.
#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "report.h"

namespace orb::report {

/// A piece that may stand in an element as it is.
class Markup {
 public:
  Markup() = default;
  /// What this program wrote itself.
  static Markup trusted(std::string html) { return Markup(std::move(html)); }
  const std::string& html() const { return html_; }

 private:
  explicit Markup(std::string html) : html_(std::move(html)) {}
  std::string html_;
};

/// Any text, cleaned and escaped.
Markup text(std::string_view any);
/// A number as rounded() prints it; empty without one.
Markup number(const std::optional<double>& value, int digits);
/// As withUncertainty() prints it; empty without one.
Markup quantity(const std::optional<Quantity>& value);

enum class Column { kText, kNumber };

/// A table with a heading for each column; the first cell of a row is the row's heading. Columns without any value are
/// left out.
class Table {
 public:
  Table(std::string id, std::string_view caption, std::vector<std::pair<std::string, Column>> columns);
  /// @param row_id  empty: none
  void row(std::vector<Markup> cells, const std::string& row_id = {});
  /// Empty without rows.
  std::string html() const;

 private:
  std::string cell(const char* name, const char* scope, std::size_t column, const std::string& content) const;

  struct Row {
    std::string id;
    std::vector<Markup> cells;
  };
  std::string id_;
  std::string caption_;
  std::vector<std::pair<std::string, Column>> columns_;
  std::vector<Row> rows_;
  std::vector<bool> is_shown_;  // of each column: one without content in any row is left out
};

/// A list of labels and texts; empty for none.
std::string factList(const std::vector<Fact>& facts);

}  // namespace orb::report
