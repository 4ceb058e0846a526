#include "page_parts.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>

#include "text.h"
#include "view.h"

namespace orb::plot {

namespace {

/// Differences of two such counts, doubled for their sign, are still exact in the doubles of the page's script.
constexpr double kLargestWholeCount = 1125899906842624.0;  // 2^50

bool allWhole(const std::vector<double>& counts) {
  for (const double count : counts) {
    if (!(std::abs(count) <= kLargestWholeCount) || count != std::floor(count)) return false;
  }
  return true;
}

void putVarint(std::string& out, std::uint64_t value) {
  for (; value >= 0x80; value >>= 7) out += static_cast<char>((value & 0x7F) | 0x80);
  out += static_cast<char>(value);
}

/// Zigzag differences as variable-length numbers; a 0 is followed by the number of further zeros.
std::string packWhole(const std::vector<double>& counts) {
  std::string out;
  std::int64_t previous = 0;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    const auto count = static_cast<std::int64_t>(counts[i]);
    const std::int64_t delta = count - previous;
    previous = count;
    putVarint(out, delta < 0 ? static_cast<std::uint64_t>(-delta) * 2 - 1 : static_cast<std::uint64_t>(delta) * 2);
    if (delta != 0) continue;
    const std::size_t first = i;
    while (i + 1 < counts.size() && counts[i + 1] == counts[i]) ++i;
    putVarint(out, i - first);
  }
  return out;
}

/// Doubles, the lowest byte first, whatever the order of this machine.
std::string packDoubles(const std::vector<double>& counts) {
  std::string out;
  out.reserve(counts.size() * sizeof(double));
  for (const double count : counts) {
    const auto bits = std::bit_cast<std::uint64_t>(drawnCount(count));
    for (unsigned shift = 0; shift < 64; shift += 8) out += static_cast<char>(bits >> shift & 0xFF);
  }
  return out;
}

std::string numberList(const std::vector<double>& values) {
  std::string out = "[";
  for (const double value : values) out += (out.size() > 1 ? "," : "") + number(value);
  return out + "]";
}

std::string peakList(const Spectrum& spectrum) {
  std::string out = "[";
  for (const Peak& peak : spectrum.peaks) {
    if (!std::isfinite(peak.channel)) continue;
    out += out.size() > 1 ? "," : "";
    out += "{\"channel\":" + number(peak.channel) + ",\"label\":" + jsonString(cleanText(peak.label)) + "}";
  }
  return out + "]";
}

/// How a security policy names a script that may run.
std::string scriptSource(const assets::Asset& script) {
  std::string bytes;
  for (std::size_t i = 0; i < std::strlen(script.sha256); i += 2) {
    unsigned value = 0;
    std::from_chars(script.sha256 + i, script.sha256 + i + 2, value, 16);
    bytes += static_cast<char>(value);
  }
  return " 'sha256-" + base64(bytes) + "'";
}

/// Nothing is loaded from anywhere, and no script runs but the two of ours: a text in the file can do no harm even if
/// it got out of its place.
std::string securityPolicy(const assets::Asset& script) {
  return "default-src 'none'; style-src 'unsafe-inline'; script-src" + scriptSource(assets::kUplotScript) +
         scriptSource(script);
}

}  // namespace

std::string spectrumJson(const Spectrum& spectrum, const Options& options) {
  const View view(spectrum, options);
  const bool whole = allWhole(spectrum.counts);
  std::string out = "{\"first\":" + std::to_string(spectrum.first_channel);
  out += ",\"channels\":" + std::to_string(spectrum.counts.size());
  out += ",\"energy\":" + numberList(spectrum.energy_coefficients);
  out += ",\"unit\":" + jsonString(unitText(spectrum.energy_unit));
  out += std::string(",\"log\":") + (options.log_scale ? "true" : "false");
  out += ",\"view\":[" + number(view.firstChannel() - 0.5) + "," + number(view.lastChannel() + 0.5) + "]";
  out += ",\"peaks\":" + peakList(spectrum);
  out += std::string(",\"encoding\":\"") + (whole ? "delta" : "float64") + "\"";
  out += ",\"counts\":\"" + base64(whole ? packWhole(spectrum.counts) : packDoubles(spectrum.counts)) + "\"}";
  return out;
}

std::string pageHead(const std::string& title, const assets::Asset& style, const assets::Asset& script) {
  std::string out = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n";
  out += "<meta http-equiv=\"Content-Security-Policy\" content=\"" + securityPolicy(script) + "\">\n";
  out += "<meta name=\"viewport\" content=\"width=device-width,initial-scale=1\">\n";
  out += "<title>" + escapeMarkup(cleanText(title)) + "</title>\n";
  out += std::string("<!--\nThis page contains uPlot.\n\n") + assets::kUplotLicence.text + "\n-->\n";
  out += std::string("<style>") + assets::kUplotStyle.text + "</style>\n";
  out += std::string("<style>") + style.text + "</style>\n</head>\n";
  return out;
}

std::string pageScripts(const assets::Asset& script) {
  std::string out = std::string("<script>") + assets::kUplotScript.text + "</script>\n";
  return out += std::string("<script>") + script.text + "</script>\n";
}

}  // namespace orb::plot
