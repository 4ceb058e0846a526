#include "nuclide_results.h"

#include <cmath>
#include <cstdio>

#include "blocks.h"
#include "comdefs.h"
#include "failure.h"
#include "orbparams.h"

namespace com::norvale::measurement {

namespace {

std::optional<double> findAt(const FileAccess& file, std::uint32_t code, std::uint16_t record,
                             std::uint16_t entry = 0) {
  const auto value = findValue(file, code, record, entry);
  return value ? std::optional(value->toDouble()) : std::nullopt;
}

double numberAt(const FileAccess& file, std::uint32_t code, std::uint16_t record, std::uint16_t entry = 0) {
  return findAt(file, code, record, entry).value_or(0);
}

std::string textAt(const FileAccess& file, std::uint32_t code, std::uint16_t record) {
  const auto value = findValue(file, code, record);
  return value ? value->toString() : std::string();
}

std::uint16_t countEntries(const FileAccess& file, std::uint16_t cls, std::uint16_t record) {
  std::uint16_t count = 0;
  require(file.countItems(cls, count, record), file.name(), "cannot count the lines of a nuclide");
  return count;
}

Nuclide readNuclide(const FileAccess& file, std::uint16_t record) {
  Nuclide row;
  row.name = textAt(file, ORB_T_NUNAME, record);
  row.confidence = numberAt(file, ORB_D_NUCONF, record);
  row.activity_bq = findAt(file, ORB_D_NUREFACT, record);
  row.activity_unc_bq = findAt(file, ORB_D_NUREFACTUNC, record);
  row.marks = static_cast<int>(numberAt(file, ORB_L_NUSTATUS, record));
  const std::uint16_t entries = countEntries(file, ORB_CLS_NUCRESULTS, record);
  for (std::uint32_t i = 1; i <= entries; ++i) {
    const auto entry = static_cast<std::uint16_t>(i);
    row.lines.push_back({numberAt(file, ORB_D_NLRENERGY, record, entry),
                         static_cast<int>(numberAt(file, ORB_L_NLRPEAK, record, entry))});
  }
  return row;
}

Limit readLimit(const FileAccess& file, std::uint16_t record) {
  Limit row;
  row.name = textAt(file, ORB_T_DLNAME, record);
  row.key_energy_keV = numberAt(file, ORB_D_DLKEYENERGY, record);
  row.threshold_bq = findAt(file, ORB_D_DLTHRESHOLD, record);
  row.limit_bq = findAt(file, ORB_D_DLLIMIT, record);
  row.threshold_counts = findAt(file, ORB_D_DLTHRCOUNTS, record);
  row.limit_counts = findAt(file, ORB_D_DLLIMCOUNTS, record);
  return row;
}

}  // namespace

NuclideResults readNuclides(const FileAccess& file) {
  NuclideResults results;
  results.library = {findText(file, ORB_T_NULIBRARY), findText(file, ORB_T_NULIBHASH)};
  results.limit_library = {findText(file, ORB_T_DLLIBRARY), findText(file, ORB_T_DLLIBHASH)};
  results.sequence = {findText(file, ORB_T_ACSOURCE), findText(file, ORB_T_ACSOURCEHASH)};
  for (const AioBlockInfo_T& block : listBlocks(file)) {
    results.is_analysed |= block.usClass == ORB_CLS_NUCRESULTS;
    for (std::uint32_t i = 1; i <= block.usRecords; ++i) {
      const auto record = static_cast<std::uint16_t>(i);
      if (block.usClass == ORB_CLS_NUCRESULTS) results.nuclides.push_back(readNuclide(file, record));
      if (block.usClass == ORB_CLS_LIMITS) results.not_found.push_back(readLimit(file, record));
      if (block.usClass != ORB_CLS_PEAKS || numberAt(file, ORB_B_PKUNIDENT, record) == 0) continue;
      if (const auto energy = findAt(file, ORB_D_PKENERGY, record)) results.unidentified.push_back(*energy);
    }
  }
  return results;
}

}  // namespace com::norvale::measurement
