// orb create: a new file with its defaults.
#include <memory>

#include "aioproto.h"
#include "atomic_file.h"
#include "command.h"
#include "failure.h"
#include "open_file.h"

namespace orb::tool {

namespace {

struct Options {
  std::string file;
  std::uint32_t channels = 0;
  std::string detector = "hpge";
  bool force = false;
};

int run(const Options& options, Console&) {
  DraftFile draft(options.file, options.force);
  FileAccess file;
  createFile(file, draft.path(), options.channels, options.detector == "nai", options.file);
  draft.write(file);
  draft.publish();
  return kDone;
}

}  // namespace

void addCreate(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("create", "Make a new file with its defaults");
  command->add_option("FILE", options->file, "Data file to make")->required();
  command->add_option("--channels", options->channels, "Channels of the spectrum, 1 to 16777216")
      ->required()
      ->check(CLI::Range(1u, AIO_MAX_CHANNELS))
      ->type_name("N");
  command->add_option("--detector", options->detector, "Kind of detector that the defaults are for: hpge or nai")
      ->check(CLI::IsMember({"hpge", "nai"}))
      ->type_name("KIND")
      ->capture_default_str();
  command->add_flag("--force", options->force, "Replace an existing file");
  command->footer("Example:\n  orb create new.dat --channels 8192 --detector hpge");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
