// orb diff: values, records and spectra that differ between two data files.
#include <memory>

#include "command.h"
#include "file_difference.h"
#include "progress.h"
#include "terminal_text.h"

namespace orb::tool {

namespace {

// As the usual programs that compare files.
constexpr int kDiffers = 1;
constexpr int kNotCompared = 2;

struct Options {
  std::string first;
  std::string second;
  bool json = false;
};

int run(const Options& options, Console& console) {
  FileAccess first;
  FileAccess second;
  openForReading(first, options.first);
  openForReading(second, options.second);
  std::vector<Difference> differences;
  {
    Progress progress("comparing records", 0);
    differences = compareFiles(first, second, progress);
  }
  if (options.json) {
    Json json;
    json["a"] = options.first;
    json["b"] = options.second;
    json["equal"] = differences.empty();
    json["differences"] = Json::array();
    for (const Difference& difference : differences) json["differences"].push_back(difference.json);
    printJson(json, console);
  } else {
    for (const Difference& difference : differences) console.line(difference.text);
  }
  return differences.empty() ? kDone : kDiffers;
}

}  // namespace

void addDiff(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("diff", "Name the values, records and spectra that differ");
  command->add_option("A", options->first, "Data file")->required();
  command->add_option("B", options->second, "Data file")->required();
  command->add_flag("--json", options->json, "Print JSON");
  command->footer(
      "Each line names a value and what A and B have there. Exit status 0 when the files have the same content,\n"
      "1 when they differ, 2, with a message on standard error, when they cannot be compared.\n\n"
      "Example:\n"
      "  orb diff before.dat after.dat");
  command->callback([options, &job] {
    job.failed = kNotCompared;
    job.work = [options](Console& console) { return run(*options, console); };
  });
}

}  // namespace orb::tool
