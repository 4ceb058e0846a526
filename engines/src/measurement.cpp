#include "measurement.h"

#include <cmath>

namespace orbengine {

namespace {

constexpr double kTicksPerSecond = 1e7;  // of a time in a data file

double positiveOrUnknown(double value) {
  return value > 0 && std::isfinite(value) ? value : 0;
}

BuildUp buildUpOf(const File& file) {
  const std::string kind = file.text(ORB_T_BUILDUP);
  if (kind == "DEPOSIT") return BuildUp::Deposit;
  return kind == "IRRAD" ? BuildUp::Irradiation : BuildUp::None;
}

}  // namespace

Measurement::Measurement(const File& file)
    : live_s_(positiveOrUnknown(file.number(ORB_D_LIVETIME, 0))),
      start_(file.find(ORB_X_ACQSTART)),
      reference_(file.find(ORB_X_SAMPLEDATE)),
      quantity_(positiveOrUnknown(file.number(ORB_F_QUANTITY, 0))),
      quantity_u_(file.number(ORB_D_QUANTITYUNC, 0)),
      collection_s_(file.number(ORB_D_COLLTIME, 0)),
      build_up_(buildUpOf(file)) {
  const double real_s = positiveOrUnknown(file.number(ORB_D_REALTIME, 0));
  if (file.number(ORB_L_DECAYCOUNTING, 1) != 0) counting_s_ = real_s > 0 ? real_s : live_s_;
}

double Measurement::elapsed_s() const {
  return hasReference() ? (*start_ - *reference_) / kTicksPerSecond : 0;
}

DecayFactor Measurement::toReference(double half_life_s, double half_life_u) const {
  DecayFactor factor = toReferenceDate(half_life_s, half_life_u, elapsed_s());
  factor.value *= forBuildUp(build_up_, half_life_s, collection_s_);
  return factor;
}

}  // namespace orbengine
