/// A layer over the default VFS of SQLite that counts operations, fails them at will and can say what a disk
/// would hold if the power went away.
#pragma once
#include <sqlite3.h>

#include <map>
#include <string>
#include <vector>

namespace faults {

enum class Op { Open, Read, Write, Truncate, Sync, Delete, Lock, FileSize, Access };

struct Fault {
  Op op;
  int code;              ///< what the failing operation answers
  bool torn = false;     ///< a failing write leaves half of its bytes
  int at = 1;            ///< the at-th operation of that kind fails,
  bool onwards = false;  ///< and all behind it
};

/// Becomes the default VFS of the process. Syncs are only counted, they do not reach the disk.
void installFaultVfs();

/// From now on operations fail as told.
void arm(const Fault& fault);
/// Ends it. @return true when an operation has failed
bool disarm();

/// What a disk may hold after power loss: file name (without folder) -> bytes.
using DiskImage = std::map<std::string, std::string>;

/// Follows what is written to a file and to its journal. Only what was synced is sure to be on the disk: of
/// the rest, each sector of 512 bytes may be there or not, as may a new file, and a file deleted without its
/// folder being synced may come back.
void startPowerModel(const std::string& path);
/// @return images of a power loss right before each of the operations since then, several each, and, in
///         `at_the_end`, images of a power loss now
std::vector<DiskImage> stopPowerModel(std::vector<DiskImage>& at_the_end);

}  // namespace faults
