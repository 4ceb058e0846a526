/// What nearly every operation of the file object begins with: lock, open check, class of a code.
#pragma once
#include <cstdint>
#include <mutex>

#include "ResultCode.h"

namespace com::norvale::orb {

class FileAccess;

/// Holds the lock of a file object to the end of a scope.
using FileLock = std::lock_guard<std::recursive_mutex>;

/// Class of the block that a code means: its upper 16 bits, or the lower ones when those are 0, so that a bare class
/// number may be given in place of a parameter code.
std::uint16_t blockClass(std::uint32_t code);

/// 0 when the object has an open file; otherwise logs "File is not open" with its name and returns `code`.
std::uint32_t requireOpen(const FileAccess& file, const char* where, std::uint32_t code = kFileNotOpen);

/// The same with a text of its own, for operations on two files: the line names the file of `reporter`.
std::uint32_t requireOpen(const FileAccess& file, const FileAccess& reporter, const char* where, const char* text,
                          std::uint32_t code);

/// 0 when the two are different objects; otherwise logs that they must not be the same and returns kBadArgument.
std::uint32_t requireDistinct(const FileAccess& source, const FileAccess& destination, const char* where);

}  // namespace com::norvale::orb
