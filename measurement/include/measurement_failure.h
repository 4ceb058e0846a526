/// How everything here that cannot be done is told.
#pragma once
#include <cstdint>
#include <stdexcept>
#include <string>

#include "measurement_export.h"

namespace com::norvale::measurement {

/// what() is "FILE: what was tried: what went wrong (0xCODE)".
class MEASUREMENT_EXPORT Failure : public std::runtime_error {
 public:
  /// @param subject  the file that is concerned, or what else the message is about; may be empty
  /// @param what     what was tried, or a whole sentence
  Failure(const std::string& subject, const std::string& what);
  /// As above, followed by the code and its meaning.
  Failure(const std::string& subject, const std::string& what, std::uint32_t code);

  /// The file that is concerned, or what else; may be empty.
  const std::string& where() const noexcept { return where_; }
  /// What was tried, or a whole sentence.
  const std::string& tried() const noexcept { return tried_; }
  /// The result code; 0 for a failure without one.
  std::uint32_t code() const noexcept { return code_; }
  /// What the code means; empty without one.
  std::string meaning() const;

 private:
  std::string where_;
  std::string tried_;
  std::uint32_t code_ = 0;
};

}  // namespace com::norvale::measurement
