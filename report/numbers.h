/// Numbers as a report prints them.
#pragma once
#include <string>

#include "report.h"

namespace orb::report {

/// To so many significant digits; with a power of ten where plain digits would be long: "3.1×10⁻⁷".
std::string rounded(double value, int digits);

/// Both numbers to the place of the uncertainty's second significant digit: "661.657 ± 0.012", "123500 ± 1200",
/// "(1.234 ± 0.012)×10⁻⁷". Without an uncertainty: to 4 digits.
std::string withUncertainty(const Quantity& quantity);

/// A half-life in the largest unit that leaves a number above 1: "30.05 y".
std::string duration(double seconds);

}  // namespace orb::report
