// orb nuclides: what an analysis found in a file, or what a library holds.
#include <cmath>
#include <cstdio>
#include <memory>

#include "command.h"
#include "failure.h"
#include "nuclide_library.h"
#include "nuclide_output.h"
#include "terminal_text.h"
#include "usage_error.h"

namespace orb::tool {

namespace {

struct Options {
  std::string file;
  std::string library;
  std::string name;
  double energy_keV = 0;
  double tolerance_keV = 1;
  bool limits = false;
  bool json = false;
};

int showResults(const Options& options, Console& console) {
  FileAccess file;
  openForReading(file, options.file);
  const NuclideResults results = readNuclides(file);
  if (options.json) {
    Json json;
    appendNuclides(json, results);
    printJson(json, console);
  } else {
    if (results.is_analysed)
      printNuclides(results, options.limits, console);
    else
      console.note(options.file + ": not analysed for nuclides yet; orb analyze does it");
  }
  return kDone;
}

/// Every line of the library that matches.
std::vector<LibraryLine> lookUp(const Options& options, const std::string& path) {
  const auto library = readLibrary(path);
  if (!options.name.empty()) return linesOfNuclide(library, options.name, path);
  std::vector<LibraryLine> lines;
  for (const LibraryLine& line : library)
    if (std::abs(line.energy_keV - options.energy_keV) <= options.tolerance_keV) lines.push_back(line);
  return lines;
}

int showLibrary(const Options& options, Console& console) {
  const std::string path = findLibrary(options.library);
  const auto lines = lookUp(options, path);
  Json list = Json::array();
  for (const LibraryLine& line : lines) {
    list.push_back({{"nuclide", line.nuclide},
                    {"energy_keV", line.energy_keV},
                    {"probability_percent", line.probability},
                    {"half_life_s", line.half_life_s},
                    {"parent", line.parent},
                    {"type", line.type},
                    {"key", line.is_key},
                    {"record", line.record}});
    if (options.json) continue;
    char numbers[96];
    std::snprintf(numbers, sizeof numbers, "%10.3f keV %9.4f %%  %11.4g s  ", line.energy_keV, line.probability,
                  line.half_life_s);
    console.line(padRight(escapeLine(line.nuclide), 10) + numbers + escapeLine(line.type) +
                 (line.is_key ? ", key" : "") +
                 (line.parent.empty() ? "" : ", half-life of " + escapeLine(line.parent)));
  }
  if (options.json) printJson({{"library", path}, {"lines", list}}, console);
  if (lines.empty() && !options.json) console.note(path + ": no line within the tolerance");
  return lines.empty() ? kFailed : kDone;
}

int run(const Options& options, Console& console) {
  const bool looks_up = !options.name.empty() || options.energy_keV > 0;
  if (options.file.empty() == !looks_up)
    throw UsageError("nuclides: name either a file, or --energy or --name to look up in a library");
  if (!looks_up && !options.library.empty())
    throw UsageError("nuclides: --library goes with --energy or --name; a file keeps the name of its own library");
  return looks_up ? showLibrary(options, console) : showResults(options, console);
}

}  // namespace

void addNuclides(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command =
      app.add_subcommand("nuclides", "Print the nuclides of a file, or look lines up in a library");
  command->add_option("FILE", options->file, "Analysed data file");
  command->add_option("--library", options->library, "Nuclide library; the standard one without it")->type_name("L");
  CLI::Option* const energy = command->add_option("--energy", options->energy_keV, "Lines at this energy, in keV")
                                  ->check(CLI::Range(1e-3, 1e6))
                                  ->type_name("E");
  command->add_option("--tol", options->tolerance_keV, "Greatest distance of a line from it, in keV")
      ->check(CLI::Range(0.0, 1e6))
      ->needs(energy)
      ->capture_default_str()
      ->type_name("T");
  command->add_option("--name", options->name, "Lines of this nuclide")->type_name("N")->excludes(energy);
  command->add_flag("--limits", options->limits, "List the detection limits of nuclides that were not found");
  command->add_flag("--json", options->json, "Print JSON");
  command->footer(
      "Example:\n  orb nuclides soil.dat\n  orb nuclides --energy 661.7 --tol 1\n  orb nuclides --name Eu-152");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
