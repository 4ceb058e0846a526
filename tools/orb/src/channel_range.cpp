#include "channel_range.h"

#include <algorithm>
#include <cmath>

#include "anautils.h"
#include "blocks.h"
#include "comdefs.h"
#include "failure.h"
#include "plot.h"

namespace orb::tool {

namespace {

constexpr int kLastChannel = AIO_MAX_CHANNELS;
constexpr std::uint32_t kSettledChannels = 65535;  // what the settings of a new file cover
constexpr std::uint32_t kSearchLast = 0x20030009;
constexpr std::uint32_t kFitLast = 0x20030047;

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

void coverAllChannels(FileAccess& file, std::uint32_t n_channels) {
  if (n_channels <= kSettledChannels) return;
  for (const std::uint32_t code : {kSearchLast, kFitLast}) putValue(file, code, Variant(static_cast<int>(n_channels)));
}

}  // namespace orb::tool
