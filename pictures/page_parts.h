/// What the HTML pages have in common. Only in builds that make pages.
#pragma once
#include <string>

#include "page_assets.h"
#include "plot.h"

namespace orb::plot {

/// The document up to its body: nothing in the page may be loaded or run but these two texts and uPlot.
std::string pageHead(const std::string& title, const assets::Asset& style, const assets::Asset& script);

/// uPlot and the script of the page, for the end of the body.
std::string pageScripts(const assets::Asset& script);

/// The spectrum as the script of chart.js reads it, safe inside a script element. @throws std::invalid_argument
std::string spectrumJson(const Spectrum& spectrum, const Options& options);

}  // namespace orb::plot
