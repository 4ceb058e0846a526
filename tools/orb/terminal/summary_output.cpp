#include "summary_output.h"

#include <cmath>
#include <cstdio>

#include "comdefs.h"
#include "terminal_text.h"

namespace orb::tool {

namespace {

constexpr double kExactInteger = 9007199254740992.0;  // 2^53: up to here a double holds every integer

void label(Console& console, const char* name, const std::string& text) {
  console.line(padRight(name, kLabelWidth) + escapeLine(text));
}

std::string secondsWords(const std::optional<double>& seconds) {
  return seconds ? numberText(*seconds) + " s" : "not known";
}

std::string realTimeWords(const Summary& summary) {
  std::string text = secondsWords(summary.real_s);
  if (!summary.live_s || !summary.real_s || !(*summary.real_s > 0) || !(*summary.live_s <= *summary.real_s))
    return text;
  char dead[48];
  std::snprintf(dead, sizeof dead, " (dead time %.2f %%)", 100 * (1 - *summary.live_s / *summary.real_s));
  return text + dead;
}

std::string countsWords(const Summary& summary) {
  if (!summary.total_counts) return "no spectrum";
  std::string text = numberText(*summary.total_counts);
  if (summary.live_s && *summary.live_s > 0) {
    char rate[48];
    std::snprintf(rate, sizeof rate, " (%.4g per second)", *summary.total_counts / *summary.live_s);
    text += rate;
  }
  return text;
}

/// Only worth a word when there is more than the one spectrum that the counts are those of.
void printSpectra(const Summary& summary, Console& console) {
  const bool only_first = summary.spectra.size() == 1 && summary.spectra[0].group == 1 && summary.spectra[0].row == 1;
  if (summary.spectra.empty() || only_first) return;
  console.line("Spectra");
  for (const SpectrumSummary& spectrum : summary.spectra) {
    console.line("  group " + std::to_string(spectrum.group) + ", row " + std::to_string(spectrum.row) + ": " +
                 numberText(spectrum.counts) + " counts" + (spectrum.is_real ? ", stored as real numbers" : ""));
  }
}

std::string blockWords(const AioBlockInfo_T& block) {
  if (block.usClass == ORB_CLS_SPECTRUM) {
    const ULONG n = block.ulGroups * block.ulRows;
    return std::to_string(n) + (n == 1 ? " spectrum" : " spectra") + " of " + std::to_string(block.ulChannels) +
           " channels";
  }
  return std::to_string(block.usRecords) + (block.usRecords == 1 ? " record" : " records");
}

void printBlocks(const Summary& summary, Console& console) {
  std::size_t width = 0;
  for (const AioBlockInfo_T& block : summary.blocks) {
    width = std::max(width, displayWidth(classWords(block.usClass)));
  }
  console.line("Blocks");
  for (const AioBlockInfo_T& block : summary.blocks) {
    console.line("  " + hex(block.usClass, 4) + "  " + padRight(classWords(block.usClass), width) + "  " +
                 blockWords(block));
  }
}

Json energyJson(const std::optional<EnergyCalibration>& calibration) {
  if (!calibration) return nullptr;
  Json json;
  json["coefficients"] = calibration->coefficients;
  json["unit"] = "keV";
  json["first_channel"] = 1;
  json["default"] = calibration->is_default;
  json["source"] = calibration->source;
  return json;
}

Json fwhmJson(const std::optional<FwhmCalibration>& calibration) {
  if (!calibration) return nullptr;
  Json json;
  json["coefficients"] = {calibration->offset, calibration->slope};
  json["equation"] = "offset + slope * sqrt(E)";
  json["unit"] = "keV";
  json["default"] = calibration->is_default;
  json["source"] = calibration->source;
  return json;
}

Json blocksJson(const std::vector<AioBlockInfo_T>& blocks) {
  Json list = Json::array();
  for (const AioBlockInfo_T& block : blocks) {
    Json json;
    json["class"] = hex(block.usClass, 4);
    json["name"] = classWords(block.usClass);
    json["records"] = block.usRecords;
    list.push_back(std::move(json));
  }
  return list;
}

Json spectraJson(const std::vector<SpectrumSummary>& spectra) {
  Json list = Json::array();
  for (const SpectrumSummary& spectrum : spectra) {
    Json json;
    json["group"] = spectrum.group;
    json["row"] = spectrum.row;
    json["format"] = spectrum.is_real ? "float" : "integer";
    json["counts"] = countsJson(spectrum.counts);
    list.push_back(std::move(json));
  }
  return list;
}

}  // namespace

Json countsJson(double counts) {
  if (!std::isfinite(counts)) return nullptr;
  if (counts == std::floor(counts) && std::fabs(counts) < kExactInteger) return static_cast<std::int64_t>(counts);
  return counts;
}

Json summaryJson(const Summary& summary) {
  Json json;
  json["file"] = summary.file;
  json["title"] = summary.title;
  json["detector"] = summary.detector;
  json["channels"] = summary.channels;
  json["total_counts"] = summary.total_counts ? countsJson(*summary.total_counts) : Json(nullptr);
  json["live_time_s"] = orNull(summary.live_s);
  json["real_time_s"] = orNull(summary.real_s);
  json["start_time"] = summary.start ? Json(*summary.start) : Json(nullptr);
  json["energy_calibration"] = energyJson(summary.energy);
  json["fwhm_calibration"] = fwhmJson(summary.fwhm);
  json["spectra"] = spectraJson(summary.spectra);
  json["blocks"] = blocksJson(summary.blocks);
  return json;
}

void printSummary(const Summary& summary, Console& console) {
  label(console, "File", summary.file);
  if (!summary.title.empty()) label(console, "Title", summary.title);
  if (!summary.detector.empty()) label(console, "Detector", summary.detector);
  label(console, "Start", summary.start.value_or("not known"));
  label(console, "Live time", secondsWords(summary.live_s));
  label(console, "Real time", realTimeWords(summary));
  label(console, "Channels", std::to_string(summary.channels));
  label(console, "Counts", countsWords(summary));
  label(console, "Energy", summary.energy ? energyWords(*summary.energy, 1, summary.channels) : "not calibrated");
  label(console, "FWHM", summary.fwhm ? fwhmWords(*summary.fwhm) : "not calibrated");
  printSpectra(summary, console);
  printBlocks(summary, console);
}

std::string summaryLine(const Summary& summary) {
  return "live " + secondsWords(summary.live_s) + "  real " + realTimeWords(summary) + "  counts " +
         countsWords(summary);
}

}  // namespace orb::tool
