#include "processing_settings.h"

#include <algorithm>
#include <cctype>
#include <cmath>

#include "failure.h"
#include "file_values.h"
#include "normal_distribution.h"

namespace anautils {

namespace {

/// Whether a text begins with a word's first letters, in any case; an empty one does not.
bool means(const std::string& text, const char* word) {
  std::size_t i = 0;
  for (; i < text.size() && text[i] != ' ' && word[i] != '\0'; ++i)
    if (std::toupper(static_cast<unsigned char>(text[i])) != word[i]) return false;
  return i > 0;
}

double readPositive(void* handle, ULONG code, double fallback) {
  const double value = readDouble(handle, code, fallback);
  require(std::isfinite(value) && value > 0, ANA_BADSETTING);
  return value;
}

double readNotNegative(void* handle, ULONG code, double fallback) {
  const double value = readDouble(handle, code, fallback);
  require(std::isfinite(value) && value >= 0, ANA_BADSETTING);
  return value;
}

Continuum readContinuum(void* handle) {
  const std::string word = readText(handle, ORB_T_CONTTYPE, "STEP");
  if (means(word, "STEP")) return Continuum::Step;
  if (means(word, "LINEAR")) return Continuum::Linear;
  require(means(word, "NONE"), ANA_BADSETTING);
  return Continuum::None;
}

WidthMode readWidthMode(void* handle) {
  const std::string word = readText(handle, ORB_T_WIDTHMODE, "Derived");
  if (means(word, "DERIVED")) return WidthMode::Derived;
  if (means(word, "FIXED")) return WidthMode::Fixed;
  require(means(word, "FREE"), ANA_BADSETTING);
  return WidthMode::Free;
}

TailMode readTailMode(void* handle) {
  const std::string word = readText(handle, ORB_T_TAILMODE, "AUTO");
  if (means(word, "AUTO")) return TailMode::Auto;
  if (means(word, "ON")) return TailMode::On;
  require(means(word, "OFF"), ANA_BADSETTING);
  return TailMode::Off;
}

FitSettings readFitSettings(void* handle) {
  FitSettings fit;
  fit.continuum = readContinuum(handle);
  fit.width = readWidthMode(handle);
  const double measured_scatter = readNotNegative(handle, ORB_D_FWHMSCATTER, 0);  // [%]
  fit.width_scatter = (measured_scatter > 0 ? measured_scatter : readPositive(handle, ORB_F_WIDTHSCATTER, 1)) / 100;
  fit.max_steps = readInt(handle, ORB_L_FITMAXSTEPS, 0);
  if (fit.max_steps <= 0) fit.max_steps = 60;
  fit.convergence = readPositive(handle, ORB_D_FITCONV, 1e-4);
  fit.max_shift = readPositive(handle, ORB_F_MAXSHIFT, 0.3);
  fit.min_separation = readPositive(handle, ORB_F_MINSEPARATION, 0.3);
  fit.max_added = readInt(handle, ORB_L_MAXADDED, 2);
  fit.residual_threshold = readPositive(handle, ORB_F_RESIDTHRESH, 4);
  fit.add_significance = readPositive(handle, ORB_F_ADDSIGNIF, 5);
  fit.step_significance = readPositive(handle, ORB_F_STEPSIGNIF, 3);
  require(fit.max_added >= 0, ANA_BADSETTING);
  return fit;
}

}  // namespace

SearchSettings readSearchSettings(void* handle) {
  SearchSettings settings;
  settings.threshold = readPositive(handle, ORB_F_LOCTHRESH, 3);
  settings.narrow = readPositive(handle, ORB_F_LOCNARROW, 1);
  settings.wide = readPositive(handle, ORB_F_LOCWIDE, 1.75);
  settings.two_filters = readInt(handle, ORB_L_LOCTWOFILTERS, 1) != 0;
  settings.cut = readPositive(handle, ORB_F_LOCCUT, 4);
  settings.longest_smoothing = readInt(handle, ORB_L_LOCSMOOTH, 19);
  settings.suspect_distance = readNotNegative(handle, ORB_D_SUSPECTDIST, 3);
  // Beyond these the filters would be longer than any line, or no filters at all.
  require(settings.narrow >= 0.2 && settings.narrow <= 10 && settings.wide >= 0.2 && settings.wide <= 10 &&
              settings.cut >= 2 && settings.cut <= 10 && settings.longest_smoothing >= 1,
          ANA_BADSETTING);
  return settings;
}

LineFitSettings readLineFitSettings(void* handle) {
  LineFitSettings settings;
  settings.fit = readFitSettings(handle);
  settings.tail = readTailMode(handle);
  settings.curvature_single = readNotNegative(handle, ORB_D_CURVSINGLE, 0);
  settings.curvature_multiplet = readNotNegative(handle, ORB_D_CURVMULTI, 0);
  if (readInt(handle, ORB_L_CONTVARIABLE, 0) != 0)
    settings.free_fwhm = readNotNegative(handle, ORB_F_CONTFWHM, 0);
  else
    settings.free_channels = readInt(handle, ORB_L_CONTWIDTH, 0);
  require(settings.free_channels >= 0, ANA_BADSETTING);
  settings.keep_significance = readNotNegative(handle, ORB_F_KEEPSIGNIF, 0);
  const double error_percent = readPositive(handle, ORB_F_ERRORPROB, 5);
  require(error_percent < 50, ANA_BADSETTING);
  settings.quantile = -com::norvale::datatypes::normalQuantile(error_percent / 100);
  settings.greatest_chi2 = readNotNegative(handle, ORB_F_MAXCHISQ, 0);
  return settings;
}

RegionRule readRegionRule(void* handle) {
  RegionRule rule;
  rule.left = readPositive(handle, ORB_D_REGIONLEFT, 3);
  rule.right = readPositive(handle, ORB_D_REGIONRIGHT, 3);
  rule.together = readPositive(handle, ORB_D_MULTIDIST, 4);
  rule.most_lines = readInt(handle, ORB_L_MAXPEAKS, 10);
  require(rule.most_lines >= 1, ANA_BADSETTING);
  // Lines that the residuals add need a place as well.
  rule.most_lines = std::min(rule.most_lines, kMaxLines - 4);
  return rule;
}

ChannelRange readRange(void* handle, ULONG first_code, ULONG last_code, int n) {
  ChannelRange range{readInt(handle, first_code, 1), readInt(handle, last_code, n)};
  require(range.first <= range.last, ANA_EMPTYREGION);
  require(range.first <= n && range.last >= 1, ANA_OUTSIDE);
  return {std::max(range.first, 1), std::min(range.last, n)};
}

}  // namespace anautils
