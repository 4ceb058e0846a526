#include "nuclide_library.h"

#include <dlfcn.h>

#include <filesystem>
#include <unordered_map>

#include "engine.h"
#include "known_files.h"
#include "sha256.h"

namespace orbengine {

namespace {

namespace fs = std::filesystem;

constexpr const char* kDataInBuildTree = "../data";

/// The folder of the shared library that holds this code.
fs::path engineFolder() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&findLibrary), &info) == 0 || info.dli_fname == nullptr) return {};
  std::error_code ignored;
  return fs::absolute(info.dli_fname, ignored).parent_path();
}

fs::path dataFileFolder(void* handle) {
  std::string path(4096, '\0');
  check(AioFileInfo(handle, path.data(), static_cast<ULONG>(path.size()), nullptr));
  fs::path folder = fs::path(path.c_str()).parent_path();
  // A draft of a draft, too: the copy on which a step works alone.
  while (com::norvale::datatypes::isDraftFolder(folder.filename().string())) folder = folder.parent_path();
  return folder;
}

/// A value that is not possible counts as not known.
double notNegative(double value) {
  return std::isfinite(value) && value > 0 ? value : 0;
}

LibraryLine lineOf(const File& file, USHORT record) {
  LibraryLine line;
  line.energy = file.number(ORB_D_NLENERGY, 0, record);
  line.energy_u = file.number(ORB_D_NLENERGYUNC, 0, record);
  line.probability = file.number(ORB_D_NLPROB, 0, record) / 100;
  line.probability_u = notNegative(file.number(ORB_D_NLPROBUNC, 0, record)) / 100;
  line.is_key = file.number(ORB_B_NLKEY, 0, record) != 0;
  line.no_activity = file.number(ORB_B_NLNOACT, 0, record) != 0;
  const std::string radiation = file.text(ORB_T_NLRADTYPE, record);
  line.is_annihilation = radiation == "annihilation";
  line.is_x_ray = radiation == "xray";
  return line;
}

bool isUsable(const LibraryLine& line) {
  return std::isfinite(line.energy) && line.energy > 0 && std::isfinite(line.probability) && line.probability > 0;
}

std::vector<LibraryNuclide> readNuclides(const std::string& path) {
  const OtherFile library(path, ENG_BADLIBRARY);
  const File file = library.values();
  std::vector<LibraryNuclide> nuclides;
  std::unordered_map<std::string, std::size_t> places;
  for (const USHORT record : file.eachRecord(ORB_CLS_NUCLIB)) {
    const std::string name = file.text(ORB_T_NLNAME, record);
    const LibraryLine line = lineOf(file, record);
    if (name.empty() || !isUsable(line)) continue;
    const auto [place, is_new] = places.try_emplace(name, nuclides.size());
    if (is_new) {
      LibraryNuclide nuclide;
      nuclide.name = name;
      nuclide.parent = file.text(ORB_T_NLPARENT, record);
      nuclide.half_life_s = notNegative(file.number(ORB_D_NLHALFLIFE, 0, record));
      nuclide.half_life_u = notNegative(file.number(ORB_D_NLHALFLIFEUNC, 0, record));
      nuclides.push_back(nuclide);
    }
    nuclides[place->second].lines.push_back(line);
  }
  require(!nuclides.empty(), ENG_BADLIBRARY);
  return nuclides;
}

}  // namespace

std::vector<LibraryNuclide> fluorescenceLines() {
  struct Line {
    double energy, intensity;
  };
  const auto element = [](const char* name, std::initializer_list<Line> lines) {
    LibraryNuclide x_rays;
    x_rays.name = name;
    x_rays.is_fluorescence = true;
    for (const Line& line : lines) {
      LibraryLine entry;
      entry.energy = line.energy;
      entry.probability = line.intensity;
      entry.no_activity = true;
      x_rays.lines.push_back(entry);
    }
    return x_rays;
  };
  return {element("Pb X-ray", {{74.970, 1.0}, {72.805, 0.594}, {84.953, 0.341}, {87.576, 0.103}}),
          element("Bi X-ray", {{77.109, 1.0}, {74.816, 0.598}, {87.347, 0.343}, {90.076, 0.105}}),
          element("Po X-ray", {{79.293, 1.0}, {76.864, 0.6}, {89.809, 0.344}, {92.621, 0.107}}),
          element("Rn X-ray", {{83.78, 1.0}, {81.07, 0.606}, {94.855, 0.346}}),
          element("Th X-ray", {{93.351, 1.0}, {89.954, 0.61}, {105.554, 0.366}, {108.969, 0.12}}),
          element("U X-ray", {{98.44, 1.0}, {94.666, 0.624}, {111.228, 0.364}})};
}

std::string findLibrary(const std::string& name, void* handle) {
  std::error_code ignored;
  if (name.find('/') != std::string::npos) {
    require(fs::is_regular_file(name, ignored), ENG_NOLIBRARY);
    return fs::absolute(name).lexically_normal().string();
  }
  const fs::path engines = engineFolder();
  const auto found = com::norvale::datatypes::findKnownFile(
      name, {(engines / ORB_DATA_FROM_ENGINES).string(), (engines / kDataInBuildTree).string()},
      dataFileFolder(handle).string());
  require(found.has_value(), ENG_NOLIBRARY);
  return *found;
}

std::string shortened(const std::string& path) {
  constexpr std::size_t kLongest = 255;
  return path.size() <= kLongest ? path : path.substr(path.size() - kLongest);
}

NuclideLibrary readLibrary(const std::string& path) {
  NuclideLibrary library;
  library.path = path;
  const auto hash = com::norvale::datatypes::sha256OfRead(path, [&] { library.nuclides = readNuclides(path); });
  require(hash.has_value(), ENG_BADLIBRARY);
  library.hash = *hash;
  return library;
}

}  // namespace orbengine
