/// Spectra in text formats, read from disk.
#pragma once
#include <string>
#include <vector>

#include "console.h"
#include "json_output.h"
#include "spectrum_data.h"

namespace orb::tool {

struct SpectrumFile {
  std::string path;
  formats::Format format = formats::Format::kCsv;
  std::vector<formats::SpectrumData> spectra;
};

/// @throws Failure when the file cannot be read, is too long, or its text is broken (with the line or element)
SpectrumFile readSpectrumFile(const std::string& path);

/// "IAEA ASCII", "ANSI N42.42", "CSV"
const char* formatWords(formats::Format format);

/// What `orb info` tells of it. Channels and coefficients count from 0, as in the file.
Json spectrumFileJson(const SpectrumFile& file);
void printSpectrumFile(const SpectrumFile& file, Console& console);

}  // namespace orb::tool
