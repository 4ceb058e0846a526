#include "open_file.h"

#include <sys/stat.h>

#include "blocks.h"
#include "failure.h"
#include "logged_failure.h"
#include "memory_shortage.h"
#include "orbparams.h"
#include "words.h"

namespace com::norvale::measurement {

namespace lib = com::norvale::orb;

namespace {

constexpr std::uint32_t kSettledChannels = 65535;  // what the settings of a new file cover

/// Makes the settings cover a longer spectrum.
void coverAllChannels(FileAccess& file, std::uint32_t n_channels) {
  if (n_channels <= kSettledChannels) return;
  for (const std::uint32_t code : {ORB_L_LOCLAST, ORB_L_FITLAST})
    putValue(file, code, Variant(static_cast<int>(n_channels)));
}

}  // namespace

void openForReading(FileAccess& file, const std::string& path) {
  require(file.open(path, lib::READONLY), path, "cannot open");
}

void openForWriting(FileAccess& file, const std::string& path) {
  require(file.open(path, lib::READWRITE), path, "cannot open for writing");
}

void createFile(FileAccess& file, const std::string& path, std::uint32_t channels, bool is_NaI,
                const std::string& shown_name) {
  const LoggedFailure failure;  // creation goes on after a value or a block that cannot be made
  require(file.create(path, channels, is_NaI), shown_name, "cannot create");
  require(failure.code(), shown_name, "cannot create");
  const auto blocks = listBlocks(file);
  for (const unsigned cls : {ORB_CLS_ACQUISITION, ORB_CLS_ANALCNTL, ORB_CLS_DISPLAY, ORB_CLS_SPECTRUM})
    if (!hasBlock(blocks, static_cast<std::uint16_t>(cls)))
      throw Failure(shown_name, "cannot create", convertReturnCode(AIO_NOMEMORY));
  coverAllChannels(file, channels);
}

void flushAndClose(FileAccess& file) {
  const std::string name = file.name();
  requireNoMemoryShortage(name);
  require(file.flush(), name, "cannot write the changes");
  require(file.close(lib::NOFLUSH), name, "cannot close");
}

std::optional<Variant> findValue(const FileAccess& file, std::uint32_t code, std::uint16_t record,
                                 std::uint16_t entry) {
  Variant value;
  const std::uint32_t status = file.getParameter(code, value, record, entry);
  if (status == lib::kNoValue) return std::nullopt;
  if (status != 0) throw Failure(file.name(), "cannot read " + formatParameterError(code), status);
  return value;
}

std::string findText(const FileAccess& file, std::uint32_t code) {
  const auto value = findValue(file, code);
  return value ? value->toString() : std::string();
}

std::optional<double> findNumber(const FileAccess& file, std::uint32_t code) {
  const auto value = findValue(file, code);
  return value ? std::optional(value->toDouble()) : std::nullopt;
}

void putValue(FileAccess& file, std::uint32_t code, const Variant& value) {
  const std::uint32_t status = file.setParameter(code, value, 0, 0);
  if (status != 0) throw Failure(file.name(), "cannot store " + formatParameterError(code), status);
}

bool isSameFile(const std::string& a, const std::string& b) {
  struct stat first {};
  struct stat second {};
  return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 && first.st_dev == second.st_dev &&
         first.st_ino == second.st_ino;
}

bool pathExists(const std::string& path) {
  struct stat state {};
  return lstat(path.c_str(), &state) == 0;
}

}  // namespace com::norvale::measurement
