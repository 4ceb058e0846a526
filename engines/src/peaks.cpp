#include "peaks.h"

#include <algorithm>

namespace orbengine {

namespace {

constexpr int kMarkNotFitted = 128;  // of ORB_L_PKSTATUS

bool hasTable(const File& file) {
  const auto blocks = file.blocks();
  return std::any_of(blocks.begin(), blocks.end(), [](const auto& block) { return block.usClass == ORB_CLS_PEAKS; });
}

}  // namespace

std::vector<FittedPeak> readFittedPeaks(const File& file) {
  require(hasTable(file), ENG_NOPEAKS);
  std::vector<FittedPeak> peaks;
  const USHORT records = file.records(ORB_CLS_PEAKS);
  for (unsigned i = 1; i <= records; ++i) {
    const auto record = static_cast<USHORT>(i);
    const auto area = file.find(0x2006000C, record);
    const auto energy = file.find(0x20060007, record);
    const auto marks = static_cast<int>(file.number(0x20060040, 0, record));
    if (!area || !energy || (marks & kMarkNotFitted) != 0) continue;
    FittedPeak peak;
    peak.record = record;
    peak.energy = *energy;
    peak.area = *area - file.number(0x20060054, 0, record);
    peak.area_u = std::hypot(file.number(0x2006000D, 0, record), file.number(0x20060055, 0, record));
    peak.fwhm = file.number(0x20060024, 0, record);
    if (std::isfinite(peak.energy) && std::isfinite(peak.area) && std::isfinite(peak.area_u)) peaks.push_back(peak);
  }
  require(!peaks.empty() || records == 0, ENG_NOPEAKS);
  return peaks;
}

}  // namespace orbengine
