/// A content that carries one number everywhere, so that a mixture of two flushes shows.
#pragma once
#include <string>

#include "aiolib.h"

namespace faults {

/// Brings a file to a generation: values, records, a text and a spectrum. @return false when a call fails
bool writeGeneration(void* handle, LONG generation);

/// The generation that a file holds, 0 for an empty one.
/// @param mixture  out: what does not belong to it; empty when all parts agree
LONG readGeneration(void* handle, std::string& mixture);

}  // namespace faults
