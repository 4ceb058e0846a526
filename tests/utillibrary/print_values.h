#pragma once
#include <ostream>

#include "Variant.h"
#include "xtime.h"

// What a failing expectation shows. One definition for all files of the program.
namespace com::norvale::datatypes {

inline void PrintTo(const xtime_t& t, std::ostream* out) {
  *out << t.dateTime << " s " << t.nanoseconds << " ns";
}

inline void PrintTo(const Variant& v, std::ostream* out) {
  *out << "alternative " << v.value().index() << " \"" << v << '"';
}

}  // namespace com::norvale::datatypes
