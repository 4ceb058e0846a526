// orb import: a spectrum in a text format becomes a data file.
#include <memory>

#include "atomic_file.h"
#include "command.h"
#include "failure.h"
#include "import_spectrum.h"

namespace orb::tool {

namespace {

struct Options {
  ImportRequest request;
  std::string file;
  bool force = false;
};

int run(const Options& options, Console& console) {
  DraftFile draft(options.file, options.force);
  const Note note = [&](const std::string& text) { console.note(options.request.spectrum + ": " + text); };
  FileAccess file;
  importSpectrum(options.request, file, draft.path(), options.file, note);
  draft.write(file);
  draft.publish();
  return kDone;
}

}  // namespace

void addImport(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("import", "Make a data file of a spectrum in a text format");
  command
      ->add_option("SPECTRUM", options->request.spectrum,
                   "Spectrum: IAEA ASCII, ANSI N42.42, CSV or text; told by content")
      ->required();
  command->add_option("FILE", options->file, "Data file to make")->required();
  command
      ->add_option("--detector", options->request.detector,
                   "Kind of detector, hpge or nai; guessed from the widths without it")
      ->check(CLI::IsMember({"hpge", "nai"}))
      ->type_name("KIND");
  command
      ->add_option("--spectrum", options->request.number, "Which spectrum of the file, from 1 ('orb info' lists them)")
      ->check(CLI::PositiveNumber)
      ->type_name("N");
  command->add_flag("--force", options->force, "Replace an existing file");
  command->footer(
      "What cannot be carried over is told on standard error. Without an energy calibration in the source the file "
      "has\n"
      "none; without widths it keeps those typical of the kind of detector, marked as not measured.\n\n"
      "Example:\n"
      "  orb import soil.spe soil.dat --detector hpge");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
