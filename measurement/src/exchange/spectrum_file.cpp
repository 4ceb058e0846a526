#include "spectrum_file.h"

#include "failure.h"
#include "read_bytes.h"

namespace com::norvale::measurement {

SpectrumFile readSpectrumFile(const std::string& path) {
  return readSpectrumText(readBytes(path), path);
}

SpectrumFile readSpectrumText(std::string_view text, const std::string& name) {
  try {
    return {name, formats::detectFormat(text), formats::readSpectra(text, name)};
  } catch (const formats::FormatError& error) {
    throw Failure("", error.what());
  }
}

const char* formatWords(formats::Format format) {
  switch (format) {
    case formats::Format::kSpe:
      return "IAEA ASCII";
    case formats::Format::kN42:
      return "ANSI N42.42";
    default:
      return "CSV";
  }
}

}  // namespace com::norvale::measurement
