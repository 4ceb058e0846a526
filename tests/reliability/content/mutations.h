#pragma once
#include <string>

#include "strange_values.h"

// Ways to change a data file so that something is wrong with it. Each takes a path of a whole file.
namespace content {

/// Rows of its tables, by SQL. Checksums are made right again, so that the content reaches the code above the service.
void mutateRows(const std::string& path, Dice& dice);
/// Bytes, anywhere.
void mutateBytes(const std::string& path, Dice& dice);

}  // namespace content
