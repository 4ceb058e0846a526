// Every allocation of every operation of the file object fails, one each time: once, or with all that follow.
//   reliability_allocation_object ENGINES-FOLDER [OPERATION]
// An operation that reports nothing must have done what it does with all memory. One that reports a failure, by its
// answer, by an exception or in the log, leaves the file on disk as it was or as it ought to be.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "FileAccess.h"
#include "fail_allocation.h"
#include "fault_support.h"
#include "report.h"
#include "writelog.h"

namespace {

using namespace com::norvale::orb;
using com::norvale::datatypes::Variant;
namespace vyx = com::norvale::application::vyx;
namespace fs = std::filesystem;

constexpr int kChannels = 1024;

struct Line {
  const char* nuclide;
  double energy, probability;
};
constexpr Line kLines[] = {
    {"Cs-137", 661.66, 85.1}, {"Co-60", 1173.23, 99.85}, {"Co-60", 1332.49, 99.98}, {"Mn-54", 834.85, 99.98}};

/// Two nuclides on a slope, 1.5 keV a channel, without noise; a sequence of all engines.
void prepareFile(const fs::path& path, const std::string& library) {
  FileAccess file;
  file.create(path.string(), kChannels, false);
  std::vector<int> counts(kChannels);
  for (int channel = 1; channel <= kChannels; ++channel) {
    double expected = 200 - 0.1 * channel;
    for (const Line& line : kLines) {
      const double z = (channel - line.energy / 1.5) / 2.2;
      expected += std::string(line.nuclide) == "Mn-54" ? 0 : 900 * std::exp(-z * z / 2);
    }
    counts[static_cast<std::size_t>(channel - 1)] = static_cast<int>(std::lround(expected));
  }
  file.setSpectrum(counts, 1, 1);
  const std::pair<std::uint32_t, Variant> values[] = {
      {0x20000001, Variant(5.1e16)},     {0x20000002, Variant(std::string(200, 't'))},
      {0x20000005, Variant(1000.0)},     {0x20000020, Variant(0.0)},
      {0x20000021, Variant(1.5)},        {0x20000022, Variant(1e-7)},
      {0x20000048, Variant(4.0)},        {0x20000049, Variant(0.1)},
      {0x2010004A, Variant(library)},    {0x20100072, Variant(library)},
      {0x20020028, Variant("INTERPOL")}, {0x20000249, Variant(1.0)}};
  for (const auto& [code, value] : values) file.setParameter(code, value, 0, 0);
  for (const std::uint16_t record : {std::uint16_t{1}, std::uint16_t{2}}) {
    file.setParameter(0x20020020, Variant(record == 1 ? 50.0 : 1500.0), record, 0);
    file.setParameter(0x20020021, Variant(0.02 / record), record, 0);
    file.setParameter(0x20020022, Variant(0.001), record, 0);
  }
  std::uint16_t step = 0;
  for (const char* const engine : {"energy and shape check", "calibration adjustment", "peak location", "peak area",
                                   "efficiency correction", "nuclide identification", "detection limits"})
    file.setParameter(0x2010006D, Variant(engine), ++step, 0);
  file.setParameter(0x2010006F, Variant("ORB_F_LOCTHRESH=4 ORB_F_LOCCUT=3.5"), 3, 0);
  file.close(FLUSH);
}

void prepareLibrary(const fs::path& path) {
  FileAccess library;
  library.open(path.string(), CREATE);
  std::uint16_t record = 0;
  for (const Line& line : kLines) {
    ++record;
    library.setParameter(0x20070001, Variant(line.nuclide), record, 0);
    library.setParameter(0x20070002, Variant(line.energy), record, 0);
    library.setParameter(0x20070004, Variant(line.probability), record, 0);
    library.setParameter(0x20070009, Variant(true), record, 0);
  }
  library.close(FLUSH);
}

/// Folder and files of one try.
struct Bench {
  fs::path folder;
  std::string engines;
  FileAccess file;   // open for writing, a copy of the prepared one
  FileAccess other;  // with blocks of its own, open for writing
  std::string path(const char* name) const { return (folder / name).string(); }
};

/// What an operation answers, in words; "!" in front when it tells a failure.
using Operation = std::function<std::string(Bench&)>;

std::string words(std::uint32_t code) {
  return code == 0 ? "0" : "!" + std::to_string(code);
}

std::string words(const ParameterMap& values) {
  std::string text;
  for (const auto& [code, value] : values) text += std::to_string(code) + "=" + value.toString() + " ";
  return text;
}

std::string estimate(Bench& bench, EvaluationOption option, float at) {
  const auto found = bench.file.evaluate(option, at, false);
  return std::to_string(found.value) + " +- " + std::to_string(found.uncertainty);
}

/// For operations that go on after a block that cannot be made, which is for the caller to look after.
std::string withBlocks(const FileAccess& file, std::initializer_list<unsigned> classes) {
  AioBlockInfo_T blocks[64];
  ULONG n = 0;
  const ULONG status = AioListBlocks(file.handle(), blocks, 64, &n);
  const bool are_there = std::all_of(classes.begin(), classes.end(), [&](unsigned cls) {
    return std::any_of(blocks, blocks + n, [&](const AioBlockInfo_T& block) { return block.usClass == cls; });
  });
  return words(status != 0 ? status : are_there ? 0 : kNoBlock);
}

CalibrationPoints points(std::initializer_list<std::pair<float, float>> numbers) {
  CalibrationPoints points;
  for (const auto& [x, y] : numbers) points.push_back({{x, 0}, {y, 0.1f}});
  return points;
}

const std::pair<const char*, Operation> kOperations[] = {
    {"create",
     [](Bench& b) {
       FileAccess file;
       const std::uint32_t code = file.create(b.path("new"), 64, true);
       return code != 0 ? words(code) : withBlocks(file, {ORB_CLS_ACQUISITION, ORB_CLS_ANALCNTL, ORB_CLS_SPECTRUM});
     }},
    {"open", [](Bench& b) { return words(FileAccess().open(b.path("other.dat"), READONLY)); }},
    {"close with flush",
     [](Bench& b) {
       b.file.setParameter(0x20000002, Variant(std::string(300, 'x')), 0, 0);
       return words(b.file.close(FLUSH));
     }},
    {"flush",
     [](Bench& b) {
       const std::uint32_t code = b.file.deleteBlock(0x20020000);
       return words(code != 0 ? code : b.file.flush());
     }},
    {"getParameter",
     [](Bench& b) {
       Variant value;
       const std::uint32_t code = b.file.getParameter(0x20000002, value, 0, 0);
       return code != 0 ? words(code) : value.toString();
     }},
    {"getParameters",
     [](Bench& b) {
       ParameterMap values{{0x20000002, {}}, {0x20000005, {}}, {0x20020028, {}}};
       const std::uint32_t code = b.file.getParameters(values, 0, 0, false);
       return code != 0 ? words(code) : words(values);
     }},
    {"setParameter",
     [](Bench& b) { return words(b.file.setParameter(0x2010006F, Variant(std::string(99, 'o')), 8, 0)); }},
    {"setParameters",
     [](Bench& b) {
       return words(b.file.setParameters({{0x20060007, Variant(1.0)}, {0x20060057, Variant("Cs-137")}}, 1, 0, false));
     }},
    {"insertItem", [](Bench& b) { return words(b.file.insertItem(0x20020000, 1, 0)); }},
    {"deleteItem", [](Bench& b) { return words(b.file.deleteItem(0x20020000, 1, 0)); }},
    {"createBlock", [](Bench& b) { return words(b.file.createBlock(0x20060000, 0, 1, 1)); }},
    {"deleteLevel", [](Bench& b) { return words(b.file.deleteLevel(20)); }},
    {"setSpectrum", [](Bench& b) { return words(b.file.setSpectrum(std::vector<unsigned>(3000, 7), 1, 1)); }},
    {"getSpectrum",
     [](Bench& b) {
       std::vector<float> counts;
       const std::uint32_t code = b.file.getSpectrum(counts, 1, 1);
       return code != 0 ? words(code) : std::to_string(counts.size()) + " " + std::to_string(counts.at(440));
     }},
    {"copyTo", [](Bench& b) { return words(b.other.copyTo(b.file, 0x20020000)); }},
    {"duplicateTo", [](Bench& b) { return words(b.other.duplicateTo(b.file)); }},
    {"moveTo", [](Bench& b) { return words(b.other.moveTo(b.file, 0x2002, 2, 1)); }},
    {"copySequenceTo", [](Bench& b) { return words(b.other.copySequenceTo(b.file)); }},
    {"copyCalibrationsTo",
     [](Bench& b) {
       const std::uint32_t code = b.other.copyCalibrationsTo(b.file, ALL);
       return code != 0 ? words(code) : withBlocks(b.file, {ORB_CLS_SHAPECALRES, ORB_CLS_CALRESULTS, ORB_CLS_PTCALIB});
     }},
    {"evaluate a channel", [](Bench& b) { return estimate(b, ENERGY2CHANNEL, 661.66f); }},
    {"evaluate a width", [](Bench& b) { return estimate(b, ENERGY2FWHM, 661.66f); }},
    {"evaluate an efficiency", [](Bench& b) { return estimate(b, ENERGY2INTERPOL, 661.66f); }},
    {"determineRegion",
     [](Bench& b) {
       const auto [first, last] = b.file.determineRegion(441, 661.66f, true);
       return std::to_string(first) + "-" + std::to_string(last);
     }},
    {"estimateRegionParameters",
     [](Bench& b) { return words(b.other.estimateRegionParameters(425, 458, FIXED_CONTINUUM, LINEAR, 4, false)); }},
    {"quantifyRegion",
     [](Bench& b) {
       std::string text;
       for (const auto& peak : b.file.quantifyRegion(425, 458, VARIABLE_CONTINUUM, STEP, 0.5f, true))
         text += words(peak);
       return text;
     }},
    {"energyShapeCalibration",
     [](Bench& b) {
       return words(b.file.energyShapeCalibration(points({{441, 661.66f}, {782, 1173.2f}, {888, 1332.5f}}),
                                                  points({{661.66f, 6.5f}, {1332.5f, 8}}), {}, 2));
     }},
    {"findNuclide",
     [](Bench& b) {
       FileAccess library;
       std::uint16_t record = 99;
       if (const std::uint32_t code = library.open(b.path("TEST.NLB"), READONLY)) return words(code);
       const std::uint32_t code = library.findNuclide("Mn-54", record, 1);
       return words(code) + " " + std::to_string(record);
     }},
    {"executeSequence",
     [](Bench& b) { return words(b.file.executeSequence(b.file, b.engines + "engines.aef", b.engines, false)); }},
};

std::string contentOf(FileAccess& file) {
  if (!file.isOpen()) return "closed";
  constexpr std::string_view kTime = " type 35 ";  // eight bytes of it follow
  std::string text;
  const faults::Content content = faults::contentOf(file.handle());
  for (const auto& [cls, block] : content.blocks)
    text += std::to_string(cls) + faults::nameOf(block.status) + block.text + "\n";
  for (auto at = text.find(kTime); at != std::string::npos; at = text.find(kTime, at + 1))
    text.replace(at + kTime.size(), sizeof(double), "(a time)");
  return text;
}

/// What became of a try.
struct Outcome {
  std::string answer;
  bool is_told = false;  // that something failed
  std::string in_memory;
  std::string on_disk;
  long allocations = 0;
};

class Campaign {
 public:
  Campaign(fs::path folder, std::string engines) : folder_(std::move(folder)), engines_(std::move(engines)) {
    fs::create_directories(folder_ / "work");
    prepareLibrary(folder_ / "TEST.NLB");
    prepareFile(folder_ / "file.dat", (folder_ / "TEST.NLB").string());
    prepareFile(folder_ / "other.dat", (folder_ / "TEST.NLB").string());
    FileAccess other;
    other.open((folder_ / "other.dat").string(), READWRITE);
    other.energyShapeCalibration(points({{100, 150}, {500, 700}, {900, 1400}}), points({{150, 5}, {1400, 9}}), {}, 2);
    other.close(FLUSH);
  }

