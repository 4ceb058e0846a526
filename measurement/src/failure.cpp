#include "failure.h"

#include "anastatus.h"
#include "result_text.h"
#include "words.h"

namespace com::norvale::measurement {

namespace {

std::string compose(const std::string& subject, const std::string& what) {
  return subject.empty() ? escapeLine(what) : escapeLine(subject) + ": " + escapeLine(what);
}

/// The command that mends what a code complains of.
const char* hintOf(std::uint32_t code) {
  const std::string name = explainCode(code).name;
  return name.ends_with("_NOENERGYCAL") || name.ends_with("_NOFWHMCAL") ? "; orb calibrate makes one" : "";
}

}  // namespace

Failure::Failure(const std::string& subject, const std::string& what)
    : std::runtime_error(compose(subject, what)), where_(subject), tried_(what) {}

Failure::Failure(const std::string& subject, const std::string& what, std::uint32_t code)
    : std::runtime_error(compose(subject, what) + ": " + codeInWords(code) + hintOf(code)),
      where_(subject),
      tried_(what),
      code_(code) {}

std::string Failure::meaning() const {
  return code_ == 0 ? std::string() : explainCode(code_).text;
}

void require(std::uint32_t code, const std::string& file, const std::string& what) {
  if (code != 0) throw Failure(file, what, code);
}

void requireAnswer(std::uint32_t status, const std::string& file, const std::string& what) {
  if (AnaIsAnswer(static_cast<std::int32_t>(status)) == 0) throw Failure(file, what, status);
}

void failWithErrno(int error, const std::string& file, const std::string& what) {
  throw Failure(file, what, codeOfErrno(error));
}

}  // namespace com::norvale::measurement
