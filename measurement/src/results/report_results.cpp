// The results of an analysis for a report: peaks with their fits, nuclides, limits.
#include <algorithm>
#include <cmath>

#include "activity_unit.h"
#include "anautils.h"
#include "blocks.h"
#include "comdefs.h"
#include "failure.h"
#include "orbparams.h"
#include "peak_results.h"
#include "report_data.h"
#include "report_values.h"
#include "value_text.h"

namespace com::norvale::measurement {

namespace {

using report::Quantity;
using report::Report;

struct Word {
  int mark;
  const char* word;
};
constexpr Word kNuclideMarks[] = {
    {1, "lines inconsistent"}, {2, "every line interfered"}, {4, "efficiency extrapolated"}, {16, "no reference date"}};
constexpr Word kLimitMarks[] = {{1, "no detection limit exists"},
                                {2, "efficiency extrapolated"},
                                {4, "key line interfered"},
                                {8, "window cut by the end of the spectrum"}};

template <std::size_t n>
std::string wordsOf(const Word (&words)[n], int marks) {
  std::string out;
  for (const auto& [mark, word] : words)
    if ((marks & mark) != 0) out += (out.empty() ? "" : ", ") + std::string(word);
  return out;
}

/// Turns what a file stores into what a report prints: the unit of activities, the coverage factor.
class ResultReader {
 public:
  ResultReader(const FileAccess& file, Report& report) : file_(file), report_(report) { chooseUnit(); }

  void readNuclide(std::uint16_t record) {
    const RecordView view(file_, record);
    report::Nuclide nuclide;
    nuclide.name = view.text(ORB_T_NUNAME);
    nuclide.confidence = view.number(ORB_D_NUCONF);
    nuclide.half_life_s = view.number(ORB_D_NUHALFLIFE);
    nuclide.activity = activity(view, ORB_D_NUACT);
    nuclide.reference_activity = activity(view, ORB_D_NUREFACT);
    if (has_quantity_) nuclide.specific_activity = activity(view, ORB_D_NUSPECACT);
    if (const auto lines = view.number(ORB_L_NULINES))
      nuclide.lines_found = std::to_string(view.whole(ORB_L_NUFOUND)) + " of " + numberText(*lines);
    nuclide.remarks = wordsOf(kNuclideMarks, view.whole(ORB_L_NUSTATUS));
    std::uint16_t n = 0;
    require(file_.countItems(ORB_CLS_NUCRESULTS, n, record), file_.name(), "cannot count the lines of a nuclide");
    for (std::uint32_t i = 1; i <= n; ++i) nuclide.lines.push_back(readLine(record, static_cast<std::uint16_t>(i)));
    report_.nuclides.push_back(std::move(nuclide));
  }

  void readLimit(std::uint16_t record) {
    const RecordView view(file_, record);
    report::Limit limit;
    limit.name = view.text(ORB_T_DLNAME);
    const auto is_same = [&](const report::Nuclide& nuclide) { return nuclide.name == limit.name; };
    if (std::any_of(report_.nuclides.begin(), report_.nuclides.end(), is_same)) return;
    limit.key_energy_keV = view.number(ORB_D_DLKEYENERGY);
    limit.threshold = activityAlone(view, ORB_D_DLTHRESHOLD);
    limit.limit = activityAlone(view, ORB_D_DLLIMIT);
    if (has_quantity_) limit.specific_limit = activityAlone(view, ORB_D_DLSPECLIMIT);
    limit.threshold_counts = view.number(ORB_D_DLTHRCOUNTS);
    limit.limit_counts = view.number(ORB_D_DLLIMCOUNTS);
    limit.method = view.text(ORB_T_DLMETHOD);
    limit.remarks = wordsOf(kLimitMarks, view.whole(ORB_L_DLSTATUS));
    if (view.whole(ORB_B_DLRECOGNISED) != 0)
      limit.remarks += std::string(limit.remarks.empty() ? "" : ", ") + "above the threshold";
    report_.limits.push_back(std::move(limit));
  }

  void readPeak(const Peak& row) {
    report::Peak peak;
    peak.energy_keV = measured(row.energy_keV, row.energy_unc_keV);
    peak.centroid = *measured(row.centroid, row.centroid_unc);
    peak.fwhm_keV = measured(row.fwhm_keV, row.fwhm_unc_keV);
    peak.is_width_fixed = row.width_fixed;
    peak.area = *measured(row.area, row.area_unc);
    peak.rate = measured(row.rate, row.rate_unc);
    peak.significance = row.significance;
    peak.chi_square_reduced = row.chi_square_reduced;
    peak.nuclide = row.nuclide;
    peak.is_unidentified = row.is_unidentified;
    peak.remarks = markWords(row);
    report_.peaks.push_back(std::move(peak));
  }

  void addFacts() {
    const RecordView header(file_, 0);
    const auto add = [&](const char* label, const std::string& text) {
      if (!text.empty()) report_.nuclide_facts.push_back({label, text});
    };
    std::string reference = header.time(ORB_X_NUREFTIME);
    if (reference.empty()) reference = header.time(ORB_X_SAMPLEDATE);
    add("Reference date", reference);
    const std::string library = header.text(ORB_T_NULIBRARY);
    const std::string limit_library = header.text(ORB_T_DLLIBRARY);
    const std::string hash = header.text(ORB_T_NULIBHASH);
    const std::string limit_hash = header.text(ORB_T_DLLIBHASH);
    add("Nuclide library", library);
    add("SHA-256 of the library", hash);
    if (limit_library != library) add("Library of the limits", limit_library);
    if (limit_hash != hash) add("SHA-256 of the library of the limits", limit_hash);
    add("Sequence", header.text(ORB_T_ACSOURCE));
    add("SHA-256 of the sequence", header.text(ORB_T_ACSOURCEHASH));
    if (factor_ != 1) add("Activities are multiplied by", numberText(factor_));
  }

