/// JSON as commands print it: members in the order in which they were added.
#pragma once
#include <nlohmann/json.hpp>
#include <string>

#include "console.h"

namespace orb::tool {

using Json = nlohmann::ordered_json;

/// The document as text. Bytes that are not UTF-8 become U+FFFD; on a terminal other characters than ASCII are escaped,
/// because JSON itself does not keep the control characters above 0x7F off it.
inline std::string jsonText(const Json& json, const Console& console, int indent = 2) {
  return json.dump(indent, ' ', console.isTerminal(), Json::error_handler_t::replace);
}

inline void printJson(const Json& json, Console& console) {
  console.line(jsonText(json, console));
}

}  // namespace orb::tool
