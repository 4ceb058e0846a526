/// The window around a line in which decisions on it are taken, and the continuum there.
///
///            flank        window        flank
///        |-----------|--------------|-----------|        continuum: a straight line through the flanks
///
/// Pure functions: safe in any number of threads. They let out nothing but std::bad_alloc. Channels count from 1,
/// element 0 of the counts is channel 1, and channel i covers [i - 1/2, i + 1/2].
#pragma once
#include <vector>

namespace orbengine {

/// First and last channel, both included.
struct ChannelSpan {
  int first = 0;
  int last = -1;
};

struct WindowSettings {
  double width_fwhm = 2.5;   ///< full width of the window; its channels are those whose middle lies within
  double flank_windows = 1;  ///< width of each flank in windows: with 1 the continuum's variance is B / 2
};

/// How a window was measured.
enum class WindowState {
  kMeasured,
  kBadLine,    ///< position or width not finite, or the width not positive
  kBadCounts,  ///< a count of the window or its flanks is negative or not finite
  kOutside,    ///< the line lies outside the spectrum
  kNoFlank     ///< other lines and the ends of the spectrum leave nothing to take the continuum from
};

/// What is expected in a window without the line, as a mean and as an on-off measurement that would give the same.
struct Background {
  double counts = 0;      ///< B [counts]
  double counts_u = 0;    ///< standard uncertainty of B [counts]
  double off_counts = 0;  ///< counts in a measurement without the line ...
  double off_ratio = 1;   ///< ... that is this many times as large as the window: B = off_counts / off_ratio,
                          ///< u(B)^2 = off_counts / off_ratio^2; counts between integers are meant
};

struct LineWindow {
  WindowState state = WindowState::kBadLine;
  ChannelSpan channels;        ///< of the window
  double inside = 0;           ///< share of a Gaussian line in those channels
  double gross = 0;            ///< counts in the window
  Background continuum;        ///< not below 0; its uncertainty never below that of one count in the flanks
  bool is_cut = false;         ///< an end of the spectrum takes part of the window
  bool has_one_flank = false;  ///< the continuum is that of one flank, without a slope
};

/// Share of a Gaussian line that falls into channels.
/// @param position  centroid [channel]   @param fwhm  [channels], above 0
double shareInside(double position, double fwhm, ChannelSpan channels);

/// Counts of a window, and its continuum from two flanks. A flank begins at the window's edge, but no nearer than
/// 1.25 FWHM to the line, so that it holds next to nothing of it. Channels that other lines occupy are passed over; a
/// flank reaches for others until three times its width away. The continuum is the unweighted straight line through
/// all flank channels; each channel enters it with the weight c = n_w [1/n + (x_w - x_m)(x - x_m) / S_xx], and
/// u^2(B) = sum c^2 n holds the slope's part. With equal flanks of n channels together that is B = N n_w / n.
/// @param counts    [n_channels], not negative
/// @param excluded  channels that other lines occupy, in any order, overlapping or not
LineWindow measureWindow(const std::vector<float>& counts, double position, double fwhm, const WindowSettings& settings,
                         const std::vector<ChannelSpan>& excluded);

/// A background and what other lines add to it.
/// @param counts, counts_u  of the other lines in the window; nothing is added when they are not positive
Background withOtherLines(const Background& continuum, double counts, double counts_u);

}  // namespace orbengine
