/// Decisions on few counts, from a measurement with the line and one without it ("on" and "off"), exact at any number
/// of counts. Pure functions: safe in any number of threads.
///
/// Given the counts off, those in a window that holds no line exceed g - 1 with the conditional binomial probability
/// (Przyborowski and Wilenski, Biometrika 31 (1940) 313), which is the upper tail of a negative binomial distribution
/// with off + 1 as its shape (Cousins, Linnemann and Tucker, Nucl. Instrum. Methods A 595 (2008) 480). In that form the
/// counts off need not be whole. Gamma spectra of few counts: De Geer, Appl. Radiat. Isot. 61 (2004) 151.
#pragma once

namespace orbengine {

/// The least number of counts in the window that is seen with probability alpha or less when there is no line.
/// @param off_counts  counts of the measurement without line, 0 to 1e4
/// @param off_ratio   its size over that of the window, above 0
/// @param alpha       above 0, below 1
int criticalCount(double off_counts, double off_ratio, double alpha);

/// The smallest expected counts of a line in the window that reach the critical count with probability 1 - beta, when
/// the expected continuum in the window is off_counts / off_ratio and the counts off are Poisson distributed: the
/// critical count scatters with them.
double onOffLimit(double off_counts, double off_ratio, double alpha, double beta);

}  // namespace orbengine
