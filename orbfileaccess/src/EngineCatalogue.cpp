#include "EngineCatalogue.h"

#include <fstream>
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

}  // namespace

}  // namespace com::norvale::orb

com::norvale::orb::RegisteredEngines parseAEF(const std::string& file) {
  using namespace com::norvale::orb;
  RegisteredEngines engines;
  captureExceptions("FileAccess::parseAEF", [&] {
    std::ifstream in(file);
    std::string line;
    while (std::getline(in, line) && !line.empty()) {
      if (auto engine = engineOf(line)) engines.push_back(std::move(*engine));
    }
  });
  return engines;
}

std::vector<std::string>& Split(const char* s, char delim, std::vector<std::string>& elems) {
  elems.clear();
  std::istringstream text(s);
  std::string field;
  while (std::getline(text, field, delim)) elems.push_back(field);
  return elems;
}
