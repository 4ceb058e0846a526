// Puts arbitrary values into a spectrum file and runs every routine and every engine on it.
//
// Input: the number of channels and the shape of the spectrum, then commands of ten bytes: what, which, where, value.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "EngineCatalogue.h"
#include "FileAccess.h"
#include "aiolib.h"
#include "anautils.h"
#include "fuzz_support.h"
#include "scratch_folder.h"
#include "silent_log.h"

using com::norvale::datatypes::Variant;
namespace orb = com::norvale::orb;

namespace {

class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
  bool empty() const { return size_ == 0; }
  template <typename T>
  T take() {
    T value{};
    const std::size_t n = size_ < sizeof value ? size_ : sizeof value;
    std::memcpy(&value, data_, n);
    data_ += n;
    size_ -= n;
    return value;
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
};

void makeLibrary(const std::string& path) {
  orb::FileAccess library;
  fuzz::require(library.open(path, orb::CREATE) == 0);
  std::uint16_t record = 0;
  for (const auto& [name, energy] :
       {std::pair{"Cs-137", 331.0}, {"Co-60", 586.6}, {"Co-60", 666.2}, {"Am-241", 29.7}}) {
    library.setParameter(0x20070001, std::string(name), ++record, 0);
    library.setParameter(0x20070002, energy, record, 0);
    library.setParameter(0x20070004, 85.0, record, 0);
    library.setParameter(0x20070006, 1e9, record, 0);
  }
  fuzz::require(library.close(orb::FLUSH) == 0);
}

std::vector<ULONG> allCodes() {
  std::vector<ULONG> codes;
  for (ULONG code = 0; AioUtilNextParam(nullptr, code, &code) == AIO_OK;) codes.push_back(code);
  return codes;
}

void putSpectrum(orb::FileAccess& file, std::uint32_t channels, std::uint8_t shape, Input& input) {
  std::vector<float> counts(channels);
  const float base = static_cast<float>(shape & 15) * static_cast<float>(shape & 15);
  for (std::uint32_t i = 0; i < channels; ++i) {
    counts[i] = base + static_cast<float>((i * 2654435761u >> 28) & (shape & 7u));
    for (const float centre : {29.7f, 150.f, 155.f, 331.f, 586.6f, 666.2f}) {
      const float x = (static_cast<float>(i) - centre) / (1 + static_cast<float>(shape >> 6));
      if ((shape & 0x20) != 0 && std::fabs(x) < 6) counts[i] += std::round(900 * std::exp(-x * x / 2));
    }
  }
  for (std::uint8_t n = input.take<std::uint8_t>() % 8; n > 0; --n) {
    const std::uint32_t at = input.take<std::uint16_t>() % channels;
    counts[at] = input.take<float>();
  }
  file.setSpectrum(counts, 1, 1);
}

void command(orb::FileAccess& file, Input& input) {
  static const std::vector<ULONG> codes = allCodes();
  const auto what = input.take<std::uint8_t>();
  const ULONG code = codes[input.take<std::uint16_t>() % codes.size()];
  const auto record = input.take<std::uint8_t>();
  if (what % 8 == 7) {
    file.insertItem(code, record, 0);
  } else if (what % 8 == 6) {
    const std::string text(1, static_cast<char>(input.take<std::uint8_t>()));
    try {
      file.setParameter(code, Variant(text), record, 0);
    } catch (const std::invalid_argument&) {  // no text for a number
    }
  } else if (what % 8 == 5) {
    file.setParameter(code, Variant(static_cast<std::int32_t>(input.take<std::int16_t>())), record, what >> 6);
  } else if (what % 8 == 4) {
    file.setParameter(code, Variant(input.take<double>()), record, what >> 6);
  } else {  // numbers as they are common
    file.setParameter(code, Variant(input.take<std::int16_t>() * std::pow(10, what % 8 - 2)), record, what >> 6);
  }
}

void evaluate(const orb::FileAccess& file) {
  for (std::uint32_t option = 0; option <= orb::ENERGY2PEAK2TOTAL; ++option)
    for (const float at : {0.f, 1e-3f, 331.f, 3e4f})
      file.evaluate(static_cast<orb::EvaluationOption>(option), at, true);
}

void runRoutines(orb::FileAccess& file) {
  evaluate(file);
  lEncal1(file.handle(), 1, 0, 0);
  lEncal2(file.handle(), 1, nullptr, nullptr);
  lEfcal(file.handle(), 1, nullptr, nullptr);
  evaluate(file);
  lPANolin(file.handle(), 0, 0, 0);  // lines that somebody else located
  std::vector<double> model(1 << 12);
  ULONG first = 0;
  ULONG n = 0;
  for (LONG region = 1; region < 4; ++region)
    lFittedRegion(file.handle(), region, 1 << 12, &first, &n, nullptr, model.data());
  file.determineRegion(150, 0, true);
  file.quantifyRegion(140, 165, orb::USE_DEFAULT_OPTIONS, orb::STEP, 1, true);
}

void runEngines(orb::FileAccess& file) {
  static const std::string folder = FUZZ_ENGINES "/";
  static const auto engines = parseAEF(folder + "engines.aef");
  fuzz::require(!engines.empty());
  std::uint16_t step = 0;
  for (const auto& engine : engines) file.execute(engine.Function, folder + engine.Resource, ++step);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const orbtest::ScratchFolder scratch;
  static const std::string library = scratch / "lib.nlb";
  static const bool has_library = (makeLibrary(library), true);
  fuzz::require(has_library);
  if (size < 4) return 0;
  Input input(data, size);
  orb::FileAccess file;
  const std::uint32_t channels = 1 + input.take<std::uint16_t>() % 1024;
  const auto shape = input.take<std::uint8_t>();
  fuzz::require(file.create(scratch / "fuzz.dat", channels, (shape & 0x10) != 0) == 0);
  putSpectrum(file, channels, shape, input);
  for (const ULONG code : {0x2010004Au, 0x20100072u}) file.setParameter(code, library, 0, 0);
  file.setParameter(0x20000021, 2.0, 0, 0);  // an energy calibration, unless the input has another
  while (!input.empty()) command(file, input);
  runEngines(file);
  runRoutines(file);
  runEngines(file);
  fuzz::require(file.close(orb::DELETE) == 0);
  return 0;
}
