/// Texts that the build puts into the program.
#pragma once
#include "page_assets.h"

namespace orb::report::assets {

using plot::assets::Asset;

extern const Asset kReportScript;
extern const Asset kReportStyle;

}  // namespace orb::report::assets
