#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "spectrum_data.h"

namespace orb::formats {

/// A calibration with the name of the section or element it comes from.
struct EnergyCandidate {
  std::string label;
  EnergyCalibration calibration;
};

/// False for none, for all zeros, and for the same energy in every channel.
bool isMeaningful(const EnergyCalibration& calibration);

/// Gives the spectrum, whose counts must be there, the first candidate that means something. Those that are all zero or
/// constant count as none, and those that contradict the chosen one are named: both in warnings of the spectrum.
void chooseEnergyCalibration(const std::vector<EnergyCandidate>& candidates, SpectrumData& spectrum);

/// Takes the FWHM calibration unless it is all zero.
void setFwhmCalibration(std::string_view label, FwhmCalibration calibration, SpectrumData& spectrum);

/// Takes energies from eV or MeV to keV, with a warning; leaves any other unit alone.
void toKeV(EnergyCalibration& calibration, std::vector<std::string>& warnings);

/// Energy of a channel; between and beyond points along straight lines. The calibration is not empty.
double energyAt(const EnergyCalibration& calibration, double channel);

/// True when the points stand for every channel of the spectrum.
bool coversEveryChannel(const std::vector<CalibrationPoint>& points, const SpectrumData& spectrum);

/// Warns of a live time beyond the real time.
void warnOfTimes(SpectrumData& spectrum);

}  // namespace orb::formats
