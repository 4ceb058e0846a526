// orb set: stores one value.
#include <memory>

#include "failure.h"
#include "open_file.h"
#include "parameter_name.h"
#include "value_address.h"
#include "value_text.h"

namespace orb::tool {

namespace {

struct Options {
  ValueAddress address;
  std::string value;
};

int run(const Options& options, Console& console) {
  const ValueAddress& address = options.address;
  const AioParamInfo_T parameter = findParameter(address.parameter, address.file);
  const Variant value = parseValue(options.value, parameter, address.file);
  noteUnusedNumbers(parameter, address, console);
  FileAccess file;
  openForWriting(file, address.file);
  require(file.setParameter(parameter.ulCode, value, address.record, address.entry), address.file,
          placeWords(parameter, address));
  flushAndClose(file);
  return kDone;
}

}  // namespace

void addSet(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("set", "Store one value");
  addValueAddress(*command, options->address);
  command->add_option("VALUE", options->value, "Value: a number, true or false, a time in ISO 8601, or text")
      ->required();
  command->footer(
      "A value that does not fit the parameter is refused and the file stays as it was.\n"
      "Record or entry n+1 is added. Text that begins with a hyphen goes behind --.\n\n"
      "Examples:\n"
      "  orb set soil.dat ORB_X_ACQSTART 2024-03-01T12:30:00Z\n"
      "  orb set soil.dat ORB_D_ECALOFFSET -0.35");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
