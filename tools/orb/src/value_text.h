/// Values of parameters as text and JSON, and back.
#pragma once
#include <string>

#include "Variant.h"
#include "aioproto.h"
#include "json_output.h"

namespace orb::tool {

/// The value as `orb get` prints it: numbers as the shortest text that reads back to the same number, integers of 16
/// and 32 bits with the sign of their type, bool as true or false, times in ISO 8601, texts as they are.
std::string valueText(const com::norvale::datatypes::Variant& value, const AioParamInfo_T& parameter);

/// Numbers and bools as such, everything else as text; not-a-number and infinities are texts too, because JSON has no
/// such numbers.
Json valueJson(const com::norvale::datatypes::Variant& value, const AioParamInfo_T& parameter);

/// Reads a value for a parameter: whole numbers in decimal or 0x hexadecimal; real numbers; true, false, yes, no, on,
/// off, 1, 0; times in ISO 8601; texts as they are.
/// @throws Failure when the text is none, or does not fit the parameter's type or length
com::norvale::datatypes::Variant parseValue(const std::string& text, const AioParamInfo_T& parameter,
                                            const std::string& file);

/// A number as the shortest text that reads back to the same number.
std::string numberText(double number);
/// A number to at most so many significant digits, without an exponent where that stays readable.
std::string roundedText(double number, int digits);

}  // namespace orb::tool
