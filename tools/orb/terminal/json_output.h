/// JSON as commands print it: members in the order in which they were added.
#pragma once
#include <cmath>
#include <optional>
#include <string>

#include "console.h"
#include "json_library.h"
#include "shown_text.h"

namespace orb::tool {

using Json = nlohmann::ordered_json;

/// The document as text. Bytes that are not UTF-8 become U+FFFD; what a terminal would obey is escaped, which JSON
/// itself asks for below U+0020 only.
inline std::string jsonText(const Json& json, int indent = 2) {
  return com::norvale::datatypes::shownJson(json.dump(indent, ' ', false, Json::error_handler_t::replace));
}

inline void printJson(const Json& json, Console& console) {
  console.line(jsonText(json));
}

/// Null for a number that is missing or not finite.
inline Json orNull(const std::optional<double>& number) {
  return number && std::isfinite(*number) ? Json(*number) : Json(nullptr);
}

}  // namespace orb::tool
