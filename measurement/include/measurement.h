/// A spectrum with all that is known of it: opened from any file, analysed, calibrated, read as plain rows, saved.
///
///     auto m = Measurement::open("field.spe");
///     m.analyse();
///     for (const Nuclide& n : m.nuclides()) std::printf("%s %.2f\n", n.name.c_str(), n.confidence);
///     m.save("field.dat");
///
/// Energies and widths are in keV, channels count from 1, activities are in Bq, uncertainties are standard
/// uncertainties. Whatever cannot be done throws Failure and leaves files as they were. One object is for one thread at
/// a time; different objects never wait for each other.
#pragma once
#include <cstddef>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "FileAccess.h"
#include "measurement_export.h"
#include "measurement_failure.h"
#include "measurement_rows.h"

namespace com::norvale::measurement {

/// How a text is taken for a measurement. A data file knows all that itself.
struct OpenOptions {
  std::string detector;      ///< "hpge" or "nai"; empty: told by the widths of the lines
  std::size_t spectrum = 0;  ///< which of a text with several, from 1; 0: the first
};

/// What an analysis is made with; empty: what the product comes with.
struct AnalysisOptions {
  std::string sequence;   ///< data file with the steps
  std::string library;    ///< nuclide library
  std::string catalogue;  ///< engine catalogue
  std::string engines;    ///< folder of the engines' libraries
};

class MEASUREMENT_EXPORT Measurement {
 public:
  /// Opens a data file, or a spectrum in a text format (IAEA SPE, ANSI N42, CSV). The file is not changed, whatever is
  /// done to the measurement.
  static Measurement open(const std::string& path, const OpenOptions& options = {});
  /// A spectrum in a text format from memory, or from a stream to its end; `name` is what messages and provenance call
  /// it.
  static Measurement read(std::string_view text, const std::string& name, const OpenOptions& options = {});
  static Measurement read(std::istream& text, const std::string& name, const OpenOptions& options = {});

  Measurement(Measurement&& other) noexcept;
  Measurement& operator=(Measurement&& other) noexcept;
  ~Measurement();

  /// Finds lines, nuclides and limits by the steps of a sequence. What a former analysis found is replaced. After a
  /// failure the measurement is as it was.
  void analyse(const AnalysisOptions& options = {});

  const std::string& name() const noexcept;
  std::vector<double> counts() const;
  Acquisition acquisition() const;
  std::optional<EnergyCalibration> energyCalibration() const;
  std::optional<FwhmCalibration> fwhmCalibration() const;
  std::vector<Peak> peaks() const;
  /// By falling confidence.
  std::vector<Nuclide> nuclides() const;
  /// Of the nuclides of the library that were not found.
  std::vector<Limit> limits() const;
  std::vector<double> unidentified_keV() const;
  /// What is to be known about how the measurement was taken over and analysed, in the order in which it came up.
  const std::vector<std::string>& notes() const noexcept;

  /// Writes a data file; it appears whole or not at all. @param replace  whether an existing data file may go
  void save(const std::string& path, bool replace = false) const;
  /// The spectrum as a text; what the format cannot hold is told in the notes.
  std::string text(ExportFormat format);

  /// The open data file behind it, for those who know parameters by code.
  orb::FileAccess& file() noexcept;
  const orb::FileAccess& file() const noexcept;

 private:
  struct State;
  explicit Measurement(std::unique_ptr<State> state) noexcept;
  std::unique_ptr<State> state_;
};

}  // namespace com::norvale::measurement
