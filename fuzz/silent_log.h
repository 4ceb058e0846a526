#pragma once
#include "writelog.h"

namespace fuzz {

/// Refused input is the rule: its log lines would only cost time.
inline const bool kIsLogSilent = [] {
  com::norvale::application::vyx::routeLog([](const com::norvale::application::vyx::LogLine&) {});
  return true;
}();

}  // namespace fuzz
