/// Pictures of a gamma spectrum: SVG, one self-contained HTML page, and text for a terminal.
///
/// Channels count from 1. A channel number is the centre of the channel, which reaches half a channel to both sides.
/// All functions may be called from any thread. They throw std::invalid_argument, with a text for the user, when the
/// spectrum or the options cannot be drawn: no channels, a calibration that calibrationProblem() names, a range that
/// is inverted or beside the spectrum, an impossible size.
#pragma once
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace orb::plot {

/// A place to be marked in the spectrum.
struct Peak {
  double channel = 0;
  std::string label;
  double area = 0;  ///< of peaks whose labels would overlap the one with the greater area keeps it
};

/// Texts are UTF-8; control characters and broken bytes do no harm, they are left out or replaced.
struct Spectrum {
  std::string title;
  std::vector<std::string> subtitle;  ///< lines below the title
  std::string file_name;              ///< small print, no path is looked up
  /// Element i belongs to channel first_channel + i. Negative counts are drawn on a linear scale and lie on the floor
  /// of a logarithmic one; NaN and infinities are gaps.
  std::vector<double> counts;
  std::uint64_t first_channel = 1;
  std::vector<double> energy_coefficients;  ///< [energy_unit / channel^k], the constant first; empty: not calibrated
  std::string energy_unit = "keV";
  std::vector<Peak> peaks;  ///< those outside the drawn channels are left out
};

/// The part of the spectrum to be drawn, both ends included. Infinite ends are allowed; what reaches beyond the
/// spectrum is cut off.
struct Range {
  double from = 0;
  double to = 0;
  bool in_energy = false;  ///< energies rather than channels
};

struct Options {
  bool log_scale = false;      ///< of the counts
  std::optional<Range> range;  ///< empty: the whole spectrum. The HTML page begins with it and can leave it.
  int width_px = 1000;         ///< of the SVG, kMinWidth_px to kMaxSize_px
  int height_px = 560;         ///< of the SVG, kMinHeight_px to kMaxSize_px
};

inline constexpr int kMinWidth_px = 240;
inline constexpr int kMinHeight_px = 180;
inline constexpr int kMaxSize_px = 16384;
inline constexpr int kMinTerminalWidth = 20;
inline constexpr int kMinTerminalHeight = 6;
inline constexpr int kMaxTerminalSize = 4096;

/// Why the energy calibration cannot serve as an axis (coefficients that are not finite, energies that do not rise
/// from channel to channel); empty when it can, or when there is none. Callers who would rather have a picture over
/// channels than none ask first, and clear the coefficients.
/// @cost  One evaluation of the polynomial per channel.
std::string calibrationProblem(const Spectrum& spectrum);

/// Reads "A:B", "A:" or ":B". Plain numbers are channels; with the unit behind one of them, as in "600:700keV" (case
/// does not matter), they are energies.
/// @throws std::invalid_argument  for anything else, and for an inverted range.
Range parseRange(std::string_view text, std::string_view energy_unit);

/// An SVG document. Its size depends on the width of the picture, not on the number of channels.
std::string svg(const Spectrum& spectrum, const Options& options);

/// Whether this build can make HTML pages.
bool htmlAvailable() noexcept;

/// An HTML page with everything in it: zoom by dragging, switches for the scale and the axis, read-out.
/// @throws std::runtime_error  when htmlAvailable() is false.
std::string htmlPage(const Spectrum& spectrum, const Options& options);

/// Lines of text, at most `height` of them and none wider than `width` columns, each with its line break.
/// @param use_unicode  braille dots and line characters; otherwise ASCII alone.
std::string terminal(const Spectrum& spectrum, const Options& options, int width, int height, bool use_unicode);

}  // namespace orb::plot
