// orb report: a spectrum and what the analysis made of it as one HTML page.
#include <memory>
#include <stdexcept>

#include "atomic_file.h"
#include "blocks.h"
#include "command.h"
#include "failure.h"
#include "report_data.h"
#include "report_file.h"
#include "terminal_text.h"
#include "usage_error.h"

namespace orb::tool {

void requireReportCanBeWritten(const std::string& out, bool force) {
  if (!plot::htmlAvailable()) throw UsageError("report: this orb was built without HTML pages");
  if (looksLikeDataFile(out))
    throw Failure(out, "a data file is not replaced by a report", com::norvale::orb::kBadArgument);
  const DraftFile place(out, force, DraftFile::Content::kText);
}

void writeReport(const FileAccess& file, const std::string& out, bool force, const std::string& shown_name,
                 const Note& note) {
  requireReportCanBeWritten(out, force);
  DraftFile draft(out, force, DraftFile::Content::kText);
  draft.write(report::htmlPage(readReport(file, shown_name, note)));
  draft.publish();
}

namespace {

struct Options {
  std::string file;
  std::string out;
  bool force = false;
};

int run(const Options& options, Console& console) {
  const std::string name = toLower(options.out);
  if (!name.ends_with(".html") && !name.ends_with(".htm"))
    throw UsageError("report: the name '" + escapeLine(options.out) + "' does not end in .html");
  requireReportCanBeWritten(options.out, options.force);
  FileAccess file;
  openForReading(file, options.file);
  writeReport(file, options.out, options.force, options.file,
              [&](const std::string& text) { console.note(options.file + ": " + text); });
  return kDone;
}

}  // namespace

void addReport(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("report", "Write spectrum and results as one page for screen and paper");
  command->add_option("FILE", options->file, "Data file")->required();
  command->add_option("-o,--output", options->out, "Page to write, .html")->required()->type_name("R.html");
  command->add_flag("--force", options->force, "Replace an existing file");
  command->footer(
      "The page needs nothing else: spectrum with the fitted curves and their residuals, peaks, nuclides with "
      "activities\n"
      "and limits, calibrations, settings, and who wrote the results when. It prints on A4.\n\n"
      "Example:\n"
      "  orb report soil.dat -o soil.html");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
