#include "analysis.h"

#include <filesystem>
#include <memory>

#include "blocks.h"
#include "engstatus.h"
#include "failure.h"
#include "nuclide_library.h"
#include "open_file.h"
#include "orbparams.h"
#include "sha256.h"
#include "words.h"

namespace com::norvale::measurement {

namespace fs = std::filesystem;
using com::norvale::datatypes::sha256OfRead;

namespace {

/// A path, or its end where it is longer than a parameter for names holds.
std::string endOf(const std::string& path) {
  constexpr std::size_t kLongest = 255;
  return path.size() <= kLongest ? path : path.substr(path.size() - kLongest);
}

/// The content of a data file in a new one, which is left open.
void copyFile(const std::string& source, FileAccess& file, const std::string& target, const std::string& shown_name) {
  FileAccess from;
  openForReading(from, source);
  require(file.open(target, com::norvale::orb::CREATE), shown_name, "cannot create");
  require(from.duplicateTo(file), shown_name, "cannot copy " + source);
}

/// The sequence lies in the file afterwards, with word of where it came from.
/// @return the code of what failed @throws Failure when the sequence cannot be opened
std::uint32_t takeSequence(FileAccess& file, const std::string& path) {
  std::uint32_t status = 0;
  const auto hash = sha256OfRead(path, [&] {
    FileAccess sequence;
    openForReading(sequence, path);
    std::uint16_t n_steps = 0;
    status = sequence.countItems(ORB_T_ACENGNAME, n_steps, 0);
    if (status == 0) status = sequence.copySequenceTo(file);
  });
  if (status != 0) return status;
  if (!hash) throw Failure(path, "cannot be read as a whole: somebody keeps changing it");
  putValue(file, ORB_T_ACSOURCE, Variant(endOf(fs::absolute(path).lexically_normal().string())));
  putValue(file, ORB_T_ACSOURCEHASH, Variant(*hash));
  return 0;
}

/// The sequence lies in the file afterwards. Its libraries give way to that of the request, those of the standard
/// sequence to the file's own as well.
void adoptSequence(FileAccess& file, const AnalysisRequest& request, const std::string& shown_name) {
  std::string libraries[] = {findText(file, ORB_T_NIDLIBRARY), findText(file, ORB_T_LIMLIBRARY)};
  require(takeSequence(file, findSequence(request.sequence)), shown_name, "cannot take over the sequence");
  if (!request.library.empty()) {
    const auto path = fs::absolute(findLibrary(request.library)).lexically_normal();
    libraries[0] = libraries[1] = path.string();
  } else if (!request.sequence.empty()) {
    return;
  }
  if (!libraries[0].empty()) putValue(file, ORB_T_NIDLIBRARY, Variant(libraries[0]));
  if (!libraries[1].empty()) putValue(file, ORB_T_LIMLIBRARY, Variant(libraries[1]));
}

std::string librariesInWords(const FileAccess& file) {
  const std::string first = findText(file, ORB_T_NIDLIBRARY);
  const std::string second = findText(file, ORB_T_LIMLIBRARY);
  return "library '" + escapeLine(first) + "'" + (second == first ? "" : " or '" + escapeLine(second) + "'");
}

}  // namespace

void analyse(const AnalysisRequest& request, FileAccess& file, const std::string& target, const std::string& shown_name,
             const Note& note) {
  if (file.isOpen()) {
    // what is not flushed is not there, so a failure leaves the input as it was
  } else if (looksLikeDataFile(request.input)) {
    copyFile(request.input, file, target, shown_name);
  } else {
    importSpectrum({request.input, request.detector, request.number}, file, target, shown_name, note);
  }
  adoptSequence(file, request, shown_name);
  std::string failed;
  file.observeSteps([&](const com::norvale::orb::StepReport& report) {
    if (report.result != 0) failed = report.engine;
  });
  std::unique_ptr<StepIsolation> isolated;
  if (request.engines.isolate) isolated = request.engines.isolate(file);
  const std::uint32_t status = file.executeSequence(file, request.engines.catalogue, request.engines.folder, false);
  file.observeSteps({});
  std::string what = failed.empty() ? "cannot run the sequence" : "step '" + escapeLine(failed) + "'";
  if (isolated && status == convertReturnCode(ENG_CRASHED)) what += ", " + isolated->crash();
  if (status == convertReturnCode(ENG_NOLIBRARY) || status == convertReturnCode(ENG_BADLIBRARY))
    what += ", " + librariesInWords(file);
  require(status, request.input, what);
}

std::uint32_t runSequence(FileAccess& file, const std::string& sequence, const EngineSet& engines, bool skip_errors) {
  if (!isSameFile(sequence, file.name())) {
    if (const std::uint32_t status = takeSequence(file, sequence)) return status;
  }
  return file.executeSequence(file, engines.catalogue, engines.folder, skip_errors);
}

}  // namespace com::norvale::measurement
