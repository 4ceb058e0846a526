#include "report_data.h"

#include <cmath>
#include <ctime>
#include <numeric>

#include "blocks.h"
#include "codes.h"
#include "comdefs.h"
#include "plotted_spectrum.h"
#include "report_values.h"
#include "stored_values.h"
#include "value_text.h"

namespace orb::tool {

namespace {

using report::Fact;
using report::Report;

constexpr std::uint32_t kCoverage = 0x200300B2;
constexpr std::uint32_t kLogScale = 0x2004001A;
constexpr std::uint32_t kSampleTitle = 0x20010002;

struct LabelledCode {
  const char* label;
  std::uint32_t code;
  const char* unit;
  bool is_time = false;
};
constexpr LabelledCode kMeasurement[] = {{"Measurement", kMeasurementId, ""},
                                         {"Start", kStartTime, "", true},
                                         {"Live time", kLiveTime, " s"},
                                         {"Real time", kRealTime, " s"},
                                         {"Channels", kChannelCount, ""},
                                         {"Detector", kDetectorName, ""},
                                         {"Kind of detector", kDetectorType, ""},
                                         {"Instrument", kInstrument, ""},
                                         {"Operator", 0x20000018, ""},
                                         {"Laboratory", 0x2000001B, ""},
                                         {"Sample", 0x20010001, ""},
                                         {"Kind of sample", 0x20010004, ""},
                                         {"Reference date", 0x20010008, "", true},
                                         {"Counting geometry", 0x2001000B, ""},
                                         {"Remarks", kRemarks, ""}};
constexpr LabelledCode kOrigin[] = {
    {"Imported from", kSourceFile, ""}, {"Format", kSourceFormat, ""}, {"Imported", kImportTime, "", true}};

/// A class of results, and where its provenance begins: routine, version, time, settings.
struct ResultBlock {
  const char* name;
  std::uint32_t routine;
};
constexpr ResultBlock kResultBlocks[] = {
    {"Energy calibration", 0x200D00F0},    {"Shape calibration", 0x201300F0}, {"Peaks", 0x200600F0},
    {"Efficiencies of peaks", 0x200600F4}, {"Nuclides", 0x200800F0},          {"Detection limits", 0x200900F0}};

template <std::size_t n>
std::vector<Fact> factsOf(const FileAccess& file, const LabelledCode (&codes)[n]) {
  const RecordView header(file, 0);
  std::vector<Fact> facts;
  for (const auto& [label, code, unit, is_time] : codes) {
    const std::string words = is_time ? header.time(code) : header.text(code);
    if (!words.empty()) facts.push_back({label, words + unit});
  }
  return facts;
}

/// "1.5 kg"
void addQuantity(const FileAccess& file, std::vector<Fact>& facts) {
  const RecordView header(file, 0);
  const auto quantity = header.number(kQuantity);
  const std::string unit = header.text(kQuantityUnit);
  if (!quantity || isWholeSample(*quantity, unit)) return;
  const double uncertainty = header.numberOr0(0x20010007);
  std::string words = roundedText(*quantity, 6);
  if (uncertainty > 0) words += " ± " + roundedText(uncertainty, 2);
  facts.push_back({"Sample quantity", words + " " + unit});
}

/// The first sentence tells what a setting is; the others tell more than a table has room for.
std::string firstSentence(const std::string& text) {
  const std::size_t end = text.find(". ");
  return end == std::string::npos ? text : text.substr(0, end + 1);
}

void addSettingsOf(std::uint16_t cls, const FileAccess& file, std::vector<report::Setting>& settings) {
  ValueReader reader(file);  // owns what the values point to
  for (const StoredValue& value : reader.read(cls, 0)) {
    if (value.parameter == nullptr || value.entry != 0 || value.parameter->ulLevel != AIO_IN_HEADER) continue;
    settings.push_back({value.name(), value.text(), firstSentence(value.parameter->szDescription)});
  }
}

std::string presentTime() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  char text[32] = "";
  if (gmtime_r(&now, &parts) != nullptr) std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

plot::Spectrum spectrumOf(const FileAccess& file, const Note& note) {
  if (findSpectralBlock(listBlocks(file)) != nullptr) return spectrumForPlot(file, note);
  plot::Spectrum none;
  none.title = findText(file, kTitle);
  return none;
}

}  // namespace

void readSettings(const FileAccess& file, Report& report) {
  const std::uint16_t n_steps = countRecords(file, ORB_CLS_ANALCNTL).value_or(0);
  for (std::uint32_t i = 1; i <= n_steps; ++i) {
    const RecordView step(file, static_cast<std::uint16_t>(i));
    report.steps.push_back({step.text(0x2010006D), step.text(0x2010006F), step.text(0x2010006E)});
  }
  for (const auto cls : {ORB_CLS_ANALCNTL, ORB_CLS_PROC})
    if (countRecords(file, cls)) addSettingsOf(static_cast<std::uint16_t>(cls), file, report.settings);
}

void readProvenance(const FileAccess& file, Report& report) {
  report.origin.insert(report.origin.end(), {{"Data file", report.spectrum.file_name}});
  for (Fact& fact : factsOf(file, kOrigin)) report.origin.push_back(std::move(fact));
  const RecordView header(file, 0);
  for (const auto& [name, routine] : kResultBlocks) {
    report::Provenance row{name, header.text(routine), header.text(routine + 1), header.time(routine + 2),
                           header.text(routine + 3)};
    if (!row.routine.empty() || !row.version.empty()) report.provenance.push_back(std::move(row));
  }
  if (const std::string time = header.time(0x20020002); !time.empty())
    report.provenance.push_back({"Efficiency calibration", "", "", time, header.text(0x20020004)});
}

Report readReport(const FileAccess& file, const std::string& shown_name, const Note& note) {
  Report report;
  report.spectrum = spectrumOf(file, note);
  report.spectrum.file_name = shown_name;
  report.spectrum.subtitle.clear();
  for (const std::string& line : {findText(file, kSampleTitle), findText(file, 0x20100005)})
    if (!line.empty() && line != report.spectrum.title) report.spectrum.subtitle.push_back(line);
  const double coverage = findNumber(file, kCoverage).value_or(1);
  report.coverage_factor = std::isfinite(coverage) && coverage > 0 ? coverage : 1;
  report.is_log = findNumber(file, kLogScale).value_or(1) != 0;
  report.facts = factsOf(file, kMeasurement);
  if (const auto& counts = report.spectrum.counts; !counts.empty())
    report.facts.push_back({"Total counts", numberText(std::accumulate(counts.begin(), counts.end(), 0.0))});
  addQuantity(file, report.facts);
  readResults(file, report, note);
  readCalibrations(file, report);
  readSettings(file, report);
  readProvenance(file, report);
  report.made = "Made by orb " ORB_VERSION " at " + presentTime();
  return report;
}

}  // namespace orb::tool
