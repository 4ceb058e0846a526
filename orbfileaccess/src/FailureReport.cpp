#include "FailureReport.h"

#include "FileAccess.h"
#include "writelog.h"

namespace com::norvale::orb {

using application::vyx::err;
using application::vyx::writelog;

std::uint32_t reportFailure(const char* where, std::string_view text, std::uint32_t code) noexcept {
  try {
    writelog(where, err, std::string(text), code);
  } catch (const std::bad_alloc&) {
    writelog({}, err, {}, code);
  }
  return code;
}

std::uint32_t reportFileFailure(const FileAccess& file, const char* where, std::string_view text,
                                std::uint32_t code) noexcept {
  try {
    const std::string name = file.name();
    writelog(where, err, "File: " + (name.empty() ? "(unknown)" : name) + ". " + std::string(text), code);
  } catch (const std::bad_alloc&) {
    writelog({}, err, {}, code);
  }
  return code;
}

}  // namespace com::norvale::orb
