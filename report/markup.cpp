#include "markup.h"

#include <algorithm>

#include "numbers.h"
#include "text.h"

namespace orb::report {

Markup text(std::string_view any) {
  return Markup::trusted(plot::escapeMarkup(plot::cleanText(any)));
}

Markup number(const std::optional<double>& value, int digits) {
  return value ? Markup::trusted(rounded(*value, digits)) : Markup();
}

Markup quantity(const std::optional<Quantity>& value) {
  return value ? Markup::trusted(withUncertainty(*value)) : Markup();
}

Table::Table(std::string id, std::string_view caption, std::vector<std::pair<std::string, Column>> columns)
    : id_(std::move(id)), caption_(text(caption).html()), columns_(std::move(columns)), is_shown_(columns_.size()) {
  if (!columns_.empty()) is_shown_[0] = true;
}

void Table::row(std::vector<Markup> cells, const std::string& row_id) {
  for (std::size_t i = 0; i < is_shown_.size(); ++i)
    if (!cells[i].html().empty()) is_shown_[i] = true;
  rows_.push_back({row_id, std::move(cells)});
}

std::string Table::cell(const char* name, const char* scope, std::size_t column, const std::string& content) const {
  if (!is_shown_[column]) return {};
  const char* const alignment = columns_[column].second == Column::kNumber ? " class=\"n\"" : "";
  return std::string("<") + name + scope + alignment + ">" + content + "</" + name + ">";
}

std::string Table::html() const {
  if (rows_.empty()) return {};
  std::string out = "<div class=\"wide\"><table id=\"" + id_ + "\">\n<caption>" + caption_ + "</caption>\n<thead><tr>";
  for (std::size_t i = 0; i < columns_.size(); ++i)
    out += cell("th", " scope=\"col\"", i, text(columns_[i].first).html());
  out += "</tr></thead>\n<tbody>\n";
  for (const Row& row : rows_) {
    out += row.id.empty() ? "<tr>" : "<tr id=\"" + row.id + "\">";
    for (std::size_t i = 0; i < columns_.size(); ++i)
      out += cell(i == 0 ? "th" : "td", i == 0 ? " scope=\"row\"" : "", i, row.cells[i].html());
    out += "</tr>\n";
  }
  return out + "</tbody>\n</table></div>\n";
}

std::string factList(const std::vector<Fact>& facts) {
  if (facts.empty()) return {};
  std::string out = "<dl>\n";
  for (const Fact& fact : facts)
    out += "<div><dt>" + text(fact.label).html() + "</dt><dd>" + text(fact.text).html() + "</dd></div>\n";
  return out + "</dl>\n";
}

}  // namespace orb::report
