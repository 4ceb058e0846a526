// orb sequence: the steps of an analysis, edited.
#include <limits>
#include <memory>

#include "analysis_options.h"
#include "atomic_file.h"
#include "comdefs.h"
#include "command.h"
#include "failure.h"
#include "json_output.h"
#include "orbparams.h"
#include "parameter_name.h"
#include "sequence_file.h"
#include "terminal_text.h"
#include "text_stream.h"

namespace orb::tool {

namespace {

struct Options {
  std::string file;
  std::string title;
  std::string library = "STDLIB.NLB";
  SequenceStep step;
  std::size_t number = 0;
  bool force = false;
  bool json = false;
};

int makeNew(const Options& options, Console&) {
  DraftFile draft(options.file, options.force);
  FileAccess file;
  require(file.open(draft.path(), com::norvale::orb::CREATE), options.file, "cannot create");
  require(file.createBlock(ORB_CLS_ANALCNTL, 0, 1, 1), options.file, "cannot create the sequence");
  if (!options.title.empty()) putValue(file, ORB_T_ETITLE, Variant(options.title));
  putValue(file, ORB_T_NIDLIBRARY, Variant(options.library));
  putValue(file, ORB_T_LIMLIBRARY, Variant(options.library));
  draft.write(file);
  draft.publish();
  return kDone;
}

Json asJson(const std::vector<SequenceStep>& steps, const FileAccess& file) {
  Json json;
  json["title"] = findText(file, ORB_T_ETITLE);
  json["library"] = findText(file, ORB_T_NIDLIBRARY);
  json["steps"] = Json::array();
  for (const SequenceStep& step : steps)
    json["steps"].push_back({{"engine", step.engine}, {"options", step.options}, {"description", step.description}});
  return json;
}

int show(const Options& options, Console& console) {
  FileAccess file;
  openForReading(file, options.file);
  const auto steps = readSteps(file);
  if (options.json) {
    printJson(asJson(steps, file), console);
    return kDone;
  }
  if (const std::string title = findText(file, ORB_T_ETITLE); !title.empty()) console.line(escapeLine(title));
  if (steps.empty()) console.line("no steps");
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const SequenceStep& step = steps[i];
    console.line(padLeft(std::to_string(i + 1), 3) + "  " + padRight(escapeLine(step.engine), 28) +
                 escapeLine(step.options));
    if (!step.description.empty()) console.line("       " + escapeLine(step.description));
  }
  return kDone;
}

/// A sequence may be made for another set of engines, so this is no failure.
void tellUnknownEngine(const std::string& name, Console& console) {
  try {
    const auto engines = registeredEngines(findEngines({}));
    const auto is_it = [&](const auto& engine) { return engine.Name == name; };
    if (std::none_of(engines.begin(), engines.end(), is_it))
      console.note("no engine of the catalogue is called '" + escapeLine(name) + "'; 'orb engines' lists them");
  } catch (const Failure&) {  // no catalogue at all: nothing to compare with
  }
}

/// What the engine would refuse when it runs. @throws Failure naming the option
void requireOptions(const std::string& options) {
  TextStream pairs(options);
  for (std::string pair; pairs >> pair;) {
    const std::size_t sign = pair.find('=');
    const std::string subject = "option '" + escapeLine(pair) + "'";
    if (sign == std::string::npos) throw Failure(subject, "is not NAME=VALUE");
    const AioParamInfo_T parameter = findParameter(pair.substr(0, sign), subject);
    if (parameter.ulCode >> 16 != ORB_CLS_PROC) throw Failure(subject, "is no processing setting");
    const bool is_text = parameter.lReturnType == AIO_T_TEXT || parameter.lReturnType == AIO_T_NAME;
    TextStream text(pair.substr(sign + 1));
    text.imbue(std::locale::classic());
    double number = 0;
    if (!is_text && (!(text >> number) || !text.eof())) throw Failure(subject, "has no number for its value");
  }
}

int add(const Options& options, Console& console) {
  requireOptions(options.step.options);
  tellUnknownEngine(options.step.engine, console);
  FileAccess file;
  openForWriting(file, options.file);
  const std::size_t end = std::numeric_limits<std::size_t>::max();
  insertStep(file, options.step, options.number == 0 ? end : options.number - 1);
  flushAndClose(file);
  return kDone;
}

int removeOne(const Options& options, Console&) {
  FileAccess file;
  openForWriting(file, options.file);
  removeStep(file, options.number);
  flushAndClose(file);
  return kDone;
}

using Action = int (*)(const Options&, Console&);

CLI::App* addAction(CLI::App& sequence, const char* name, const char* about, const std::shared_ptr<Options>& options,
                    Job& job, Action action) {
  CLI::App* const command = sequence.add_subcommand(name, about);
  command->add_option("FILE", options->file, "Data file that holds the sequence")->required()->type_name("");
  command->callback([options, &job, action] {
    job.work = [options, action](Console& console) { return action(*options, console); };
  });
  return command;
}

}  // namespace

void addSequence(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const sequence = app.add_subcommand("sequence", "Make, show and change a sequence of analysis steps");
  sequence->require_subcommand(1);

  CLI::App* const make = addAction(*sequence, "new", "Make a file with an empty sequence", options, job, makeNew);
  make->add_option("--title", options->title, "Title of the sequence")->type_name("TEXT");
  make->add_option("--library", options->library, "Nuclide library that its engines use")
      ->type_name("NAME")
      ->capture_default_str();
  make->add_flag("--force", options->force, "Replace an existing data file");

  CLI::App* const list = addAction(*sequence, "show", "Print the steps", options, job, show);
  list->add_flag("--json", options->json, "Print JSON");

  CLI::App* const insert = addAction(*sequence, "add", "Add a step", options, job, add);
  insert->add_option("ENGINE", options->step.engine, "Name of the engine ('orb engines' lists them)")
      ->required()
      ->type_name("");
  insert->add_option("--at", options->number, "Number that the step gets; the end without it")
      ->check(CLI::Range(1, 65535))
      ->type_name("N");
  insert->add_option("--options", options->step.options, "Processing settings for this step alone: 'NAME=VALUE ...'")
      ->type_name("LIST");
  insert->add_option("--description", options->step.description, "What the step is for")->type_name("TEXT");

  CLI::App* const take = addAction(*sequence, "remove", "Remove a step", options, job, removeOne);
  take->add_option("N", options->number, "Number of the step, from 1")
      ->required()
      ->check(CLI::Range(1, 65535))
      ->type_name("");

  sequence->footer(
      "A sequence keeps no processing settings of its own, so the analysed file's hold; a file that has them may carry "
      "a\n"
      "sequence too and hands them on.\n\n"
      "Example:\n"
      "  orb sequence new my.asf --title \"Lines only\"\n"
      "  orb sequence add my.asf \"peak location\" --options ORB_F_LOCTHRESH=4\n"
      "  orb sequence show my.asf");
}

}  // namespace orb::tool
