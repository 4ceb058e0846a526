#pragma once
#include <string>
#include <utility>

#include "open_file.h"
#include "usage_error.h"

namespace orb::tool {

/// Reads "A:B" as channels, or as energies with the unit behind one of them ("600:700keV"), with the file's energy
/// equation. Either end may be left out.
/// @return first and last channel, from 1
/// @throws UsageError for anything else, Failure when energies are asked for without a calibration
std::pair<int, int> channelRange(const FileAccess& file, const std::string& text);

}  // namespace orb::tool
