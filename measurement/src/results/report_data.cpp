#include "report_data.h"

#include <cmath>
#include <ctime>
#include <numeric>

#include "blocks.h"
#include "comdefs.h"
#include "orbparams.h"
#include "plotted_spectrum.h"
#include "report_values.h"
#include "stored_values.h"
#include "value_text.h"

namespace com::norvale::measurement {

namespace {

using report::Fact;
using report::Report;

struct LabelledCode {
  const char* label;
  std::uint32_t code;
  const char* unit;
  bool is_time = false;
};
constexpr LabelledCode kMeasurement[] = {{"Measurement", ORB_T_MEASID, ""},
                                         {"Start", ORB_X_ACQSTART, "", true},
                                         {"Live time", ORB_D_LIVETIME, " s"},
                                         {"Real time", ORB_D_REALTIME, " s"},
                                         {"Channels", ORB_L_CHANNELS, ""},
                                         {"Detector", ORB_T_DETNAME, ""},
                                         {"Kind of detector", ORB_T_DETTYPE, ""},
                                         {"Instrument", ORB_T_INSTRUMENT, ""},
                                         {"Operator", ORB_T_OPERATOR, ""},
                                         {"Laboratory", ORB_T_LABORATORY, ""},
                                         {"Sample", ORB_T_SAMPLEID, ""},
                                         {"Kind of sample", ORB_T_SAMPLETYPE, ""},
                                         {"Reference date", ORB_X_SAMPLEDATE, "", true},
                                         {"Counting geometry", ORB_T_SAMPLEGEOM, ""},
                                         {"Remarks", ORB_T_REMARKS, ""}};
constexpr LabelledCode kOrigin[] = {{"Imported from", ORB_T_SOURCEFILE, ""},
                                    {"Format", ORB_T_SOURCEFORM, ""},
                                    {"Imported", ORB_X_IMPORTTIME, "", true}};

/// A class of results, and where its provenance begins: routine, version, time, settings.
struct ResultBlock {
  const char* name;
  std::uint32_t routine;
};
constexpr ResultBlock kResultBlocks[] = {{"Energy calibration", ORB_T_ECENGINE},
                                         {"Shape calibration", ORB_T_SCENGINE},
                                         {"Peaks", ORB_T_PKENGINE},
                                         {"Efficiencies of peaks", ORB_T_PKEFFENGINE},
                                         {"Nuclides", ORB_T_NUENGINE},
                                         {"Detection limits", ORB_T_DLENGINE}};

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
  const auto quantity = header.number(ORB_F_QUANTITY);
  const std::string unit = header.text(ORB_T_QUANTITYUNIT);
  if (!quantity || isWholeSample(*quantity, unit)) return;
  const double uncertainty = header.numberOr0(ORB_D_QUANTITYUNC);
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
  none.title = findText(file, ORB_T_CTITLE);
  return none;
}

}  // namespace

void readSettings(const FileAccess& file, Report& report) {
  const std::uint16_t n_steps = countRecords(file, ORB_CLS_ANALCNTL).value_or(0);
  for (std::uint32_t i = 1; i <= n_steps; ++i) {
    const RecordView step(file, static_cast<std::uint16_t>(i));
    report.steps.push_back({step.text(ORB_T_ACENGNAME), step.text(ORB_T_ACSTEPOPTS), step.text(ORB_T_ACSTEPDESC)});
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
  if (const std::string time = header.time(ORB_X_EFFTIME); !time.empty())
    report.provenance.push_back({"Efficiency calibration", "", "", time, header.text(ORB_T_EFFSOURCE)});
}

Report readReport(const FileAccess& file, const std::string& shown_name, const Note& note) {
  Report report;
  report.spectrum = spectrumOf(file, note);
  report.spectrum.file_name = shown_name;
  report.spectrum.subtitle.clear();
  for (const std::string& line : {findText(file, ORB_T_SAMPLETITLE), findText(file, ORB_T_ETITLE)})
    if (!line.empty() && line != report.spectrum.title) report.spectrum.subtitle.push_back(line);
  const double coverage = findNumber(file, ORB_F_COVERAGE).value_or(1);
  report.coverage_factor = std::isfinite(coverage) && coverage > 0 ? coverage : 1;
  report.is_log = findNumber(file, ORB_L_DSPLOG).value_or(1) != 0;
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

}  // namespace com::norvale::measurement
