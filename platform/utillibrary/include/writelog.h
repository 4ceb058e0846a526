#pragma once
#include <functional>
#include <string>

#include "utillibrary_export.h"

namespace com::norvale::application::vyx {

/// Priorities of the system log.
enum SyslogPriority { emerg = 0, alert = 1, crit = 2, err = 3, warning = 4, notice = 5, info = 6, debug = 7 };

/// One log line as it was given to writelog (texts without escapes; priority always one of SyslogPriority).
struct LogLine {
  std::string where;
  int priority = err;
  std::string message;
  unsigned code = 0;
};

/// Receives every line of the process. Called by the thread that logs, one call at a time.
using LogSink = std::function<void(const LogLine&)>;

/// Writes one line: "where: message (0xCODE)". Goes to the system log unless the process routes lines
/// elsewhere. Line breaks and control characters in the texts are written as escapes, so one call is always
/// one line. A failure to write is not observed, and nothing is thrown. Without
/// memory for the texts the line says so in their place; priority and code arrive all the same.
/// @param where     reporting function, as "FileAccess::close"
/// @param priority  SyslogPriority; a value outside 0..7 is taken as err
/// @param code      result code that the function is about to return
/// @threads any thread
UTILLIBRARY_EXPORT void writelog(const std::string& where, int priority, const std::string& message,
                                 unsigned code) noexcept;

/// The line as text, without line break: "FileAccess::close: File is already closed (0xEBE81389)".
UTILLIBRARY_EXPORT std::string formatLogLine(const LogLine& line);

/// Routes all later lines of this process to `sink`; an empty sink means the system log again. A sink may
/// call writelog itself: that line goes to the system log. Returns when no other thread is inside the old
/// sink.
/// @return the sink that was in force
/// @threads any thread, but not from inside a sink
UTILLIBRARY_EXPORT LogSink routeLog(LogSink sink);

}  // namespace com::norvale::application::vyx
