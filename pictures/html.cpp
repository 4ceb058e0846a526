#include "plot.h"
#include "text.h"
#ifdef ORB_PLOT_HAS_HTML
#include "page_parts.h"
#endif

namespace orb::plot {

#ifndef ORB_PLOT_HAS_HTML

bool htmlAvailable() noexcept {
  return false;
}

std::string htmlPage(const Spectrum&, const Options&) {
  throw std::runtime_error("HTML pages were left out when this program was built; an SVG can be made instead");
}

#else

namespace {

std::string button(const char* id, const char* text) {
  return std::string("<button type=\"button\" id=\"") + id + "\">" + text + "</button>\n";
}

std::string content(const Spectrum& spectrum) {
  std::string out;
  if (!spectrum.title.empty()) out += "<h1>" + escapeMarkup(cleanText(spectrum.title)) + "</h1>\n";
  for (const std::string& text : spectrum.subtitle) {
    out += "<p class=\"subtitle\">" + escapeMarkup(cleanText(text)) + "</p>\n";
  }
  out += "<div class=\"bar\">\n" + button("log", "Log scale");
  if (!spectrum.energy_coefficients.empty()) out += button("energy", "Energy axis");
  out += button("whole", "Whole spectrum") + "<output id=\"readout\"></output>\n</div>\n<div id=\"chart\"></div>\n";
  out += "<p class=\"help\">Drag to zoom, double click for the whole spectrum. Keys: L log scale, ";
  if (!spectrum.energy_coefficients.empty()) out += "E energy or channels, ";
  out += "+ and - or the wheel zoom, arrows move, R whole spectrum.</p>\n";
  if (!spectrum.file_name.empty()) {
    out += "<p class=\"subtitle\">" + escapeMarkup(cleanText(spectrum.file_name)) + "</p>\n";
  }
  return out;
}

}  // namespace

bool htmlAvailable() noexcept {
  return true;
}

std::string htmlPage(const Spectrum& spectrum, const Options& options) {
  const std::string data = spectrumJson(spectrum, options);
  const std::string title = spectrum.title.empty() ? "Spectrum" : spectrum.title;
  std::string out = pageHead(title, assets::kPageStyle, assets::kPageScript) + "<body>\n" + content(spectrum);
  out += "<script type=\"application/json\" id=\"spectrum\">" + data + "</script>\n";
  return out + pageScripts(assets::kPageScript) + "</body>\n</html>\n";
}

#endif

}  // namespace orb::plot
