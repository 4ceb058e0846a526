#pragma once
#include <string>
#include <utility>

#include "open_file.h"

namespace orb::tool {

/// Reads "A:B" as channels, or as energies with the unit behind one of them ("600:700keV"), with the file's energy
/// equation. Either end may be left out.
/// @return first and last channel, from 1
/// @throws UsageError for anything else, Failure when energies are asked for without a calibration
std::pair<int, int> channelRange(const FileAccess& file, const std::string& text);

/// Makes the settings of a new file, which end at channel 65535, cover a longer spectrum.
void coverAllChannels(FileAccess& file, std::uint32_t n_channels);

}  // namespace orb::tool
