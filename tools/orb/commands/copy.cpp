// orb copy: one block, calibrations, or the whole content of a data file into another.
#include <algorithm>
#include <memory>

#include "arguments.h"
#include "atomic_file.h"
#include "blocks.h"
#include "command.h"
#include "failure.h"
#include "logged_failure.h"
#include "orbparams.h"
#include "terminal_text.h"
#include "text_stream.h"
#include "usage_error.h"

namespace orb::tool {

namespace {

namespace lib = com::norvale::orb;

struct Options {
  std::string source;
  std::string destination;
  std::string cls;
  std::string calibrations;
  bool all = false;
  bool force = false;
};

struct Kind {
  const char* name;
  lib::CopyCalibrationOptions option;
  std::uint16_t cls;  // the block that goes with it; 0 none
};

constexpr Kind kKinds[] = {
    {"energy", lib::ENERGY, ORB_CLS_CALRESULTS},
    {"shape", lib::SHAPE, ORB_CLS_SHAPECALRES},
    {"efficiency", lib::EFFICIENCY, ORB_CLS_GEOM},
    {"peak2total", lib::PEAK2TOTAL, ORB_CLS_PTCALIB},
    {"tojo", lib::TOJO, 0},
};

lib::CopyCalibrationOptions parseKinds(const std::string& list) {
  auto kinds = static_cast<lib::CopyCalibrationOptions>(0);
  TextStream words(list);
  for (std::string word; std::getline(words, word, ',');) {
    if (word == "all") return lib::ALL;
    const auto kind = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const Kind& k) { return word == k.name; });
    if (kind == std::end(kKinds)) {
      throw UsageError("copy: no calibration '" + escapeLine(word) +
                       "'; there are energy, shape, efficiency, peak2total, tojo, all");
    }
    kinds = kinds | kind->option;
  }
  if (kinds == 0) throw UsageError("copy: --calibrations needs at least one kind");
  return kinds;
}

/// A spectrum is read by the channel count that stands in another block, so that has to follow.
void adoptChannelCount(FileAccess& destination, const AioBlockInfo_T& spectral, Console& console) {
  if (findNumber(destination, ORB_L_CHANNELS) == spectral.ulChannels) return;
  putValue(destination, ORB_L_CHANNELS, Variant(spectral.ulChannels));
  console.note(destination.name() + ": ORB_L_CHANNELS is now " + std::to_string(spectral.ulChannels));
}

void copyClass(const FileAccess& source, FileAccess& destination, std::uint16_t cls, Console& console) {
  const auto find = [cls](const std::vector<AioBlockInfo_T>& blocks) {
    return std::find_if(blocks.begin(), blocks.end(), [cls](const auto& b) { return b.usClass == cls; });
  };
  const auto source_blocks = listBlocks(source);
  const auto block = find(source_blocks);
  const std::string what = "block " + hex(cls, 4) + " " + classWords(cls);
  if (block == source_blocks.end()) throw Failure(source.name(), what, lib::kNoBlock);
  const auto present = listBlocks(destination);
  if (find(present) == present.end()) {
    const bool is_spectral = cls == ORB_CLS_SPECTRUM;
    const ULONG size = is_spectral ? block->ulChannels : block->ulSize;
    require(destination.createBlock(cls, size, block->ulGroups, block->ulRows), destination.name(),
            "cannot make " + what);
  }
  require(source.copyTo(destination, cls), destination.name(), "cannot copy " + what);
  if (cls == ORB_CLS_SPECTRUM) adoptChannelCount(destination, *block, console);
}

/// Names the kinds of which the source has no table. Single values may be copied all the same.
void noteMissingTables(const FileAccess& source, lib::CopyCalibrationOptions kinds, Console& console) {
  const auto blocks = listBlocks(source);
  for (const Kind& kind : kKinds) {
    if ((kinds & kind.option) == 0 || kind.cls == 0) continue;
    if (!hasBlock(blocks, kind.cls))
      console.note(source.name() + ": has no block " + hex(kind.cls, 4) + " " + classWords(kind.cls));
  }
}

void copyCalibrations(const FileAccess& source, FileAccess& destination, lib::CopyCalibrationOptions kinds,
                      Console& console) {
  noteMissingTables(source, kinds, console);
  const LoggedFailure failure;  // single values are passed over
  require(source.copyCalibrationsTo(destination, kinds), destination.name(), "cannot copy the calibrations");
  require(failure.code(), destination.name(), "cannot copy the calibrations");
  const auto blocks = listBlocks(source);
  const auto copied = listBlocks(destination);
  for (const Kind& kind : kKinds) {
    if ((kinds & kind.option) != 0 && hasBlock(blocks, kind.cls) && !hasBlock(copied, kind.cls))
      throw Failure(destination.name(), "cannot make block " + hex(kind.cls, 4), lib::kOutOfMemory);
  }
}

/// The whole content, as a new file that takes the destination's place.
void copyAll(const FileAccess& source, const Options& options) {
  DraftFile draft(options.destination, options.force);
  FileAccess copy;
  require(copy.open(draft.path(), lib::CREATE), options.destination, "cannot create");
  require(source.copyTo(copy, 0xFFFFFFFFu), options.destination, "cannot copy");
  draft.write(copy);
  draft.publish();
}

int run(const Options& options, Console& console) {
  const auto kinds = options.calibrations.empty() ? lib::ALL : parseKinds(options.calibrations);
  const std::uint16_t cls = options.cls.empty() ? std::uint16_t{0} : parseClass(options.cls);
  if (isSameFile(options.source, options.destination)) {
    throw Failure(options.destination, "source and destination are the same file", lib::kBadArgument);
  }
  FileAccess source;
  openForReading(source, options.source);
  if (options.all) {
    copyAll(source, options);
    return kDone;
  }
  FileAccess destination;
  openForWriting(destination, options.destination);
  if (options.cls.empty()) {
    copyCalibrations(source, destination, kinds, console);
  } else {
    copyClass(source, destination, cls, console);
  }
  flushAndClose(destination);
  return kDone;
}

}  // namespace

void addCopy(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("copy", "Copy a block, calibrations or everything into another file");
  command->add_option("SRC", options->source, "Data file to copy from")->required();
  command->add_option("DST", options->destination, "Data file to copy into")->required();
  CLI::Option_group* const what = command->add_option_group("What to copy");
  what->add_option("--class", options->cls, "The block of this class, as 0x2006; it is made in DST if missing")
      ->type_name("C");
  what->add_flag("--all", options->all, "Everything; DST becomes a copy of SRC (an existing DST: with --force)");
  what->add_option("--calibrations", options->calibrations,
                   "Calibrations, a list of energy, shape, efficiency, peak2total, tojo; or all")
      ->type_name("LIST");
  what->require_option(1);
  command->add_flag("--force", options->force, "With --all: replace an existing DST");
  command->footer("Example:\n  orb copy calibrated.dat soil.dat --calibrations energy,shape");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
