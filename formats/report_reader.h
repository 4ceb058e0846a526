#pragma once
#include <optional>
#include <vector>

#include "source.h"
#include "spectrum_data.h"

namespace orb::formats {

/// A report: free text with "key: value" lines, then lines "channel: count" with one or more counts each. Nothing comes
/// back when the text has no line of that form.
std::optional<std::vector<SpectrumData>> readReport(const Source& source);

}  // namespace orb::formats
