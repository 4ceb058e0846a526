/// One log line per failure, all of them made here.
#pragma once
#include <cstdint>
#include <string>

namespace com::norvale::orb {

class FileAccess;

/// Logs a failure with priority err.
/// @param where  reporting function, as "FileAccess::close"
/// @param text   message, logged as it is
/// @param code   result code that the function is about to return
/// @return code, so that a function can report and return in one line
std::uint32_t reportFailure(const char* where, const std::string& text, std::uint32_t code);

/// Logs a failure that concerns the open file: as reportFailure, with the file's name in front of the text.
std::uint32_t reportFileFailure(const FileAccess& file, const char* where, const std::string& text, std::uint32_t code);

}  // namespace com::norvale::orb
