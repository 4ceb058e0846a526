#pragma once
#include "aioproto.h"
#include "kernel/peak_search.h"
#include "kernel/region_fit.h"
#include "kernel/region_limits.h"

/// The processing settings of a file (class 0x2003), as the kernels take them. Throws Failure(ANA_BADSETTING) for a
/// word that is none of those known or a number that is not possible.
namespace anautils {

SearchSettings readSearchSettings(void* handle);

enum class TailMode { Auto, On, Off };

struct LineFitSettings {
  FitSettings fit;
  TailMode tail = TailMode::Auto;
  double curvature_single = 0;
  double curvature_multiplet = 0;
  double free_fwhm = 0;  ///< line-free width at each end of a region [FWHM]; 0: free_channels counts
  int free_channels = 0;
  double keep_significance = 0;  ///< least area over its uncertainty without the line
  double quantile = 1.645;       ///< of the normal distribution, for thresholds and limits
  double greatest_chi2 = 0;      ///< reduced chi-square above which a region counts as badly fitted; 0: none
};
LineFitSettings readLineFitSettings(void* handle);

RegionRule readRegionRule(void* handle);

/// Channels first to last as two settings give them, both included, within a spectrum of n channels; a number past the
/// end means the last channel, a first one below 1 the first. Throws Failure: ANA_EMPTYREGION, ANA_OUTSIDE.
ChannelRange readRange(void* handle, ULONG first_code, ULONG last_code, int n);

}  // namespace anautils
