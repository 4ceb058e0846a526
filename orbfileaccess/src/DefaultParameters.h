/// The values that a new spectrum file starts with.
#pragma once
#include <cstdint>
#include <utility>
#include <vector>

#include "Variant.h"

namespace com::norvale::orb {

/// All default values with their parameter codes, in the order in which they are written.
/// @param n_channels  channels of the spectrum. The energy calibration starts at 2048 keV full scale whatever their
///                    number; 0 gives an infinite slope.
/// @param is_NaI      sodium iodide: broad peaks, so wider search windows and a few instead of tenths of a keV per
///                    square root of energy for the width
std::vector<std::pair<std::uint32_t, datatypes::Variant>> defaultParameters(std::uint32_t n_channels, bool is_NaI);

}  // namespace com::norvale::orb
