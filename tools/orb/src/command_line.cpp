#include "command_line.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "failure.h"
#include "terminal_text.h"
#include "usage_error.h"

namespace orb::tool {

namespace {

struct Entry {
  const char* name;  // in lower case it is the word on the command line
  AddCommand add;
};

constexpr Entry kCommands[] = {
#define ORB_TOOL_ENTRY(Name) {#Name, add##Name},
    ORB_TOOL_COMMANDS(ORB_TOOL_ENTRY)
#undef ORB_TOOL_ENTRY
};

constexpr const char* kAbout = "Looks into spectrum data files, changes values, and brings spectra in and out.";
constexpr const char* kFooter =
    "Data goes to standard output, messages go to standard error.\n"
    "Exit status: 0 done, 1 failed, 2 wrong usage. 'orb COMMAND --help' explains a command.\n\n"
    "Example:\n"
    "  orb import soil.spe soil.dat && orb info soil.dat";

bool looksNegative(std::string_view argument) {
  return argument.size() > 1 && argument[0] == '-' &&
         (argument[1] == '.' || (argument[1] >= '0' && argument[1] <= '9'));
}

/// The parser takes "-5" for an option. No option of ours begins with a digit, so a negative number that is not an
/// option's value goes behind "--", where everything is a plain argument; it is the last one of `orb set`.
std::vector<std::string> protectNegativeNumbers(int argc, char** argv) {
  std::vector<std::string> kept;
  std::vector<std::string> numbers;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--") return std::vector<std::string>(argv + 1, argv + argc);
    const bool is_option_value = !kept.empty() && kept.back().substr(0, 2) == "--";
    (looksNegative(argument) && !is_option_value ? numbers : kept).push_back(argument);
  }
  if (!numbers.empty()) kept.emplace_back("--");
  kept.insert(kept.end(), numbers.begin(), numbers.end());
  return kept;
}

/// The command that was named, or the program itself: whose help is meant.
const CLI::App& innermost(const CLI::App& app) {
  const auto chosen = app.get_subcommands();
  return chosen.empty() ? app : innermost(*chosen.front());
}

/// "orb", "orb sequence" or "orb sequence add"
std::string nameOf(const CLI::App& chosen) {
  const CLI::App* const parent = chosen.get_parent();
  return parent == nullptr ? "orb" : nameOf(*parent) + " " + chosen.get_name();
}

[[noreturn]] void refuse(const CLI::App& app, const std::vector<std::string>& arguments, const CLI::ParseError& error) {
  const CLI::App& chosen = innermost(app);
  std::string what = error.what();
  if (&chosen == &app && !arguments.empty() && arguments.front().substr(0, 1) != "-") {
    what = "no command '" + arguments.front() + "'";
  }
  const std::string prefix = &chosen == &app ? "" : chosen.get_name() + ": ";
  throw UsageError(prefix + escapeLine(what) + "; see '" + nameOf(chosen) + " --help'");
}

/// The ranges of the parser let a NaN through, because it is neither below nor above anything.
void refuseNotANumber(CLI::App& command) {
  for (CLI::Option* const option : command.get_options()) {
    const std::string type = option->get_type_name();
    const bool is_checked_number = type.find("FLOAT in") != std::string::npos || type == "POSITIVE" ||
                                   type.find(":POSITIVE") != std::string::npos ||
                                   type.find("NONNEGATIVE") != std::string::npos;
    if (!is_checked_number) continue;
    option->check([](const std::string& text) {
      char* end = nullptr;
      const double value = std::strtod(text.c_str(), &end);
      return *end == '\0' && std::isnan(value) ? "'" + text + "' is not a number" : std::string();
    });
  }
  for (CLI::App* const inner : command.get_subcommands({})) refuseNotANumber(*inner);
}

/// Describing every command costs more than running a short one, so a command that is named comes alone.
void addCommands(CLI::App& app, Job& job, const std::vector<std::string>& arguments) {
  const auto named = [&](const Entry& entry) { return !arguments.empty() && toLower(entry.name) == arguments.front(); };
  const bool is_known = std::any_of(std::begin(kCommands), std::end(kCommands), named);
  for (const Entry& entry : kCommands) {
    if (!is_known || named(entry)) entry.add(app, job);
  }
  app.require_subcommand(1);
  refuseNotANumber(app);
  for (CLI::App* const command : app.get_subcommands({})) {
    for (CLI::Option* const option : command->get_options()) {
      if (option->get_positional()) option->type_name("");
    }
  }
}

}  // namespace

Job readCommandLine(int argc, char** argv, Console& console) {
  CLI::App app(kAbout, "orb");
  Job job;
  bool verbose = false;
  app.fallthrough();  // inherited by the commands: options of the program may stand behind a command
  app.footer(kFooter);
  app.set_version_flag("--version", "orb " ORB_VERSION, "Print the version and exit");
  app.add_flag("--verbose", verbose, "Show the log of the libraries on standard error");
  app.get_formatter()->column_width(28);
  app.get_formatter()->label("REQUIRED", "(required)");
  const std::vector<std::string> arguments = protectNegativeNumbers(argc, argv);
  addCommands(app, job, arguments);

  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::CallForHelp&) {
    const CLI::App& chosen = innermost(app);
    console.write(chosen.help(chosen.get_parent() == nullptr ? "" : nameOf(*chosen.get_parent())));
    return {[](Console&) { return kDone; }};
  } catch (const CLI::CallForVersion& version) {
    console.line(version.what());
    return {[](Console&) { return kDone; }};
  } catch (const CLI::ParseError& error) {
    refuse(app, arguments, error);
  }
  console.setVerbose(verbose);
  return job;
}

}  // namespace orb::tool