  /// @param failing  number of the allocation; 0 for none
  Outcome attempt(const Operation& operation, long failing, bool onwards) {
    const fs::path work = folder_ / "work";
    fs::remove_all(work);
    fs::create_directories(work);
    for (const char* name : {"file.dat", "other.dat", "TEST.NLB"}) fs::copy(folder_ / name, work / name);
    Bench bench{work, engines_, {}, {}};
    bench.file.open(bench.path("file.dat"), READWRITE);
    bench.other.open(bench.path("other.dat"), READWRITE);
    Outcome outcome;
    const auto former = vyx::routeLog([&outcome](const vyx::LogLine& line) {
      outcome.is_told = outcome.is_told || (line.code != 0 && line.code != kNoValue);
    });
    orbFailAllocation(failing, onwards);
    try {
      outcome.answer = operation(bench);
    } catch (...) {  // bad_alloc, or the status of an evaluation
      outcome.is_told = true;
    }
    outcome.allocations = orbAllocations();
    orbFailAllocation(0, 0);
    vyx::routeLog(former);
    outcome.is_told = outcome.is_told || outcome.answer.rfind('!', 0) == 0;
    outcome.in_memory = contentOf(bench.file);
    bench.file.close(NOFLUSH);
    bench.other.close(NOFLUSH);
    FileAccess again;
    const std::uint32_t code = again.open(bench.path("file.dat"), READONLY);
    outcome.on_disk = code == 0 ? contentOf(again) : words(code);
    return outcome;
  }

