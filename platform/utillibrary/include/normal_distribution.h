/// The normal distribution, accurate far out in its tails. Pure functions; any thread.
#pragma once
#include "utillibrary_export.h"

namespace com::norvale::datatypes {

/// Probability of a standard normal value below z.
UTILLIBRARY_EXPORT double normalBelow(double z);

/// The z below which a standard normal value lies with probability p. -infinity for p <= 0, infinity for p >= 1.
/// Method: rational start (Abramowitz and Stegun 1964, 26.2.23), then Halley's steps to double precision.
UTILLIBRARY_EXPORT double normalQuantile(double p);

/// Density over probability below, phi(z) / Phi(z), for any z (continued fraction of Laplace far below 0).
UTILLIBRARY_EXPORT double lowerHazard(double z);

}  // namespace com::norvale::datatypes
