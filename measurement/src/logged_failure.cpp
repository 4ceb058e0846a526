#include "logged_failure.h"

#include "FileAccess.h"

namespace com::norvale::measurement {

namespace {
constinit thread_local LoggedFailure* listener = nullptr;
}

LoggedFailure::LoggedFailure() noexcept : outer_(listener) {
  listener = this;
}

LoggedFailure::~LoggedFailure() {
  listener = outer_;
}

void LoggedFailure::notice(std::uint32_t code) noexcept {
  if (listener != nullptr && code != 0 && code != com::norvale::orb::kNoValue) listener->code_ = code;
}

}  // namespace com::norvale::measurement
