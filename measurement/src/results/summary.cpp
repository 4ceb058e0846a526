#include "summary.h"

#include <cmath>
#include <cstdio>

#include "orbparams.h"

namespace com::norvale::measurement {

namespace {

void readSpectra(const FileAccess& file, Summary& summary) {
  const AioBlockInfo_T* const block = findSpectralBlock(summary.blocks);
  if (block == nullptr) return;
  summary.channels = block->ulChannels;
  summary.total_counts = 0.0;
  for (const AioSpectrumInfo_T& written : listSpectra(file)) {
    const Counts counts = readCounts(file, *block, written.ulGroup, written.ulRow);
    summary.spectra.push_back({written.ulGroup, written.ulRow, counts.is_real, counts.total()});
    if (written.ulGroup == 1 && written.ulRow == 1) summary.total_counts = counts.total();
  }
}

}  // namespace

Summary summarise(const FileAccess& file) {
  Summary summary;
  summary.file = file.name();
  summary.blocks = listBlocks(file);
  summary.title = findText(file, ORB_T_CTITLE);
  summary.detector = findText(file, ORB_T_DETTYPE);
  if (const auto start = findValue(file, ORB_X_ACQSTART)) summary.start = start->toString();
  summary.live_s = findNumber(file, ORB_D_LIVETIME);
  summary.real_s = findNumber(file, ORB_D_REALTIME);
  summary.channels = static_cast<std::uint32_t>(findNumber(file, ORB_L_CHANNELS).value_or(0));
  readSpectra(file, summary);
  summary.energy = readEnergyCalibration(file);
  summary.fwhm = readFwhmCalibration(file);
  return summary;
}

}  // namespace com::norvale::measurement
