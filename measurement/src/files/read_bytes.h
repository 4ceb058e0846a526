#pragma once
#include <string>

namespace com::norvale::measurement {

/// The content of a text file. @throws Failure when it cannot be read, or is longer than formats::kMaxTextBytes
std::string readBytes(const std::string& path);

}  // namespace com::norvale::measurement
