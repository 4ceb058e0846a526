#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "source.h"
#include "spectrum_data.h"

namespace orb::formats {

/// "$NAME:" and what follows up to the next such line.
struct SpeSection {
  std::string name;  ///< upper case, with the dollar sign, without the colon
  std::string_view body;
};

const SpeSection* findSection(const std::vector<SpeSection>& sections, std::string_view name);

/// True for sections that are read here or elsewhere; the others are named in a warning.
bool isCalibrationSection(std::string_view name);

/// Energy and FWHM calibration out of the sections. The counts are in the spectrum already.
void readSpeCalibrations(const Source& source, const std::vector<SpeSection>& sections, SpectrumData& spectrum);

}  // namespace orb::formats
