/// What commands use of the library for whole measurements.
#pragma once
#include "failure.h"
#include "words.h"

namespace orb::tool {

using namespace com::norvale::measurement;

}  // namespace orb::tool
