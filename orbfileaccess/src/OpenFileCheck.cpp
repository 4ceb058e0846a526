#include "OpenFileCheck.h"

#include "FailureReport.h"
#include "FileAccess.h"

namespace com::norvale::orb {

std::uint16_t blockClass(std::uint32_t code) {
  const auto upper = static_cast<std::uint16_t>(ParameterMetadata::parameterClass(code));
  return upper != 0 ? upper : static_cast<std::uint16_t>(code);
}

std::uint32_t requireOpen(const FileAccess& file, const char* where, std::uint32_t code) {
  return requireOpen(file, file, where, "File is not open", code);
}

std::uint32_t requireOpen(const FileAccess& file, const FileAccess& reporter, const char* where, const char* text,
                          std::uint32_t code) {
  return file.isOpen() ? 0 : reportFileFailure(reporter, where, text, code);
}

std::uint32_t requireDistinct(const FileAccess& source, const FileAccess& destination, const char* where) {
  if (&source != &destination) return 0;
  return reportFileFailure(source, where, "The source and destination cannot be the same", kBadArgument);
}

}  // namespace com::norvale::orb
