#pragma once
#include "dictionary.h"

namespace porb {

/// The dictionary that the environment variable ORBDB names now. A name with a slash is a path; a bare name
/// is looked for in the data directory (ORB_DATA_DIR, or the one of the installation). Unset, empty or
/// "orbdb.dat" is the default: the file of that name in the data directory, or the table compiled in when
/// there is none.
///
/// Dictionaries are kept for the life of the process, one for each state of each file, so that the reference
/// stays good and look-ups need no lock.
/// @throws Failure(AIO_NODICTIONARY) or Failure(AIO_BADDICTIONARY); the fault itself is written to the log
const Dictionary& currentDictionary();

}  // namespace porb