 private:
  void chooseUnit() {
    const RecordView header(file_, 0);
    const std::string unit = header.text(ORB_T_ACTUNIT);
    const auto size = activityUnitBq(unit);
    report_.activity_unit = size ? unit : "Bq";
    unit_bq_ = size.value_or(1);
    factor_ = header.number(ORB_F_ACTFACTOR).value_or(1);
    if (!std::isfinite(factor_) || !(factor_ > 0)) factor_ = 1;
    const std::string quantity = header.text(ORB_T_QUANTITYUNIT);
    has_quantity_ = !isWholeSample(header.number(ORB_F_QUANTITY).value_or(1), quantity);
    report_.specific_unit = report_.activity_unit + "/" + (quantity.empty() ? "unit" : quantity);
  }

  report::NuclideLine readLine(std::uint16_t record, std::uint16_t entry) {
    const RecordView view(file_, record, entry);
    report::NuclideLine line;
    line.energy_keV = view.numberOr0(ORB_D_NLRENERGY);
    line.peak = view.whole(ORB_L_NLRPEAK);
    line.probability_percent = view.number(ORB_D_NLRPROB);
    line.energy_difference_keV = view.number(ORB_D_NLRDELTAE);
    line.activity = activity(view, ORB_D_NLRACT);
    line.residual = view.number(ORB_D_NLRRESID);
    line.weight_percent = view.number(ORB_D_NLRWEIGHT);
    if (view.whole(ORB_B_NLRINTERF) != 0) line.remarks = "interfered";
    return line;
  }

  std::optional<Quantity> measured(const std::optional<double>& value, const std::optional<double>& uncertainty) const {
    if (!value) return std::nullopt;
    return Quantity{*value, uncertainty.value_or(0) * report_.coverage_factor};
  }
  std::optional<double> activityAlone(const RecordView& view, std::uint32_t code) const {
    const auto bq = view.number(code);
    return bq ? std::optional(*bq / unit_bq_ * factor_) : std::nullopt;
  }
  /// The uncertainty stands behind its value.
  std::optional<Quantity> activity(const RecordView& view, std::uint32_t code) const {
    return measured(activityAlone(view, code), activityAlone(view, code + 1));
  }

  const FileAccess& file_;
  Report& report_;
  double unit_bq_ = 1;
  double factor_ = 1;
  bool has_quantity_ = true;  ///< else activities per quantity are those of the sample
};

/// Numbers of the regions whose fits gave numbers.
std::vector<int> fittedRegions(const std::vector<Peak>& peaks) {
  std::vector<int> numbers;
  for (const Peak& peak : peaks)
    if (peak.region > 0 && peak.area_unc > 0) numbers.push_back(peak.region);
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  return numbers;
}

/// The curves of all regions that the table of lines names, as far as a damaged table does not name far too many.
void readRegions(const FileAccess& file, const std::vector<Peak>& peaks, Report& report, const Note& note) {
  constexpr std::size_t kMostRegions = 2000;
  const std::size_t n_channels = report.spectrum.counts.size();
  const std::vector<int> numbers = fittedRegions(peaks);
  std::vector<double> continuum(n_channels);
  std::vector<double> model(n_channels);
  std::string problem = numbers.size() > kMostRegions ? "more regions than a spectrum has room for" : "";
  std::size_t room = 4 * n_channels;  // regions of one fit hardly overlap
  for (std::size_t i = 0; i < std::min(numbers.size(), kMostRegions) && room > 0; ++i) {
    ULONG first = 0;
    ULONG n = 0;
    const LONG status = lFittedRegion(file.handle(), numbers[i], static_cast<ULONG>(n_channels), &first, &n,
                                      continuum.data(), model.data());
    requireAnswer(static_cast<std::uint32_t>(status), file.name(), "cannot compute the fitted curves");
    if (status != ANA_OK) problem = AnaStatusText(static_cast<ULONG>(status));
    if (status != ANA_OK) continue;
    room -= std::min<std::size_t>(room, n);
    const auto end = static_cast<std::ptrdiff_t>(n);
    report.regions.push_back(
        {first, {continuum.begin(), continuum.begin() + end}, {model.begin(), model.begin() + end}});
  }
  if (!problem.empty()) note("without some of the fitted curves: " + problem);
}

}  // namespace

void readResults(const FileAccess& file, Report& report, const Note& note) {
  ResultReader reader(file, report);
  for (const AioBlockInfo_T& block : listBlocks(file)) {  // nuclides come before limits
    report.has_peak_table |= block.usClass == ORB_CLS_PEAKS;
    report.has_nuclide_table |= block.usClass == ORB_CLS_NUCRESULTS;
    report.has_limit_table |= block.usClass == ORB_CLS_LIMITS;
    for (std::uint32_t i = 1; i <= block.usRecords; ++i) {
      if (block.usClass == ORB_CLS_NUCRESULTS) reader.readNuclide(static_cast<std::uint16_t>(i));
      if (block.usClass == ORB_CLS_LIMITS) reader.readLimit(static_cast<std::uint16_t>(i));
    }
  }
  const std::vector<Peak> peaks = readPeaks(file);
  for (const Peak& peak : peaks) reader.readPeak(peak);
  if (report.has_nuclide_table || report.has_limit_table) reader.addFacts();
  if (!report.spectrum.counts.empty()) readRegions(file, peaks, report, note);
}

}  // namespace com::norvale::measurement
