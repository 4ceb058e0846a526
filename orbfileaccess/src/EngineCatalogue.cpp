#include "EngineCatalogue.h"

#include <cerrno>
#include <fstream>
#include <new>
#include <optional>
#include <sstream>

#include "ExceptionCapture.h"

namespace com::norvale::orb {

namespace {

enum Field : std::size_t { kCategory = 0, kDescription = 2, kName = 3, kLocator = 5 };

/// The engine of a line; nothing for a line that lacks a part of it.
std::optional<EngineMetadata> engineOf(const std::string& line) {
  std::vector<std::string> fields;
  Split(line.c_str(), '$', fields);
  if (fields.size() <= kLocator) return std::nullopt;
  std::vector<std::string> locator;
  Split(fields[kLocator].c_str(), '!', locator);
  if (locator.size() < 2) return std::nullopt;
  return EngineMetadata(locator[0], fields[kName], locator[1], fields[kCategory], fields[kDescription]);
}

/// False for a file that is not there or not to be read.
bool openForReading(std::filebuf& in, const std::string& path) {
  errno = 0;
  if (in.open(path, std::ios::in) != nullptr) return true;
  if (errno == ENOMEM) throw std::bad_alloc();
  return false;
}

/// Empty at the end of the file, and of what can be read of it. A stream would end a line where it has no memory too.
std::string readLine(std::filebuf& in) {
  std::string line;
  try {
    for (int c = in.sbumpc(); c != std::filebuf::traits_type::eof() && c != '\n'; c = in.sbumpc())
      line.push_back(static_cast<char>(c));
  } catch (const std::ios::failure&) {
    line.clear();
  }
  return line;
}

}  // namespace

}  // namespace com::norvale::orb

com::norvale::orb::RegisteredEngines parseAEF(const std::string& file) {
  using namespace com::norvale::orb;
  RegisteredEngines engines;
  captureExceptions("FileAccess::parseAEF", [&] {
    std::filebuf in;
    if (!openForReading(in, file)) return;
    for (std::string line = readLine(in); !line.empty(); line = readLine(in)) {
      if (auto engine = engineOf(line)) engines.push_back(std::move(*engine));
    }
  });
  return engines;
}

std::vector<std::string>& Split(const char* s, char delim, std::vector<std::string>& elems) {
  elems.clear();
  std::istringstream text(s);
  text.exceptions(std::ios::badbit);  // or fields would be missing where memory was
  std::string field;
  while (std::getline(text, field, delim)) elems.push_back(field);
  return elems;
}
