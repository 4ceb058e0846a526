#pragma once
#include <stdexcept>

#include "parts.h"

namespace orb::tool {

/// The command line asks for something that the command does not offer.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace orb::tool
