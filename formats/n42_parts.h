#pragma once
#include <cstddef>
#include <pugixml.hpp>
#include <vector>

#include "n42_document.h"
#include "spectrum_data.h"

namespace orb::formats {

/// Reads an element <ChannelData> into the counts of the spectrum.
/// @param budget   channels that the file may still have; reduced by those that were read.
/// @param scratch  room for the numbers as they stand, kept from spectrum to spectrum.
void readChannelData(const N42Document& document, const pugi::xml_node& channel_data, std::size_t& budget,
                     std::vector<double>& scratch, SpectrumData& spectrum);

/// Energy and FWHM calibration of an element <Spectrum>, its own or those it refers to. The counts are in the spectrum
/// already.
void readN42Calibrations(const N42Document& document, const pugi::xml_node& element, SpectrumData& spectrum);

}  // namespace orb::formats
