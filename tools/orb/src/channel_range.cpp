#include "channel_range.h"

#include <algorithm>
#include <cmath>

#include "anautils.h"
#include "blocks.h"
#include "comdefs.h"
#include "failure.h"
#include "plot.h"
#include "usage_error.h"

namespace orb::tool {

namespace {

constexpr int kLastChannel = AIO_MAX_CHANNELS;

double channelOf(const FileAccess& file, const stAEncalEq_T& equation, double energy) {
  double channel = 0;
  const LONG status = lPEn2Chan(energy, &equation, &channel);
  if (status != ANA_OK) throw Failure(file.name(), "no channel for an energy", static_cast<std::uint32_t>(status));
  return channel;
}

int clampedChannel(double channel) {
  return static_cast<int>(std::clamp(std::round(channel), 1.0, static_cast<double>(kLastChannel)));
}

}  // namespace

std::pair<int, int> channelRange(const FileAccess& file, const std::string& text) {
  plot::Range range;
  try {
    range = plot::parseRange(text, "keV");
  } catch (const std::invalid_argument& error) {
    throw UsageError(std::string("range: ") + error.what());
  }
  if (range.in_energy) {
    stAEncalEq_T equation{};
    const LONG status = lGetEneq(file.handle(), ANA_ENERGY, 1, &equation);
    if (status != ANA_OK) throw Failure(file.name(), "cannot take energies", static_cast<std::uint32_t>(status));
    if (std::isfinite(range.from)) range.from = channelOf(file, equation, range.from);
    if (std::isfinite(range.to)) range.to = channelOf(file, equation, range.to);
  }
  return {clampedChannel(range.from), clampedChannel(range.to)};
}

}  // namespace orb::tool
