/// Turns exceptions of a guarded block into result codes. The only place that knows which exception gives which.
#pragma once
#include <cstdint>
#include <utility>

namespace com::norvale::orb {

/// Logs the exception being handled and gives its code. To be called from a catch block.
///
///   | thrown                       | logged                                        | result           |
///   |------------------------------|-----------------------------------------------|------------------|
///   | std::string                  | the string, or a sentence for an empty one    | kExceptionCaught |
///   | unsigned int, int, short     | "Caught exception"                            | the number       |
///   | std::bad_alloc               | "Caught exception"                            | kOutOfMemory     |
///   | any other std::exception     | "Caught STL Exception.  Description: " what() | kExceptionCaught |
///   | anything else                | "Caught Unknown exception."                   | kExceptionCaught |
///
/// A thrown number 0 is no failure: it is not logged and the result is 0.
/// @param where  function that guards the block, as "FileAccess::getParameter"
std::uint32_t reportCurrentException(const char* where);

/// Runs `body`; 0 when it ends or throws a number 0, otherwise the code of what it threw.
template <typename Body>
std::uint32_t captureExceptions(const char* where, Body&& body) {
  try {
    std::forward<Body>(body)();
    return 0;
  } catch (...) {
    return reportCurrentException(where);
  }
}

}  // namespace com::norvale::orb
