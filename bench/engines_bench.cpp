// Engines and sequences: what running a sequence adds to loading its libraries, and the whole analysis beside the fit
// alone.
#include <dlfcn.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "FileAccess.h"
#include "analysed_spectrum.h"
#include "anautils.h"
#include "orbparams.h"
#include "programs.h"
#include "sample_files.h"
#include "suites.h"

namespace {

using com::norvale::datatypes::Variant;
using com::norvale::orb::FileAccess;

constexpr int kEmptyEngines = 5;
constexpr int kBatchSpectra = 200;

std::string emptyEngine(int number) {
  return std::string(EMPTY_ENGINES) + "/libempty_engine_" + std::to_string(number) + ".so";
}

const std::string& catalogue() {
  static const std::string path = [] {
    const std::string made = samplePath("empty.aef");
    std::ofstream out(made);
    for (int i = 1; i <= kEmptyEngines; ++i)
      out << "Empty$0$Does nothing$empty " << i << "$0$libempty_engine_" << i << ".so!RunEmpty\n";
    return made;
  }();
  return path;
}

void runSequence(benchmark::State& state) {
  const std::string path = samplePath("sequence.dat");
  std::filesystem::remove(path);
  FileAccess file;
  if (file.create(path, 1024, false) != 0) return state.SkipWithError("create");
  for (int i = 1; i <= kEmptyEngines; ++i)
    file.setParameter(ORB_T_ACENGNAME, Variant("empty " + std::to_string(i)), static_cast<std::uint16_t>(i), 0);
  const std::string folder = std::string(EMPTY_ENGINES) + "/";
  for (auto _ : state)
    if (file.executeSequence(file, catalogue(), folder, false) != 0) state.SkipWithError("sequence");
}

/// The same libraries and the same text by hand.
void loadByHand(benchmark::State& state) {
  for (auto _ : state) {
    std::ifstream in(catalogue());
    std::string line;
    while (std::getline(in, line) && !line.empty()) benchmark::DoNotOptimize(line.data());
    for (int i = 1; i <= kEmptyEngines; ++i) {
      void* const library = dlopen(emptyEngine(i).c_str(), RTLD_NOW | RTLD_LOCAL);
      if (library == nullptr) return state.SkipWithError("dlopen");
      benchmark::DoNotOptimize(dlsym(library, "RunEmpty"));
      dlclose(library);
    }
  }
}

/// The spectrum of the analysis suite as a file, for the tool.
const std::string& spectrumFile() {
  static const std::string path = [] {
    const std::string made = samplePath("sixty_lines.dat");
    std::filesystem::remove(made);
    writeAnalysedSpectrum(made);
    return made;
  }();
  return path;
}

void fitAlone(benchmark::State& state) {
  FileAccess file;
  const std::string path = samplePath("fit_alone.dat");
  std::filesystem::remove(path);
  std::filesystem::copy_file(spectrumFile(), path);
  if (file.open(path, com::norvale::orb::READWRITE) != 0) return state.SkipWithError("open");
  for (auto _ : state) {
    state.PauseTiming();
    if (AA_2nd_Diff_Peak_Loc(file.handle(), 0, 0, 0) != ANA_OK) state.SkipWithError("location");
    state.ResumeTiming();
    if (lPANolin(file.handle(), 0, 0, 0) != ANA_OK) state.SkipWithError("fit");
  }
}

void batch(benchmark::State& state, const char* jobs) {
  const std::string inputs = samplePath("batch_in");
  const std::string outputs = samplePath("batch_out");
  std::filesystem::create_directories(inputs);
  for (int i = 0; i < kBatchSpectra; ++i) {
    const std::string path = inputs + "/s" + std::to_string(i) + ".dat";
    if (!std::filesystem::exists(path)) std::filesystem::copy_file(spectrumFile(), path);
  }
  for (auto _ : state) {
    state.PauseTiming();
    std::filesystem::remove_all(outputs);
    state.ResumeTiming();
    if (!runQuietly({ORB_TOOL, "batch", inputs, "-o", outputs, "--jobs", jobs})) state.SkipWithError("batch");
  }
}

}  // namespace

std::vector<Comparison> enginesSuite() {
  const auto add = [](const char* name, auto function) {
    return benchmark::RegisterBenchmark(name, function)->UseRealTime();
  };
  add("sequence", runSequence);
  add("sequence.dlopen", loadByHand);
  add("analyze", [](benchmark::State& state) {
    for (auto _ : state)
      if (!runQuietly({ORB_TOOL, "analyze", spectrumFile(), "-o", samplePath("analysed.dat"), "--force"}))
        state.SkipWithError("analyze");
  });
  add("analyze.fit", fitAlone);
  for (const char* const jobs : {"1", "2"}) {
    const std::string name = std::string("batch") + jobs;
    add(name.c_str(), [jobs](benchmark::State& state) { batch(state, jobs); })->Iterations(1)->Repetitions(2);
  }
  return {
      {"a sequence of 5 empty engines", "sequence", "dlopen, dlsym, dlclose and the catalogue", "sequence.dlopen", 1.3},
      {"orb analyze, 60 lines of 16384 channels, start to end", "analyze", "the fit of its lines", "analyze.fit", 8},
      {"orb batch, 200 spectra, 2 jobs", "batch2", "1 job", "batch1", 1 / 1.8},
  };
}
