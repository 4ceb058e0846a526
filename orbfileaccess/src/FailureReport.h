/// One log line per failure, all of them made here. Without memory for its words a line is logged with its code alone.
#pragma once
#include <cstdint>
#include <new>
#include <string>
#include <string_view>

namespace com::norvale::orb {

class FileAccess;

/// Logs a failure with priority err.
/// @param where  reporting function, as "FileAccess::close"
/// @param text   message, logged as it is
/// @param code   result code that the function is about to return
/// @return code, so that a function can report and return in one line
std::uint32_t reportFailure(const char* where, std::string_view text, std::uint32_t code) noexcept;

/// Logs a failure that concerns the open file: as reportFailure, with the file's name in front of the text.
std::uint32_t reportFileFailure(const FileAccess& file, const char* where, std::string_view text,
                                std::uint32_t code) noexcept;

/// The same two with a text that is put together for the line: compose() returns it.
template <typename Compose>
std::uint32_t reportFailureOf(const char* where, std::uint32_t code, Compose&& compose) {
  try {
    return reportFailure(where, compose(), code);
  } catch (const std::bad_alloc&) {
    return reportFailure(where, {}, code);
  }
}
template <typename Compose>
std::uint32_t reportFileFailureOf(const FileAccess& file, const char* where, std::uint32_t code, Compose&& compose) {
  try {
    return reportFileFailure(file, where, compose(), code);
  } catch (const std::bad_alloc&) {
    return reportFileFailure(file, where, {}, code);
  }
}

}  // namespace com::norvale::orb
