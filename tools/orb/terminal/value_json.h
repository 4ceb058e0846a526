/// Values of parameters as JSON.
#pragma once
#include "json_output.h"
#include "stored_values.h"
#include "value_text.h"

namespace orb::tool {

/// Numbers and bools as such, everything else as text; not-a-number and infinities are texts too, because JSON has no
/// such numbers.
Json valueJson(const com::norvale::datatypes::Variant& value, const AioParamInfo_T& parameter);

/// Null for one that the dictionary does not know or that cannot be read.
Json valueJson(const StoredValue& stored);

}  // namespace orb::tool
