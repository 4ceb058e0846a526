/// What the file object tells in its log alone: some of its operations go on after a failure and answer 0, or nothing.
#pragma once
#include <cstdint>

namespace com::norvale::measurement {

/// Keeps the code of the last failure that the libraries log on this thread while the object lives. A value that is not
/// there is none. Objects may stand inside each other; the innermost one hears.
class LoggedFailure {
 public:
  LoggedFailure() noexcept;
  ~LoggedFailure();
  LoggedFailure(const LoggedFailure&) = delete;
  LoggedFailure& operator=(const LoggedFailure&) = delete;

  /// 0 when none was logged.
  std::uint32_t code() const noexcept { return code_; }

  /// For whoever receives the log: a line with this code has come from this thread.
  static void notice(std::uint32_t code) noexcept;

 private:
  LoggedFailure* const outer_;
  std::uint32_t code_ = 0;
};

}  // namespace com::norvale::measurement
