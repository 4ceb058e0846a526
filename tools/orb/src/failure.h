/// Failures that end a command. Every one of them is told to the user in the same form:
///
///     orb: FILE: what was tried: what went wrong (0xCODE)
///
/// Commands throw; main prints the text to standard error and exits with status 1 (2 for wrong usage).
#pragma once
#include <cstdint>
#include <stdexcept>
#include <string>

namespace orb::tool {

class Failure : public std::runtime_error {
 public:
  /// @param subject  the file that is concerned, or what else the message is about; may be empty
  /// @param what     what was tried, or a whole sentence
  Failure(const std::string& subject, const std::string& what);
  /// As above, followed by the code and its meaning.
  Failure(const std::string& subject, const std::string& what, std::uint32_t code);

  /// 0 for a failure without one.
  std::uint32_t code() const noexcept { return code_; }

 private:
  std::uint32_t code_ = 0;
};

/// The command line asks for something that the command does not offer.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Throws for a status of the analysis routines that is no answer: the routine could not do its work. What the others
/// mean is the caller's to say.
void requireAnswer(std::uint32_t status, const std::string& file, const std::string& what);

/// Throws Failure(file, what, code) unless the code is 0.
void require(std::uint32_t code, const std::string& file, const std::string& what);

/// Throws what `error`, an error number of the operating system, means.
[[noreturn]] void failWithErrno(int error, const std::string& file, const std::string& what);

}  // namespace orb::tool
