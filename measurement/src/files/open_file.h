/// Data files opened, flushed and closed with failures thrown.
#pragma once
#include <cstdint>
#include <optional>
#include <string>

#include "FileAccess.h"

namespace com::norvale::measurement {

using com::norvale::datatypes::Variant;
using com::norvale::orb::FileAccess;

/// @throws Failure naming the file, the code and its meaning
void openForReading(FileAccess& file, const std::string& path);
/// A new file with its blocks and default values, all of them. `shown_name` is what messages call it.
void createFile(FileAccess& file, const std::string& path, std::uint32_t channels, bool is_NaI,
                const std::string& shown_name);
void openForWriting(FileAccess& file, const std::string& path);
/// Writes the changes to disk and closes.
void flushAndClose(FileAccess& file);

/// A value that may be missing. @throws Failure for anything else than a missing value
std::optional<Variant> findValue(const FileAccess& file, std::uint32_t code, std::uint16_t record = 0,
                                 std::uint16_t entry = 0);
/// A text that may be missing; then empty.
std::string findText(const FileAccess& file, std::uint32_t code);
/// A number that may be missing.
std::optional<double> findNumber(const FileAccess& file, std::uint32_t code);
/// Stores a value. @throws Failure
void putValue(FileAccess& file, std::uint32_t code, const Variant& value);

/// Whether two paths name one existing file.
bool isSameFile(const std::string& a, const std::string& b);
/// Whether the path names anything, a dangling symbolic link included.
bool pathExists(const std::string& path);

}  // namespace com::norvale::measurement
