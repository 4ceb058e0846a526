// Analysis engines: one engine, a sequence of them, and copying a sequence into the file that it is to run on.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <utility>

#include "FailureReport.h"
#include "FileAccess.h"
#include "Library.h"
#include "OpenFileCheck.h"
#include "citypes.h"
#include "comdefs.h"
#include "orbparams.h"

namespace com::norvale::orb {

using datatypes::Variant;

namespace {

/// The entry point of an engine: service handle, step number, two pointers that are always null.
using PFNENGINE = LONG (*)(void*, USHORT, void*, void*);

// Settings of the analysed file that a sequence does not bring along.

/// The value of a header parameter; empty when it cannot be read.
Variant valueOf(const FileAccess& file, std::uint32_t code) {
  Variant value;
  file.getParameter(code, value, 0, 0);
  return value;
}

std::uint32_t putValue(FileAccess& file, std::uint32_t code, const Variant& value) {
  return value.hasValue() ? file.setParameter(code, value, 0, 0) : 0;
}

/// Copies a block, which is made in the destination when it is missing there. Still missing afterwards, it is missing
/// in the source, and that is no failure.
std::uint32_t copyOrCreateBlock(const FileAccess& source, FileAccess& dest, std::uint16_t cls) {
  std::uint32_t status = source.copyTo(dest, cls);
  if (status == kNoBlock) {
    dest.createBlock(cls, 0, 1, 1);
    status = source.copyTo(dest, cls);
  }
  return status == kNoBlock ? 0 : status;
}

/// The destination is titled by one of the two titles of the source when the source has only that one. With both, the
/// sequence's came along with its block.
void copySequenceTitle(const FileAccess& source, FileAccess& dest, const Variant& title) {
  const Variant sequence_title = valueOf(source, ORB_T_ETITLE);
  if (title.hasValue() && sequence_title.hasValue()) return;
  putValue(dest, ORB_T_ETITLE, title.hasValue() ? title : sequence_title);
}

/// Path of the catalogue: the value of the environment variable of that name, or the text itself.
std::string cataloguePath(const std::string& aef) {
  const char* const value = std::getenv(aef.c_str());
  return value != nullptr ? value : aef;
}

double secondsSince(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

}  // namespace

void FileAccess::observeSteps(StepObserver observer) {
  const FileLock lock(m_mutex);
  m_observer = std::move(observer);
}

void FileAccess::runStepsWith(StepRunner runner) {
  const FileLock lock(m_mutex);
  m_runner = std::move(runner);
}

std::uint32_t FileAccess::execute(const std::string& fnc, const std::string& resource, std::uint16_t phase) {
  constexpr const char* kWhere = "FileAccess::execute";
  const FileLock lock(m_mutex);
  datatypes::Library library;
  if (const auto refusal = requireOpen(*this, *this, kWhere, "File to analyze is not open", kFileNotOpen)) {
    return refusal;
  }
  if (const std::uint32_t status = library.open(resource)) {
    return reportFileFailure(*this, kWhere, "Failed to find engine resource", status);
  }
  const auto engine = reinterpret_cast<PFNENGINE>(library.procAddress(fnc));
  if (engine == nullptr) return reportFileFailure(*this, kWhere, "Failed to find engine entry point", kNoEntryPoint);
  const LONG status = engine(m_handle, phase, nullptr, nullptr);
  setModified(true);
  return convertReturnCode(static_cast<std::uint32_t>(status));
}

std::uint32_t FileAccess::executeSequence(const FileAccess& asf, const std::string& aef, const std::string& enginePath,
                                          bool skipStepError) {
  const FileLock lock(m_mutex);
  const auto failed = [this](const char* text, std::uint32_t code, const std::string& engine = {},
                             const char* rest = "") {
    return reportFileFailureOf(*this, "FileAccess::executeSequence", code, [&] { return text + engine + rest; });
  };
  if (!asf.isOpen()) return failed("ASF is not open", kFileNotOpen);
  if (!isOpen()) return failed("File to analyze is not open", kFileNotOpen);
  std::uint16_t nsteps = 0;
  if (const auto status = asf.countItems(ORB_T_ACENGNAME, nsteps, 0)) return failed("Error counting steps", status);
  if (asf.handle() != m_handle) {
    if (const auto status = asf.copySequenceTo(*this)) return failed("Error copying sequence parameters", status);
  }
  const RegisteredEngines engines = parseAEF(cataloguePath(aef));
  const StepObserver observer = m_observer;  // it may name another one meanwhile
  const StepRunner runner = m_runner;
  std::uint32_t last_status = 0;
  for (std::uint32_t step = 1; step <= nsteps; ++step) {
    const auto number = static_cast<std::uint16_t>(step);
    Variant value;
    if (const auto status = asf.getParameter(ORB_T_ACENGNAME, value, number, 0)) {
      return failed("Error getting parameter ORB_T_ACENGNAME", status);
    }
    const std::string name = value.toString();
    const auto is_wanted = [&](const EngineMetadata& engine) { return engine.Name == name; };
    const auto engine = std::find_if(engines.begin(), engines.end(), is_wanted);
    if (engine == engines.end()) return failed("Engine ", kEngineNotFound, name, " not found in AEF");
    const auto begin = std::chrono::steady_clock::now();
    const std::string resource = enginePath + engine->Resource;
    last_status = runner ? runner(engine->Function, resource, number) : execute(engine->Function, resource, number);
    if (observer) observer({number, name, secondsSince(begin), last_status});
    if (last_status == 0) continue;
    failed("Error returned from engine ", last_status, name);
    if (!skipStepError) return last_status;
  }
  setModified(true);
  return last_status;
}

std::uint32_t FileAccess::copySequenceTo(FileAccess& dest) const {
  constexpr const char* kWhere = "FileAccess::copySequenceTo";
  const FileLock lock(m_mutex);
  const FileLock dest_lock(dest.mutex());
  if (const auto refusal = requireOpen(dest, *this, kWhere, "Destination is not open", kFileNotOpen)) return refusal;
  if (const auto refusal = requireOpen(*this, *this, kWhere, "Source is not open", kFileNotOpen)) return refusal;
  if (const auto refusal = requireDistinct(*this, dest, kWhere)) return refusal;

  constexpr std::uint32_t kKept[] = {ORB_L_REPORTPAGES, ORB_L_REPORTLINES, ORB_D_COLLTIME, ORB_T_BUILDUP};
  Variant kept[std::size(kKept)];
  std::transform(std::begin(kKept), std::end(kKept), kept, [&](std::uint32_t code) { return valueOf(dest, code); });

  if (const std::uint32_t status = copyOrCreateBlock(*this, dest, ORB_CLS_ANALCNTL)) {
    // Log filters of the field know the name with three s.
    return reportFileFailure(*this, "FileAccesss::copySequenceTo", "Failed to copy ORB_CLS_ANALCNTL", status);
  }
  if (const std::uint32_t status = copyOrCreateBlock(*this, dest, ORB_CLS_PROC)) {
    return reportFileFailure(*this, kWhere, "Failed to copy ORB_CLS_PROC", status);
  }
  if (const std::uint32_t status = putValue(dest, ORB_T_EFFMODEL, valueOf(*this, ORB_T_EFFMODEL))) return status;
  putValue(dest, ORB_T_GEOCSFILE, valueOf(*this, ORB_T_GEOCSFILE));
  for (std::size_t i = 0; i < std::size(kKept); ++i) putValue(dest, kKept[i], kept[i]);
  const Variant title = valueOf(*this, ORB_T_CTITLE);
  putValue(dest, ORB_T_CTITLE, title);
  copySequenceTitle(*this, dest, title);
  return 0;
}

}  // namespace com::norvale::orb
