#pragma once
#include <string>
#include <vector>

#include "aioproto.h"
#include "kernel/region_fit.h"
#include "line_calibration.h"

/// The table of lines of a file (class 0x2006), one record a line.
namespace anautils {

struct LocatedLine {
  double position = 0;  ///< [channel]
  double significance = 0;
};

/// The located lines in order of position. Throws Failure(ANA_NOPEAKTABLE) when the file has no such block.
std::vector<LocatedLine> readLocatedLines(void* handle);

/// Replaces the table. What was found from the lines before, nuclides and limits, goes with them.
void writeLocatedLines(void* handle, const std::vector<LocatedLine>& lines, const LineCalibration& calibration);

/// A fitted region with what belongs to each of its lines in the table.
struct TableRegion {
  RegionFit fit;
  std::vector<LocatedLine> located;  ///< by the `start` of a fitted line
  int marks = 0;                     ///< of the region: values of ORB_L_PKSTATUS
};

enum PeakMark {
  kMarkNotConverged = 1,
  kMarkOnBound = 2,
  kMarkBadFit = 4,
  kMarkCut = 8,
  kMarkOverflow = 16,
  kMarkExtrapolated = 32,
  kMarkSingular = 64,
  kMarkNotFitted = 128
};

/// What the results of a fit are turned into numbers with.
struct TableContext {
  const LineCalibration& calibration;
  double live_s = 0;  ///< 0: no rates
  double quantile = 1.645;
};

/// Replaces the table by fitted lines. A region that could not be fitted leaves its located lines, marked.
void writeFittedLines(void* handle, const std::vector<TableRegion>& regions, const TableContext& context);

}  // namespace anautils
