// orb params: searches the dictionary.
#include <algorithm>
#include <memory>

#include "command.h"
#include "failure.h"
#include "json_output.h"
#include "parameter_name.h"
#include "terminal_text.h"

namespace orb::tool {

namespace {

struct Options {
  std::string pattern;
  bool names = false;
  bool json = false;
};

bool matches(const AioParamInfo_T& parameter, const std::string& lower_pattern) {
  const auto contains = [&](const std::string& text) { return toLower(text).find(lower_pattern) != std::string::npos; };
  return contains(parameter.szName) || contains(hex(parameter.ulCode, 8)) || contains(parameter.szDescription);
}

void printTable(const std::vector<AioParamInfo_T>& parameters, Console& console) {
  std::size_t width = 0;
  for (const AioParamInfo_T& p : parameters) width = std::max(width, displayWidth(p.szName));
  for (const AioParamInfo_T& p : parameters) {
    console.line(hex(p.ulCode, 8) + "  " + padRight(p.szName, width) + "  " + padRight(levelWords(p), 6) + "  " +
                 padRight(typeWords(p), 10) + "  " + padRight(escapeLine(p.szUnit), 9) + "  " +
                 escapeLine(p.szDescription));
  }
}

Json asJson(const std::vector<AioParamInfo_T>& parameters) {
  Json list = Json::array();
  for (const AioParamInfo_T& p : parameters) {
    Json json;
    json["code"] = hex(p.ulCode, 8);
    json["name"] = p.szName;
    json["level"] = levelWords(p);
    json["type"] = typeWords(p);
    json["unit"] = p.szUnit;
    json["description"] = p.szDescription;
    list.push_back(std::move(json));
  }
  return list;
}

int run(const Options& options, Console& console) {
  std::vector<AioParamInfo_T> parameters = allParameters();
  const std::string pattern = toLower(options.pattern);
  parameters.erase(std::remove_if(parameters.begin(), parameters.end(),
                                  [&](const AioParamInfo_T& p) { return !matches(p, pattern); }),
                   parameters.end());
  if (options.json) {
    printJson(asJson(parameters), console);
  } else if (options.names) {
    for (const AioParamInfo_T& p : parameters) console.line(p.szName);
  } else {
    printTable(parameters, console);
  }
  if (!parameters.empty()) return kDone;
  console.note("no parameter matches '" + options.pattern + "'");
  return kFailed;
}

}  // namespace

void addParams(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("params", "Search the parameter dictionary");
  command->add_option("PATTERN", options->pattern,
                      "Part of a name, a code or a description, in any case; all parameters without it");
  command->add_flag("--names", options->names, "Print the names only");
  command->add_flag("--json", options->json, "Print JSON");
  command->footer(
      "Columns: code, name, level, type, unit, description. Exit status 1 when nothing matches.\n\n"
      "Example:\n"
      "  orb params 'live time'");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
