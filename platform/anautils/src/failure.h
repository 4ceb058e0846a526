#pragma once
#include <exception>

#include "anastatus.h"

namespace anautils {

/// What ends a routine before its time. The C border (guard.h) makes the routine's result of it.
class Failure : public std::exception {
 public:
  /// @param status  of the routines (anastatus.h) or of the data-file service (aiostatus.h)
  explicit Failure(ULONG status) noexcept : status_(static_cast<LONG>(status)) {}
  LONG status() const noexcept { return status_; }
  const char* what() const noexcept override { return "analysis routine failed"; }

 private:
  LONG status_;
};

/// Throws Failure(status) unless the condition holds.
inline void require(bool condition, ULONG status) {
  if (!condition) throw Failure(status);
}

/// Throws Failure(status) for anything but success; for the statuses that the data-file service returns.
inline void check(ULONG status) {
  if (status != ANA_OK) throw Failure(status);
}

}  // namespace anautils
