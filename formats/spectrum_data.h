#pragma once
#include <cstddef>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "xtime.h"

/// Spectra in text formats: IAEA ASCII (.spe), ANSI N42.42 (2006 and 2012), CSV and plain text.
///
/// Channels count from 0 here, as in these formats; channel_shift.h leads to and from channels that count from 1.
/// All functions may be called from any thread. Errors are exceptions of the type FormatError.
namespace orb::formats {

inline constexpr std::size_t kMaxTextBytes = std::size_t{64} << 20;
inline constexpr std::size_t kMaxChannels = std::size_t{1} << 24;        ///< of one spectrum
inline constexpr std::size_t kMaxChannelsOfFile = std::size_t{1} << 26;  ///< of all spectra of a file
inline constexpr std::size_t kMaxCoefficients = 16;                      ///< of a calibration polynomial

/// The text is broken. what() reads "<name>: line 12: <what is wrong>"; in XML "<name>: line 12, offset 345, element
/// <ChannelData>: <what is wrong>".
class FormatError : public std::runtime_error {
 public:
  FormatError(const std::string& message, std::size_t line) : std::runtime_error(message), line_(line) {}
  /// Counts from 1; 0 where the whole file is meant.
  std::size_t line() const noexcept { return line_; }

 private:
  std::size_t line_;
};

struct CalibrationPoint {
  double x;
  double y;
  friend bool operator==(const CalibrationPoint&, const CalibrationPoint&) = default;
};

/// Energy of a channel: a polynomial in the channel number, or points (channel, energy) in rising order. At most one
/// of the two is there. An energy axis that is no polynomial has a point for every channel.
struct EnergyCalibration {
  std::vector<double> coefficients;  ///< [unit / channel^k], the constant first
  std::vector<CalibrationPoint> points;
  std::string unit = "keV";  ///< eV and MeV become keV on reading; any other unit stays as it is

  bool empty() const { return coefficients.empty() && points.empty(); }
  friend bool operator==(const EnergyCalibration&, const EnergyCalibration&) = default;
};

enum class Quantity { kChannel, kEnergy };

/// Full width at half maximum over position: a polynomial in the position, or points (position, width).
struct FwhmCalibration {
  Quantity position = Quantity::kChannel;  ///< what the width is a function of; energies in keV
  Quantity width = Quantity::kChannel;     ///< widths in channels, or in keV
  std::vector<double> coefficients;
  std::vector<CalibrationPoint> points;

  bool empty() const { return coefficients.empty() && points.empty(); }
  friend bool operator==(const FwhmCalibration&, const FwhmCalibration&) = default;
};

/// One spectrum with what its file tells about it. Texts are UTF-8 without control characters.
struct SpectrumData {
  std::string name;  ///< tells it from the others of a file; empty where the format has no names
  std::string title;
  std::string detector;
  std::string instrument;
  std::vector<std::string> remarks;

  std::optional<com::norvale::datatypes::xtime_t> start;  ///< taken as UTC where the file names no zone
  std::optional<double> live_s;
  std::optional<double> real_s;

  std::size_t first_channel = 0;  ///< the channel of counts[0]; calibrations are in channels, not in indices
  std::vector<double> counts;     ///< finite and not negative
  bool whole_counts = true;       ///< no count has a fraction

  EnergyCalibration energy;
  FwhmCalibration fwhm;

  std::vector<std::string> warnings;  ///< what was odd about the file, and what of it is not here
};

enum class Format { kSpe, kN42, kCsv };

/// Tells the format from the content alone. Anything that is neither of the other two counts as CSV.
Format detectFormat(std::string_view bytes);

/// Reads all spectra of a file; there is at least one in what comes back.
/// @param bytes  the content of the file, at most kMaxTextBytes.
/// @param name   stands in front of the error message.
/// @throws FormatError  for a broken, empty or too large text.
std::vector<SpectrumData> readSpectra(std::string_view bytes, std::string_view name);

std::vector<SpectrumData> readSpe(std::string_view bytes, std::string_view name);
std::vector<SpectrumData> readN42(std::string_view bytes, std::string_view name);
/// CSV, plain columns, and the report form with lines "channel: count".
std::vector<SpectrumData> readCsv(std::string_view bytes, std::string_view name);

/// A written file, and what of the spectrum it has no place for.
struct Written {
  std::string text;
  std::vector<std::string> not_carried;
};

/// Numbers are printed with the fewest digits that give the same double again.
Written writeSpe(const SpectrumData& spectrum);
Written writeCsv(const SpectrumData& spectrum);
Written writeJson(const SpectrumData& spectrum);
/// N42.42-2012, one file for all the spectra.
Written writeN42(std::span<const SpectrumData> spectra);

}  // namespace orb::formats
