// orb export: the spectrum of a data file in a text format.
#include <memory>
#include <string_view>

#include "atomic_file.h"
#include "command.h"
#include "failure.h"
#include "file_to_spectrum.h"
#include "terminal_text.h"
#include "usage_error.h"

namespace orb::tool {

namespace {

struct Options {
  std::string file;
  std::string out;
  std::string format;
  bool force = false;
};

struct Ending {
  std::string_view text;
  ExportFormat format;
};

constexpr Ending kEndings[] = {{"spe", ExportFormat::kSpe}, {"n42", ExportFormat::kN42}, {"xml", ExportFormat::kN42},
                               {"csv", ExportFormat::kCsv}, {"txt", ExportFormat::kCsv}, {"json", ExportFormat::kJson}};

ExportFormat chosenFormat(const Options& options) {
  const auto dot = options.out.rfind('.');
  const bool has_ending = dot != std::string::npos && options.out.find('/', dot) == std::string::npos;
  const std::string wanted = !options.format.empty() ? options.format
                             : has_ending            ? toLower(options.out.substr(dot + 1))
                                                     : "";
  for (const Ending& ending : kEndings) {
    if (wanted == ending.text) return ending.format;
  }
  throw UsageError("export: the name '" + escapeLine(options.out) +
                   "' does not tell a format; choose one with --format spe, n42, csv or json");
}

int run(const Options& options, Console& console) {
  const ExportFormat format = chosenFormat(options);
  const Note note = [&](const std::string& text) { console.note(options.file + ": " + text); };
  const bool to_output = options.out == "-";
  std::unique_ptr<DraftFile> draft;
  if (!to_output) draft = std::make_unique<DraftFile>(options.out, options.force, DraftFile::Content::kText);
  if (!to_output && isSameFile(options.file, options.out)) {
    throw Failure(options.out, "source and destination are the same file", com::norvale::orb::kBadArgument);
  }
  FileAccess file;
  openForReading(file, options.file);
  const std::string text = textOfFile(file, format, note);
  if (to_output) {
    console.write(text);
    return kDone;
  }
  draft->write(text);
  draft->publish();
  return kDone;
}

}  // namespace

void addExport(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("export", "Write the spectrum of a data file in a text format");
  command->add_option("FILE", options->file, "Data file")->required();
  command->add_option("OUT", options->out, "File to write; - is standard output")->required();
  command
      ->add_option("--format", options->format,
                   "spe (IAEA ASCII), n42 (ANSI N42.42-2012), csv or json; the ending of OUT without it")
      ->check(CLI::IsMember({"spe", "n42", "csv", "json"}))
      ->type_name("FORMAT");
  command->add_flag("--force", options->force, "Replace an existing file");
  command->footer(
      "What the format has no place for is told on standard error. Text formats count channels from 0; the energy\n"
      "equation is converted.\n\n"
      "Example:\n"
      "  orb export soil.dat soil.n42");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
