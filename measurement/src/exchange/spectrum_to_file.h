/// A spectrum of a text format as the content of a new data file.
#pragma once
#include <functional>
#include <string>

#include "neighbours.h"
#include "open_file.h"
#include "spectrum_data.h"

namespace com::norvale::measurement {

/// Receives a sentence about what could not be carried over, or was carried over otherwise.
using Note = std::function<void(const std::string&)>;

struct ImportContext {
  std::string source_name;    ///< file that the spectrum comes from
  std::string source_format;  ///< in words
  std::string detector_type;  ///< as the user named it; empty when it was only guessed
};

/// The counts with channel 0 in front: a text format may begin with a later channel.
std::vector<double> countsFromChannelZero(const formats::SpectrumData& spectrum);
/// The energy equation over channels that count from 1; empty when the spectrum has none that a data file can hold.
/// What stands against it goes to `note`.
std::vector<double> energyFromOne(const formats::SpectrumData& spectrum, const Note& note);

/// Fills a file that FileAccess::create has just made. Values of a new file that look like an energy calibration are
/// taken out; the widths of a new file stay when the spectrum has none, and are marked as not measured.
/// @throws Failure
void fillFile(FileAccess& file, const formats::SpectrumData& spectrum, const ImportContext& context, const Note& note);

}  // namespace com::norvale::measurement
