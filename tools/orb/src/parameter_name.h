/// Parameters by name or code.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "aioproto.h"

namespace orb::tool {

/// The parameter that a user means by a name (in any case) or a code ("0x20000005").
/// @param file  named in the message of a failure
/// @throws Failure; for an unknown name it says which ones are near
AioParamInfo_T findParameter(const std::string& name_or_code, const std::string& file);

/// Every parameter of the dictionary, by code. @throws Failure
std::vector<AioParamInfo_T> allParameters();

/// Names that a mistyped name may have meant, the nearest first, at most `limit`.
std::vector<std::string> nearNames(const std::string& name, std::size_t limit);

/// "int32", "text(128)", ...; the words of the dictionary's page.
std::string typeWords(const AioParamInfo_T& parameter);
/// "header", "record", "entry"
const char* levelWords(const AioParamInfo_T& parameter);

}  // namespace orb::tool
