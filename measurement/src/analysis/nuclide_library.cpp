#include "nuclide_library.h"

#include <algorithm>
#include <cctype>

#include "blocks.h"
#include "comdefs.h"
#include "data_folders.h"
#include "failure.h"
#include "orbparams.h"
#include "words.h"

namespace com::norvale::measurement {

namespace {

std::string bareName(const std::string& nuclide) {
  std::string bare;
  for (const char c : nuclide)
    if (c != ' ' && c != '-') bare += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return bare;
}

LibraryLine readLine(const FileAccess& file, std::uint16_t record) {
  const auto number = [&](std::uint32_t code) {
    const auto value = findValue(file, code, record);
    return value ? value->toDouble() : 0.0;
  };
  const auto text = [&](std::uint32_t code) {
    const auto value = findValue(file, code, record);
    return value ? value->toString() : std::string();
  };
  LibraryLine line;
  line.record = record;
  line.nuclide = text(ORB_T_NLNAME);
  line.energy_keV = number(ORB_D_NLENERGY);
  line.energy_unc_keV = number(ORB_D_NLENERGYUNC);
  line.probability = number(ORB_D_NLPROB);
  line.probability_unc = number(ORB_D_NLPROBUNC);
  line.half_life_s = number(ORB_D_NLHALFLIFE);
  line.is_key = number(ORB_B_NLKEY) != 0;
  line.type = text(ORB_T_NLRADTYPE);
  if (line.type.empty()) line.type = "gamma";
  line.parent = text(ORB_T_NLPARENT);
  return line;
}

}  // namespace

std::string findLibrary(const std::string& name) {
  const std::string wanted = name.empty() ? "STDLIB.NLB" : name;
  if (const auto path = findDataFile(wanted)) return *path;
  throw Failure(wanted, "cannot open the nuclide library", convertReturnCode(AIO_NOFILE));
}

std::vector<LibraryLine> readLibrary(const std::string& path) {
  FileAccess file;
  openForReading(file, path);
  std::vector<LibraryLine> lines;
  for (const AioBlockInfo_T& block : listBlocks(file)) {
    if (block.usClass != ORB_CLS_NUCLIB) continue;
    for (std::uint32_t record = 1; record <= block.usRecords; ++record)
      lines.push_back(readLine(file, static_cast<std::uint16_t>(record)));
  }
  if (lines.empty()) throw Failure(path, "no nuclide library", convertReturnCode(AIO_NOBLOCK));
  return lines;
}

std::vector<LibraryLine> linesOfNuclide(const std::vector<LibraryLine>& library, const std::string& nuclide,
                                        const std::string& path) {
  std::vector<LibraryLine> lines;
  for (const LibraryLine& line : library)
    if (bareName(line.nuclide) == bareName(nuclide)) lines.push_back(line);
  if (lines.empty()) throw Failure(path, "no lines of '" + escapeLine(nuclide) + "'");
  std::stable_sort(lines.begin(), lines.end(),
                   [](const LibraryLine& a, const LibraryLine& b) { return a.probability > b.probability; });
  return lines;
}

std::vector<LibraryLine> gammaLinesOfNuclide(const std::vector<LibraryLine>& library, const std::string& nuclide,
                                             const std::string& path) {
  std::vector<LibraryLine> lines = linesOfNuclide(library, nuclide, path);
  lines.erase(std::remove_if(lines.begin(), lines.end(), [](const LibraryLine& line) { return line.type == "xray"; }),
              lines.end());
  if (lines.empty()) throw Failure(path, "only X-rays of '" + escapeLine(nuclide) + "'");
  return lines;
}

}  // namespace com::norvale::measurement
