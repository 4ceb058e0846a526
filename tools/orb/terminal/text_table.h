/// Tables for people.
#pragma once
#include <string>
#include <vector>

#include "console.h"

namespace orb::tool {

using TextRows = std::vector<std::vector<std::string>>;

/// Prints rows of equal length, the first of them the heading, in columns as wide as their widest field. The last
/// column begins at the left and may be as long as it likes.
/// @param right  columns at the right edge of their width, from the first; the others begin at the left
void printTable(const TextRows& rows, std::size_t right, Console& console);

}  // namespace orb::tool
