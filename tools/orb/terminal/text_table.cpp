#include "text_table.h"

#include <algorithm>

#include "terminal_text.h"

namespace orb::tool {

void printTable(const TextRows& rows, std::size_t right, Console& console) {
  std::vector<std::size_t> widths(rows.empty() ? 0 : rows[0].size(), 0);
  for (const auto& row : rows)
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], displayWidth(row[i]));
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t i = 0; i + 1 < row.size(); ++i)
      line += (i < right ? padLeft(row[i], widths[i]) : padRight(row[i], widths[i])) + "  ";
    line += row.back();
    line.erase(line.find_last_not_of(' ') + 1);
    console.line(line);
  }
}

}  // namespace orb::tool
