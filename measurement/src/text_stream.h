/// Words and lines of a text.
#pragma once
#include <sstream>
#include <string>

namespace com::norvale::measurement {

/// A stream that throws std::bad_alloc where it has no memory; the standard ones end there as if the text did.
class TextStream : public std::istringstream {
 public:
  explicit TextStream(const std::string& text) : std::istringstream(text) { exceptions(std::ios::badbit); }
};

}  // namespace com::norvale::measurement
