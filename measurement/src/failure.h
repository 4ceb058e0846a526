/// Failures thrown.
#pragma once
#include <cstdint>
#include <string>

#include "measurement_failure.h"

namespace com::norvale::measurement {

/// Throws for a status of the analysis routines that is no answer: the routine could not do its work. What the others
/// mean is the caller's to say.
void requireAnswer(std::uint32_t status, const std::string& file, const std::string& what);

/// Throws Failure(file, what, code) unless the code is 0.
void require(std::uint32_t code, const std::string& file, const std::string& what);

/// Throws what `error`, an error number of the operating system, means.
[[noreturn]] void failWithErrno(int error, const std::string& file, const std::string& what);

}  // namespace com::norvale::measurement
