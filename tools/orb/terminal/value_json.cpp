#include "value_json.h"

#include <cmath>
#include <type_traits>
#include <variant>

namespace orb::tool {

using com::norvale::datatypes::Variant;

Json valueJson(const Variant& value, const AioParamInfo_T& parameter) {
  const Variant typed = withSign(value, parameter);
  return std::visit(
      [&](const auto& v) -> Json {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, float>) {
          // As a double a float would show digits that nobody stored.
          if (std::isfinite(v)) return Json::parse(typed.toString());
        } else if constexpr (std::is_same_v<T, double>) {
          if (std::isfinite(v)) return v;
        } else if constexpr (std::is_arithmetic_v<T>) {
          return v;
        } else if constexpr (std::is_same_v<T, std::monostate>) {
          return nullptr;
        }
        return typed.toString();
      },
      typed.value());
}

Json valueJson(const StoredValue& stored) {
  return stored.parameter == nullptr || stored.status != 0 ? Json(nullptr) : valueJson(stored.value, *stored.parameter);
}

}  // namespace orb::tool
