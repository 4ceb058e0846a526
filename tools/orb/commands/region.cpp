// orb region: the limits of a region of interest.
#include <cmath>
#include <memory>

#include "command.h"
#include "failure.h"
#include "json_output.h"
#include "open_file.h"
#include "usage_error.h"

namespace orb::tool {

namespace {

namespace lib = com::norvale::orb;

struct Options {
  std::string file;
  unsigned channel = 0;  // 0: by the energy
  double energy = 0;
  bool from_counts = false;
  bool json = false;
};

float evaluated(const FileAccess& file, lib::EvaluationOption option, double at) {
  try {
    const float value = file.evaluate(option, static_cast<float>(at), false).value;
    if (!std::isfinite(value)) throw Failure(file.name(), "no channel has that energy");
    return value;
  } catch (const unsigned int status) {
    throw Failure(file.name(), "cannot evaluate the energy equation", status);
  }
}

int run(const Options& options, Console& console) {
  if ((options.channel == 0) == (options.energy == 0)) throw UsageError("region: give either --channel or --energy");
  FileAccess file;
  openForReading(file, options.file);
  unsigned channel = options.channel;
  double energy = options.energy;
  if (channel == 0) {
    const float position = evaluated(file, lib::ENERGY2CHANNEL, energy);
    if (position < 1 || position > 16777216.0f) throw Failure(options.file, "the energy lies outside the spectrum");
    channel = static_cast<unsigned>(std::lround(position));
  }
  if (energy == 0 && !options.from_counts) energy = evaluated(file, lib::CHANNEL2ENERGY, channel);
  const auto [first, last] = file.determineRegion(channel, static_cast<float>(energy), !options.from_counts);
  if (last == 0)
    throw Failure(options.file, options.from_counts ? "there is no line at that channel"
                                                    : "no region there; the calibration or the channel will not do");
  if (options.json) {
    printJson(Json{{"file", options.file}, {"channel", channel}, {"region", {first, last}}}, console);
  } else {
    console.line(std::to_string(first) + " " + std::to_string(last));
  }
  return kDone;
}

}  // namespace

void addRegion(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("region", "Propose the limits of a region around a line");
  command->add_option("FILE", options->file, "Data file")->required();
  command->add_option("--channel", options->channel, "Channel of the line, from 1")->type_name("N");
  command->add_option("--energy", options->energy, "Energy of the line in keV")
      ->check(CLI::PositiveNumber)
      ->type_name("E");
  command->add_flag("--from-counts", options->from_counts, "Width from the counts rather than from the calibration");
  command->add_flag("--json", options->json, "Print JSON");
  command->footer("Prints the first and the last channel.\n\nExample:\n  orb region soil.dat --energy 661.66");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
