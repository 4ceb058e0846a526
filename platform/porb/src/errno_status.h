#pragma once
#include "citypes.h"

namespace porb {

/// The status that an errno of a file operation amounts to.
ULONG statusOfErrno(int error) noexcept;

}  // namespace porb
