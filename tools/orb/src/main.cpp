// orb: every command runs here, and every failure ends here.
#include <sqlite3.h>

#include <csignal>
#include <cstdio>
#include <exception>

#include "command_line.h"
#include "failure.h"

namespace {

using namespace orb::tool;

int run(int argc, char** argv) {
  Console console;
  console.setVerbose(false);
  const Job job = readCommandLine(argc, argv, console);
  try {
    const int status = job(console);
    console.flush();
    return status;
  } catch (const Failure&) {
    console.flush();  // what was printed before the failure is right
    throw;
  }
}

}  // namespace

int main(int argc, char** argv) {
  // A reader that goes away ends the command by an error of write, so that drafts are removed on the way out.
  std::signal(SIGPIPE, SIG_IGN);
  // SQLite counts its memory under one lock of the whole process, for which the threads of a batch would wait.
  sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
  try {
    return run(argc, argv);
  } catch (const OutputClosed&) {
    return kFailed;
  } catch (const UsageError& error) {
    std::fprintf(stderr, "orb: %s\n", error.what());
    return kWrongUsage;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "orb: %s\n", error.what());
    return kFailed;
  }
}
