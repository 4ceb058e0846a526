/// Least squares with polynomials of low degree.
#pragma once
#include <span>
#include <vector>

#include "neighbours.h"
#include "spectrum_data.h"

namespace com::norvale::measurement {

/// The polynomial that fits points with unit weights, constant first.
/// @param degree  at most 5; lowered to one less than the number of different x
/// @return empty for no points
std::vector<double> fitPolynomial(std::span<const formats::CalibrationPoint> points, std::size_t degree);

}  // namespace com::norvale::measurement
