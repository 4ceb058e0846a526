#pragma once
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "spectrum_data.h"

namespace orb::formats {

/// A text that must be refused, with the line (0: the whole file) and a part of the message.
struct BrokenInput {
  const char* what;
  std::string text;
  std::size_t line;
  const char* message;
};

inline void expectRefused(const BrokenInput& broken) {
  SCOPED_TRACE(broken.what);
  try {
    readSpectra(broken.text, "file");
    ADD_FAILURE() << "the text was read";
  } catch (const FormatError& error) {
    EXPECT_EQ(error.line(), broken.line) << error.what();
    EXPECT_THAT(error.what(), testing::HasSubstr(broken.message));
    EXPECT_THAT(error.what(), testing::StartsWith("file: "));
    const std::string line = broken.line > 0 ? "line " + std::to_string(broken.line) : "";
    EXPECT_THAT(error.what(), testing::HasSubstr(line));
  }
}

inline bool warns(const SpectrumData& spectrum, std::string_view part) {
  for (const std::string& warning : spectrum.warnings) {
    if (warning.find(part) != std::string::npos) return true;
  }
  return false;
}

}  // namespace orb::formats