  /// What is wrong with a try; empty when nothing is.
  static std::string fault(const Outcome& outcome, const Outcome& good, const Outcome& before) {
    if (outcome.on_disk != good.on_disk && outcome.on_disk != before.on_disk) return "leaves another file";
    if (outcome.is_told) return "";
    if (outcome.answer != good.answer) return "answers " + outcome.answer + ", not " + good.answer;
    return outcome.in_memory != good.in_memory ? "answers the same and has other content" : "";
  }

 private:
  fs::path folder_;
  std::string engines_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  const std::string wanted = argc > 2 ? argv[2] : "";
  const long most = reliability::byLength(12L, 400L, 1000000000L);  // of an operation
  const fs::path folder = fs::temp_directory_path() / ("orb-allocations-" + std::to_string(getpid()));
  const auto begin = std::chrono::steady_clock::now();
  long tries = 0;
  long failures = 0;
  {
    Campaign campaign(folder, std::string(argv[1]) + "/");
    const Outcome before = campaign.attempt([](Bench&) { return std::string("0"); }, 0, false);
    for (const auto& [name, operation] : kOperations) {
      if (!wanted.empty() && wanted != name) continue;
      const Outcome good = campaign.attempt(operation, 0, false);
      const long stride = std::max(1L, good.allocations / most);
      long at = 1;
      for (; at <= good.allocations; at += stride) {
        for (const bool onwards : {false, true}) {
          ++tries;
          const std::string fault = Campaign::fault(campaign.attempt(operation, at, onwards), good, before);
          if (fault.empty()) continue;
          ++failures;
          std::printf("%s, allocation %ld%s: %s\n", name, at, onwards ? " and on" : "", fault.c_str());
        }
      }
      std::printf("%s: %ld of %ld allocations%s\n", name, (at - 1) / stride, good.allocations,
                  good.is_told ? ", FAILS WITH ALL MEMORY" : "");
      failures += good.is_told;
    }
  }
  fs::remove_all(folder);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  reliability::report("the file object, an allocation of an operation fails, once or from then on",
                      std::to_string(tries) + " tries of " + std::to_string(std::size(kOperations)) + " operations",
                      failures, seconds, "make reliability PARTS=allocations");
  return failures != 0;
}
