#include "writelog.h"

#include <syslog.h>

#include <memory>
#include <mutex>
#include <string_view>
#include <utility>
#include <vector>

#include "shown_text.h"

namespace com::norvale::application::vyx {
namespace {

constexpr std::string_view kHexDigits = "0123456789ABCDEF";
constexpr const char* kNoMemory = "out of memory";  // short enough for a string that allocates nothing

struct Router {
  std::mutex mutex;
  // Guarded by mutex. The thread that runs a sink holds the mutex while the sink runs.
  std::unique_ptr<LogSink> sink;                  // null: the system log
  std::vector<std::unique_ptr<LogSink>> retired;  // replaced while they ran
};

// Never destroyed, because destructors of static objects log too.
Router& router() {
  static Router& instance = *new Router;
  return instance;
}

// True while this thread runs a sink, and therefore holds the router's mutex.
thread_local bool inside_sink = false;

void appendCode(std::string& out, unsigned code) {
  out += "0x";
  for (int shift = 28; shift >= 0; shift -= 4) out += kHexDigits[(code >> shift) & 0xF];
}

void toSystemLog(const LogLine& line) {
  // The facility is named here, so that a program's own openlog() does not decide where these lines go.
  syslog(LOG_USER | line.priority, "%s", formatLogLine(line).c_str());
}

void runSink(const LogSink& sink, const LogLine& line) noexcept {
  inside_sink = true;
  try {
    sink(line);
  } catch (...) {  // a line that cannot be written is nobody's failure
  }
  inside_sink = false;
}

// False when lines go to the system log.
bool toSink(const LogLine& line) {
  // A sink is destroyed after the mutex is released, since its captures may log in their destructors.
  std::vector<std::unique_ptr<LogSink>> done;
  Router& r = router();
  const std::lock_guard lock(r.mutex);
  if (!r.sink) return false;
  runSink(*r.sink, line);
  done.swap(r.retired);
  return true;
}

// The old sink is still running, below us on the stack; it is kept until it has returned, and copied for the
// caller.
LogSink replaceRunningSink(std::unique_ptr<LogSink> next) {
  Router& r = router();
  LogSink old = r.sink ? *r.sink : LogSink();
  r.retired.push_back(nullptr);
  r.retired.back() = std::exchange(r.sink, std::move(next));
  return old;
}

void deliver(const LogLine& line) {
  if (inside_sink || !toSink(line)) toSystemLog(line);
}

}  // namespace

void writelog(const std::string& where, int priority, const std::string& message, unsigned code) noexcept {
  const int known = priority >= emerg && priority <= debug ? priority : static_cast<int>(err);
  try {
    return deliver({where, known, message, code});
  } catch (...) {  // out of memory
  }
  try {
    deliver({{}, known, kNoMemory, code});  // that something failed must not get lost with the words for it
  } catch (...) {
  }
}

std::string formatLogLine(const LogLine& line) {
  std::string out;
  out.reserve(line.where.size() + line.message.size() + 16);
  out += datatypes::shownText(line.where);
  out += ": ";
  out += datatypes::shownText(line.message);
  out += " (";
  appendCode(out, line.code);
  out += ')';
  return out;
}

LogSink routeLog(LogSink sink) {
  auto next = sink ? std::make_unique<LogSink>(std::move(sink)) : nullptr;
  if (inside_sink) return replaceRunningSink(std::move(next));
  Router& r = router();
  {
    const std::lock_guard lock(r.mutex);
    next.swap(r.sink);
  }
  return next ? std::move(*next) : LogSink();
}

}  // namespace com::norvale::application::vyx
