#pragma once
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "calibration_choice.h"
#include "spectrum_data.h"

namespace orb::formats {

/// Lines "key: value" above the counts of a CSV file or a report. Case, blanks and punctuation of keys do not matter,
/// and a comment mark may stand in front.
class HeaderKeys {
 public:
  /// False when the line is none that is understood.
  bool take(std::string_view line, std::size_t number);
  /// Keeps a comment line that has no key.
  void addRemark(std::string_view line);

  /// Everything but the energy calibration, which is left for the caller to choose from.
  void apply(SpectrumData& spectrum) const;
  EnergyCandidate energy() const { return {"header", energy_}; }

  std::optional<std::size_t> n_channels;
  std::optional<std::size_t> first_channel;

 private:
  bool takeText(std::string_view key, std::string_view value);
  bool takeNumbers(std::string_view key, std::string_view value, std::size_t number);
  void takeTime(std::string_view value, std::size_t number, std::optional<double>& seconds);
  void applyStart(SpectrumData& spectrum) const;

  SpectrumData texts_;
  std::string spectrum_name_;  ///< stands in for the title where there is no description
  std::string date_;
  std::string clock_;
  EnergyCalibration energy_;
  FwhmCalibration fwhm_;
};

/// Writes the form of an FWHM calibration in words, "channels over channel" or "keV over energy", and back.
std::string fwhmForm(const FwhmCalibration& fwhm);

}  // namespace orb::formats
