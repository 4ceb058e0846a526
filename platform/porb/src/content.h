#pragma once
#include <cstdint>

#include "status.h"

namespace porb {

/// For what is read from a file: throws Failure(AIO_BADCONTENT) unless it holds.
inline void requireContent(bool holds) {
  if (!holds) throw Failure(AIO_BADCONTENT);
}

}  // namespace porb
