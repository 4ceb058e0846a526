// orb: every command runs here, and every failure ends here.
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
