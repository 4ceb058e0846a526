/// Compares the content of two data files.
#pragma once
#include <string>
#include <vector>

#include "json_output.h"
#include "open_file.h"
#include "progress.h"

namespace orb::tool {

/// One difference, for people and for programs.
struct Difference {
  std::string text;  ///< "0x20000005 ORB_D_LIVETIME: 900 s | 901 s"
  Json json;
};

/// Blocks, records, values and spectra in which the files differ, in ascending order of classes; empty when their
/// content is the same. Not-a-number equals not-a-number. @throws Failure
std::vector<Difference> compareFiles(const FileAccess& first, const FileAccess& second, Progress& progress);

}  // namespace orb::tool
