// orb plot: the spectrum as a picture, in a file or in the terminal.
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstring>
#include <memory>

#include "atomic_file.h"
#include "command.h"
#include "failure.h"
#include "plotted_spectrum.h"
#include "terminal_text.h"
#include "usage_error.h"

namespace orb::tool {

namespace {

struct Options {
  std::string file;
  std::string out;
  std::string range;
  int width = 0;  // 0: what suits the kind of picture
  int height = 0;
  bool log_scale = false;
  bool force = false;
};

enum class Picture { kSvg, kHtml, kTerminal };

Picture chosenPicture(const Options& options) {
  if (options.out.empty()) return Picture::kTerminal;
  const std::string name = toLower(options.out);
  if (name.ends_with(".svg")) return Picture::kSvg;
  if (!name.ends_with(".html") && !name.ends_with(".htm"))
    throw UsageError("plot: the name '" + escapeLine(options.out) + "' ends neither in .svg nor in .html");
  if (!plot::htmlAvailable()) throw UsageError("plot: this orb was built without HTML pages; name an .svg file");
  return Picture::kHtml;
}

/// Drawing throws what the user can put right, a range beside the spectrum for example.
template <typename Draw>
std::string drawn(const Draw& draw) {
  try {
    return draw();
  } catch (const std::invalid_argument& error) {
    throw UsageError(std::string("plot: ") + error.what());
  }
}

std::string drawInTerminal(const plot::Spectrum& spectrum, const plot::Options& look, const Options& options) {
  constexpr int kWidth = 80;  // where standard output is no terminal
  constexpr int kHeight = 24;
  winsize window{};
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0 && window.ws_row > 0;
  const int width = options.width > 0 ? options.width : known ? window.ws_col : kWidth;
  const int height = options.height > 0 ? options.height : known ? window.ws_row - 1 : kHeight;
  std::setlocale(LC_CTYPE, "");
  const bool use_unicode = std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
  return plot::terminal(spectrum, look, std::clamp(width, plot::kMinTerminalWidth, plot::kMaxTerminalSize),
                        std::clamp(height, plot::kMinTerminalHeight, plot::kMaxTerminalSize), use_unicode);
}

int run(const Options& options, Console& console) {
  const Picture picture = chosenPicture(options);
  std::unique_ptr<DraftFile> draft;
  if (picture != Picture::kTerminal) {
    draft = std::make_unique<DraftFile>(options.out, options.force, DraftFile::Content::kText);
  }
  if (draft && isSameFile(options.file, options.out))
    throw Failure(options.out, "source and destination are the same file", com::norvale::orb::kBadArgument);
  const plot::Spectrum spectrum =
      spectrumForPlot(options.file, [&](const std::string& text) { console.note(options.file + ": " + text); });
  plot::Options look;
  look.log_scale = options.log_scale;
  if (picture != Picture::kTerminal && options.width > 0) look.width_px = options.width;
  if (picture != Picture::kTerminal && options.height > 0) look.height_px = options.height;
  const std::string text = drawn([&] {
    if (!options.range.empty()) look.range = plot::parseRange(options.range, spectrum.energy_unit);
    if (picture == Picture::kSvg) return plot::svg(spectrum, look);
    if (picture == Picture::kHtml) return plot::htmlPage(spectrum, look);
    return drawInTerminal(spectrum, look, options);
  });
  if (!draft) {
    console.write(text);
    return kDone;
  }
  draft->write(text);
  draft->publish();
  return kDone;
}

}  // namespace

void addPlot(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("plot", "Draw the spectrum as a picture or in the terminal");
  command->add_option("FILE", options->file, "Data file, or a spectrum in a text format")->required();
  command->add_option("-o,--output", options->out, "Picture to write, .svg or .html; in the terminal without it")
      ->type_name("OUT");
  command->add_flag("--log", options->log_scale, "Logarithmic scale of the counts");
  command
      ->add_option("--range", options->range,
                   "Part to draw: channels A:B, or energies as in 600:700keV; either end may be left out")
      ->type_name("A:B");
  command->add_option("--width", options->width, "Width in pixels, or in columns of the terminal")
      ->check(CLI::Range(1, plot::kMaxSize_px));
  command->add_option("--height", options->height, "Height in pixels, or in lines of the terminal")
      ->check(CLI::Range(1, plot::kMaxSize_px));
  command->add_flag("--force", options->force, "Replace an existing file");
  command->footer(
      "The lines of the peak table are marked. Channels count from 1. The HTML page needs nothing else; drag in it to\n"
      "zoom.\n\n"
      "Example:\n"
      "  orb plot soil.dat -o soil.svg --log --range 600:700keV");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
