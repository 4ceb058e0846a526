/// Values of parameters as text, and back.
#pragma once
#include <string>

#include "Variant.h"
#include "aioproto.h"
#include "words.h"

namespace com::norvale::measurement {

/// The file object hands 16- and 32-bit integers over without sign; the storage type says whether they have one.
com::norvale::datatypes::Variant withSign(const com::norvale::datatypes::Variant& value,
                                          const AioParamInfo_T& parameter);

/// The value as `orb get` prints it: numbers as the shortest text that reads back to the same number, integers of 16
/// and 32 bits with the sign of their type, bool as true or false, times in ISO 8601, texts as they are.
std::string valueText(const com::norvale::datatypes::Variant& value, const AioParamInfo_T& parameter);

/// Reads a value for a parameter: whole numbers in decimal or 0x hexadecimal; real numbers; true, false, yes, no, on,
/// off, 1, 0; times in ISO 8601; texts as they are.
/// @throws Failure when the text is none, or does not fit the parameter's type or length
com::norvale::datatypes::Variant parseValue(const std::string& text, const AioParamInfo_T& parameter,
                                            const std::string& file);

}  // namespace com::norvale::measurement
