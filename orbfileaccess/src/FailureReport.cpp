#include "FailureReport.h"

#include "FileAccess.h"
#include "writelog.h"

namespace com::norvale::orb {

std::uint32_t reportFailure(const char* where, const std::string& text, std::uint32_t code) {
  application::vyx::writelog(where, application::vyx::err, text, code);
  return code;
}

std::uint32_t reportFileFailure(const FileAccess& file, const char* where, const std::string& text,
                                std::uint32_t code) {
  const std::string name = file.name();
  return reportFailure(where, "File: " + (name.empty() ? "(unknown)" : name) + ". " + text, code);
}

}  // namespace com::norvale::orb
