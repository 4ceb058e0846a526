// orb peaks: the lines of a spectrum, located and fitted.
#include <memory>

#include "anautils.h"
#include "channel_range.h"
#include "command.h"
#include "engine.h"
#include "failure.h"
#include "orbparams.h"
#include "peak_output.h"

namespace orb::tool {

namespace {

struct Options {
  std::string file;
  std::string range;
  double threshold = 0;  // 0: the file's own
  bool json = false;
};

/// The settings of one search, which must not decide what the next one covers: neither those of an earlier one here,
/// nor these in an analysis of the whole spectrum later.
void setScope(FileAccess& file, const Options& options) {
  constexpr int kLast = AIO_MAX_CHANNELS;
  std::pair<int, int> channels{1, kLast};
  if (!options.range.empty()) channels = channelRange(file, options.range);
  putValue(file, ORB_L_LOCFIRST, Variant(channels.first));
  putValue(file, ORB_L_LOCLAST, Variant(channels.second));
  putValue(file, ORB_L_FITFIRST, Variant(1));
  putValue(file, ORB_L_FITLAST, Variant(kLast));
  putValue(file, ORB_L_ONEREGION, Variant(0));
  putValue(file, ORB_L_PKSCOPE, Variant(options.range.empty() ? 0 : 1));
  if (options.threshold > 0) putValue(file, ORB_F_LOCTHRESH, Variant(options.threshold));
}

int run(const Options& options, Console& console) {
  FileAccess file;
  openForWriting(file, options.file);
  const orbengine::BlockCopy settings(file.handle(), ORB_CLS_PROC);
  setScope(file, options);
  const auto done = [&](LONG status, const char* what) {
    require(static_cast<std::uint32_t>(status), options.file, what);
  };
  done(AA_2nd_Diff_Peak_Loc(file.handle(), 0, 0, 0), "cannot locate lines");
  done(lPANolin(file.handle(), 0, 0, 0), "cannot fit the lines");
  settings.restore();
  file.setModified(true);
  const auto peaks = readPeaks(file);
  flushAndClose(file);
  if (options.json) {
    printJson(peaksJson(peaks), console);
  } else {
    printPeaks(peaks, console);
  }
  return kDone;
}

}  // namespace

void addPeaks(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("peaks", "Locate and fit the lines of a spectrum");
  command->add_option("FILE", options->file, "Data file; the table of lines is stored in it")->required();
  command->add_option("--range", options->range, "Part to search: channels A:B, or energies as in 600:700keV")
      ->type_name("A:B");
  command
      ->add_option("--threshold", options->threshold,
                   "Significance from which a maximum is tried as a line; the file's setting without it")
      ->check(CLI::Range(1.0, 1000.0))
      ->type_name("X");
  command->add_flag("--json", options->json, "Print JSON");
  command->footer(
      "Uncertainties are standard ones. A width marked fixed was held at the FWHM calibration.\n\n"
      "Example:\n"
      "  orb peaks soil.dat --range 50:2000keV");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
