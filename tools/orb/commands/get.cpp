// orb get: one bare value.
#include <memory>

#include "failure.h"
#include "open_file.h"
#include "parameter_name.h"
#include "terminal_text.h"
#include "value_address.h"
#include "value_text.h"

namespace orb::tool {

namespace {

int run(const ValueAddress& address, Console& console) {
  const AioParamInfo_T parameter = findParameter(address.parameter, address.file);
  noteUnusedNumbers(parameter, address, console);
  FileAccess file;
  openForReading(file, address.file);
  Variant value;
  require(file.getParameter(parameter.ulCode, value, address.record, address.entry), address.file,
          placeWords(parameter, address));
  const std::string text = valueText(value, parameter);
  // A program gets the text as it is; a terminal must not obey what stands in a file.
  console.line(console.isTerminal() ? escapeText(text) : text);
  return kDone;
}

}  // namespace

void addGet(CLI::App& app, Job& job) {
  auto address = std::make_shared<ValueAddress>();
  CLI::App* const command = app.add_subcommand("get", "Print one value");
  addValueAddress(*command, *address);
  command->footer(
      "Times are printed in ISO 8601, numbers as the shortest text that reads back to the same number.\n\n"
      "Examples:\n"
      "  orb get soil.dat ORB_D_LIVETIME\n"
      "  orb get soil.dat orb_d_pkenergy --record 3");
  command->callback([address, &job] { job.work = [address](Console& console) { return run(*address, console); }; });
}

}  // namespace orb::tool
