/// From the command line to the job it asks for.
#pragma once
#include "command.h"
#include "usage_error.h"

namespace orb::tool {

/// Reads the command line. Help and version are printed to the console and leave a job that does nothing.
/// @throws UsageError with one line that says what is wrong and where help is to be had
Job readCommandLine(int argc, char** argv, Console& console);

}  // namespace orb::tool
