// orb: every command runs here, and every failure ends here.
#include <malloc.h>
#include <sqlite3.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>

#include "command_line.h"
#include "engine.h"
#include "failure.h"
#include "isolated_step.h"
#include "leftovers.h"
#include "memory_shortage.h"
#include "result_text.h"
#include "usage_error.h"

namespace {

using namespace orb::tool;

/// Spectra are asked for and freed again all the time; giving their pages back to the system each time costs a tenth of
/// an analysis.
void keepFreedMemory() {
#ifdef __GLIBC__
  constexpr int kKept = 64 << 20;
  mallopt(M_MMAP_THRESHOLD, kKept / 2);
  mallopt(M_TRIM_THRESHOLD, kKept);
#endif
}

void tellNoMemory() noexcept {
  constexpr std::string_view kWords = "orb: out of memory\n";
  // Nobody is left to tell that this cannot be told.
  [[maybe_unused]] const ssize_t n = write(STDERR_FILENO, kWords.data(), kWords.size());
}

std::terminate_handler former_terminate = nullptr;

/// The exit status of a failure of the command that runs.
int failed = kFailed;

/// No memory where no exception may pass: in the static objects of libraries, and where some of them give memory back.
[[noreturn]] void onTerminate() {
  if (hadMemoryShortage()) {
    removeLeftovers();
    tellNoMemory();
    _exit(failed);
  }
  former_terminate();
  std::abort();
}

/// Before any static object of the program comes to life.
[[gnu::constructor(101)]] void catchTermination() {
  former_terminate = std::set_terminate(onTerminate);
  rememberMemoryShortage();
}

int run(int argc, char** argv) {
  Console console;
  console.setVerbose(false);
  const Job job = readCommandLine(argc, argv, console);
  failed = job.failed;
  try {
    const int status = job.work(console);
    console.flush();
    if (!hadMemoryShortage()) return status;
    tellNoMemory();
    return failed;
  } catch (const Failure&) {
    console.flush();  // what was printed before the failure is right
    throw;
  }
}

}  // namespace

int main(int argc, char** argv) {
  // A reader that goes away ends the command by an error of write, so that drafts are removed on the way out.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);  // a file at its size limit ends it the same way
  // SQLite counts its memory under one lock of the whole process, for which the threads of a batch would wait.
  sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
  keepFreedMemory();
  removeLeftoversOnSignals();
  try {
    if (isIsolatedStep(argc, argv)) runIsolatedStep(argv);
    return run(argc, argv);
  } catch (const OutputClosed&) {
    return failed;
  } catch (const UsageError& error) {
    std::fprintf(stderr, "orb: %s\n", error.what());
    return kWrongUsage;
  } catch (const orbengine::Failure& failure) {
    std::fprintf(stderr, "orb: %s\n", codeInWords(static_cast<std::uint32_t>(failure.status())).c_str());
    return failed;
  } catch (const std::bad_alloc&) {
    tellNoMemory();
    return failed;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "orb: %s\n", error.what());
    return failed;
  }
}
