#include <stdexcept>

#include "report.h"
#ifdef ORB_REPORT_HAS_HTML
#include "markup.h"
#include "page_parts.h"
#include "report_assets.h"
#include "sections.h"
#endif

namespace orb::report {

#ifndef ORB_REPORT_HAS_HTML

std::string htmlPage(const Report&) {
  throw std::runtime_error("HTML pages were left out when this program was built");
}

#else

namespace {

std::string dataScript(const char* id, const std::string& json) {
  return std::string("<script type=\"application/json\" id=\"") + id + "\">" + json + "</script>\n";
}

}  // namespace

std::string htmlPage(const Report& report) {
  plot::Options look;
  look.log_scale = report.is_log;
  std::string out =
      plot::pageHead(titleOf(report) + " – report", assets::kReportStyle, assets::kReportScript) + "<body>\n";
  out += headerSection(report) + "<main>\n" + spectrumSection(report) + peakSection(report) + nuclideSection(report);
  out += calibrationSection(report) + settingsSection(report) + provenanceSection(report) + "</main>\n";
  out += "<footer>" + text(report.made).html() + "</footer>\n";
  if (!report.spectrum.counts.empty()) out += dataScript("spectrum", plot::spectrumJson(report.spectrum, look));
  out += dataScript("fits", fitsJson(report)) + dataScript("calibrations", calibrationsJson(report));
  return out + plot::pageScripts(assets::kReportScript) + "</body>\n</html>\n";
}

#endif

}  // namespace orb::report
