// The tool: reading spectra in text formats beside std::from_chars over the same numbers, and the start of a command.
#include <charconv>
#include <cmath>
#include <string>
#include <vector>

#include "programs.h"
#include "sample_files.h"
#include "spectrum_data.h"
#include "suites.h"

namespace {

using orb::formats::SpectrumData;

SpectrumData madeUpSpectrum(std::size_t channels) {
  SpectrumData spectrum;
  spectrum.name = "made up";
  spectrum.live_s = 3600;
  spectrum.real_s = 3660;
  spectrum.energy.coefficients = {0.25, 0.1875};
  spectrum.counts.resize(channels);
  for (std::size_t i = 0; i < channels; ++i) {
    const double x = static_cast<double>(i);
    spectrum.counts[i] = std::floor(90000 * std::exp(-x / 3000) + static_cast<double>(i * 7919 % 97));
  }
  return spectrum;
}

const std::string& spe() {
  static const std::string text = orb::formats::writeSpe(madeUpSpectrum(16384)).text;
  return text;
}

/// About 1 MB: twelve spectra.
const std::string& n42() {
  static const std::string text = [] {
    const std::vector<SpectrumData> spectra(12, madeUpSpectrum(16384));
    return orb::formats::writeN42(spectra).text;
  }();
  return text;
}

/// What stands between two marks, for all pairs of them.
std::string between(const std::string& text, const char* open, const char* close) {
  std::string numbers;
  for (std::size_t at = text.find(open); at != std::string::npos; at = text.find(open, at)) {
    const std::size_t from = text.find_first_of(">\n", at) + 1;
    const std::size_t to = text.find(close, from);
    numbers += text.substr(from, to - from) + "\n";
    at = to;
  }
  return numbers;
}

const std::string& speNumbers() {
  static const std::string numbers = between(spe(), "$DATA:", "$");
  return numbers;
}
const std::string& n42Numbers() {
  static const std::string numbers = between(n42(), "<ChannelData", "<");
  return numbers;
}

void readOurs(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    auto spectra = orb::formats::readSpectra(text, "bench");
    benchmark::DoNotOptimize(spectra.front().counts.data());
  }
}

template <typename Number>
void readFromChars(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    std::vector<Number> numbers;
    const char* at = text.data();
    const char* const end = at + text.size();
    while (at != end) {
      Number number{};
      const auto [next, error] = std::from_chars(at, end, number);
      if (error == std::errc()) numbers.push_back(number);
      at = error == std::errc() ? next : at + 1;
    }
    benchmark::DoNotOptimize(numbers.data());
  }
}

void runProgram(benchmark::State& state, const std::vector<std::string>& words) {
  for (auto _ : state)
    if (!runQuietly(words)) state.SkipWithError(words.front().c_str());
}

const std::string& smallFile() {
  static const std::string path = [] {
    std::string made = samplePath("small.orb");
    makeSampleFile(made, 1024);
    return made;
  }();
  return path;
}

}  // namespace

std::vector<Comparison> toolSuite() {
  const auto add = [](const char* name, auto function) { benchmark::RegisterBenchmark(name, function)->UseRealTime(); };
  add("spe", [](benchmark::State& state) { readOurs(state, spe()); });
  add("spe.chars", [](benchmark::State& state) { readFromChars<double>(state, speNumbers()); });
  add("spe.chars_int", [](benchmark::State& state) { readFromChars<long>(state, speNumbers()); });
  add("n42", [](benchmark::State& state) { readOurs(state, n42()); });
  add("n42.chars", [](benchmark::State& state) { readFromChars<double>(state, n42Numbers()); });
  add("n42.chars_int", [](benchmark::State& state) { readFromChars<long>(state, n42Numbers()); });
  add("start", [](benchmark::State& state) { runProgram(state, {ORB_TOOL, "get", smallFile(), "ORB_L_CHANNELS"}); });
  add("start.sqlite", [](benchmark::State& state) { runProgram(state, {"sqlite3", smallFile(), "select 1"}); });
  return {
      {"read a 16384-channel .spe", "spe", "from_chars, doubles", "spe.chars", 3},
      {"read a 16384-channel .spe", "spe", "from_chars, integers", "spe.chars_int", 3},
      {"read an N42 of 1 MB", "n42", "from_chars, doubles", "n42.chars", 3},
      {"read an N42 of 1 MB", "n42", "from_chars, integers", "n42.chars_int", 3},
      {"orb get, start to end", "start", "sqlite3 FILE 'select 1'", "start.sqlite", 3},
  };
}
