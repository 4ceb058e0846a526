// orb eval: a number through a calibration of a file.
#include <memory>

#include "command.h"
#include "failure.h"
#include "json_output.h"
#include "open_file.h"
#include "usage_error.h"
#include "value_text.h"

namespace orb::tool {

namespace {

namespace lib = com::norvale::orb;

struct Options {
  std::string file;
  std::string what;
  std::string model;
  double at = 0;
  bool json = false;
};

struct Question {
  const char* what;
  const char* model;
  lib::EvaluationOption option;
  const char* unit;
};

constexpr Question kQuestions[] = {
    {"energy", "", lib::CHANNEL2ENERGY, "keV"},
    {"channel", "", lib::ENERGY2CHANNEL, "channel"},
    {"fwhm", "", lib::ENERGY2FWHM, "keV"},
    {"tail", "", lib::ENERGY2LOWTAIL, "keV"},
    {"efficiency", "", lib::ENERGY2DEFAULTEFF, "1"},
    {"efficiency", "dual", lib::ENERGY2DUAL, "1"},
    {"efficiency", "linear", lib::ENERGY2LINEAR, "1"},
    {"efficiency", "empirical", lib::ENERGY2EMPIRICAL, "1"},
    {"efficiency", "interpolated", lib::ENERGY2INTERPOL, "1"},
    {"efficiency", "average", lib::ENERGY2AVERAGE, "1"},
    {"peak-to-total", "", lib::ENERGY2PEAK2TOTAL, "1"},
};

const Question& questionOf(const Options& options) {
  for (const Question& question : kQuestions)
    if (options.what == question.what && options.model == question.model) return question;
  throw UsageError("eval: there is no model '" + options.model + "' of " + options.what);
}

int run(const Options& options, Console& console) {
  const Question& question = questionOf(options);
  // The file object selects another efficiency model by a change that it takes back; nothing is written to disk.
  FileAccess file;
  const bool selects = question.option > lib::ENERGY2DEFAULTEFF;
  if (selects) {
    openForWriting(file, options.file);
  } else {
    openForReading(file, options.file);
  }
  com::norvale::datatypes::Estimate<float> result;
  try {
    result = file.evaluate(question.option, static_cast<float>(options.at), false);
  } catch (const unsigned int status) {
    throw Failure(options.file, "cannot evaluate", status);
  }
  if (!(result.value == result.value)) throw Failure(options.file, "no " + options.what + " belongs to that number");
  file.close(lib::NOFLUSH);
  if (options.json) {
    Json json;
    json["file"] = options.file;
    json["what"] = options.what;
    if (!options.model.empty()) json["model"] = options.model;
    json["at"] = options.at;
    json["value"] = result.value;
    json["uncertainty"] = result.uncertainty;
    json["unit"] = question.unit;
    printJson(json, console);
    return kDone;
  }
  const std::string uncertainty = result.uncertainty > 0 ? " ± " + roundedText(result.uncertainty, 2) : "";
  console.line(roundedText(result.value, 7) + uncertainty + (question.unit[0] == '1' ? "" : " ") +
               (question.unit[0] == '1' ? "" : question.unit));
  return kDone;
}

}  // namespace

void addEval(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("eval", "Evaluate a calibration of a file");
  command->add_option("FILE", options->file, "Data file")->required();
  command
      ->add_option("WHAT", options->what,
                   "energy (of a channel); channel, fwhm, tail, efficiency, peak-to-total (of an energy)")
      ->required()
      ->check(CLI::IsMember({"energy", "channel", "fwhm", "tail", "efficiency", "peak-to-total"}));
  command->add_option("X", options->at, "Channel, from 1, or energy in keV")->required();
  command
      ->add_option("--model", options->model,
                   "Efficiency: dual, linear, empirical, interpolated or average; the file's own without it")
      ->type_name("MODEL");
  command->add_flag("--json", options->json, "Print JSON");
  command->footer("Example:\n  orb eval soil.dat energy 1765.3");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
