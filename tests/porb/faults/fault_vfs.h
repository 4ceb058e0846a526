/// A layer over the default VFS of SQLite that counts operations and fails them at will.
#pragma once
#include <sqlite3.h>

namespace faults {

enum class Op { Open, Read, Write, Truncate, Sync, Delete, Lock, FileSize, Access };

struct Fault {
  Op op;
  int code;              ///< what the failing operation answers
  bool torn = false;     ///< a failing write leaves half of its bytes
  int at = 1;            ///< the at-th operation of that kind fails,
  bool onwards = false;  ///< and all behind it
  bool kills = false;    ///< instead of failing it ends the process
};

/// Becomes the default VFS of the process. Syncs are only counted, they do not reach the disk.
void installFaultVfs();

/// From now on operations fail as told.
void arm(const Fault& fault);
/// Ends it. @return true when an operation has failed
bool disarm();

}  // namespace faults
