#include "console.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "failure.h"
#include "logged_failure.h"
#include "terminal_text.h"
#include "writelog.h"

namespace orb::tool {

namespace {
constexpr std::size_t kBufferBytes = 1 << 16;
bool is_verbose = false;
}  // namespace

void Console::write(std::string_view data) {
  buffer_ += data;
  if (buffer_.size() >= kBufferBytes) flush();
}

void Console::line(std::string_view data) {
  buffer_ += data;
  write("\n");
}

void Console::flush() {
  std::string pending;
  pending.swap(buffer_);  // what cannot be written is not tried again
  for (std::size_t done = 0; done < pending.size();) {
    const ssize_t n = ::write(STDOUT_FILENO, pending.data() + done, pending.size() - done);
    if (n > 0) done += static_cast<std::size_t>(n);
    if (n >= 0 || errno == EINTR) continue;
    if (errno == EPIPE) throw OutputClosed();
    failWithErrno(errno, "standard output", "cannot write");
  }
}

bool Console::isTerminal() const {
  return isatty(STDOUT_FILENO) != 0;
}

void Console::note(std::string_view text) {
  flush();
  std::fprintf(stderr, "orb: %s\n", escapeLine(text).c_str());
}

void Console::setVerbose(bool verbose) {
  namespace vyx = com::norvale::application::vyx;
  is_verbose = verbose;
  vyx::routeLog([verbose](const vyx::LogLine& line) {
    LoggedFailure::notice(line.code);
    if (verbose) std::fprintf(stderr, "orb: log: %s\n", vyx::formatLogLine(line).c_str());
  });
}

bool Console::isVerbose() {
  return is_verbose;
}

}  // namespace orb::tool
