/// Spectra in text formats, read from disk.
#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "neighbours.h"
#include "spectrum_data.h"

namespace com::norvale::measurement {

struct SpectrumFile {
  std::string path;
  formats::Format format = formats::Format::kCsv;
  std::vector<formats::SpectrumData> spectra;
};

/// @throws Failure when the file cannot be read, is too long, or its text is broken (with the line or element)
SpectrumFile readSpectrumFile(const std::string& path);
/// The same of a text that is there already; `name` is what messages call it.
SpectrumFile readSpectrumText(std::string_view text, const std::string& name);

/// "IAEA ASCII", "ANSI N42.42", "CSV"
const char* formatWords(formats::Format format);

}  // namespace com::norvale::measurement
