#pragma once
#include <exception>

#include "aiostatus.h"
#include "citypes.h"

/// Error policy of the service. Operations on the image of a file (get, put, insert ...) return a Status,
/// because a missing value is no exception and a get must cost nothing. Everything that touches the disk
/// throws Failure. The C border (guard.h) turns both, and a failed allocation, into the caller's status. A
/// Failure or a Status other than AIO_OK leaves the image as it was.
namespace porb {

using Status = ULONG;

class Failure : public std::exception {
 public:
  explicit Failure(Status status) noexcept : status_(status) {}
  Status status() const noexcept { return status_; }
  const char* what() const noexcept override;

 private:
  Status status_;
};

}  // namespace porb
