// The analysis routines beside the scripted service: they are written down and answer by the same script.
#include <algorithm>
#include <cstdio>
#include <iterator>

#include "ServiceDouble.h"
#include "anautils.h"

namespace {

using orbtest::service;

/// Plays a routine with its arguments as printf would show them; the handle in hexadecimal comes first.
template <typename... Args>
LONG play(const char* routine, const char* format, Args... args) {
  char text[160];
  std::snprintf(text, sizeof text, format, args...);
  ULONG status = AIO_OK;
  service().play(routine, text, status);
  return static_cast<LONG>(status);
}

unsigned shown(const void* handle) {
  return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(handle));
}

}  // namespace

LONG lGetEneq(void* handle, SHORT kind, SHORT set, stAEncalEq_T* equation) {
  const bool is_clear =
      equation->usType == 0 && equation->ulNofC == 0 && equation->rLowBound == 0 && equation->fLowBound == 0 &&
      std::all_of(std::begin(equation->rCoeff), std::end(equation->rCoeff), [](REAL c) { return c == 0; });
  equation->rCoeff[0] = static_cast<REAL>(kind);
  return play("lGetEneq", "%X, %d, %d, %s", shown(handle), kind, set, is_clear ? "cleared" : "not cleared");
}

REAL rEval(REAL argument, const stAEncalEq_T* equation) {
  play("rEval", "%g, kind %g", argument, equation->rCoeff[0]);
  return 100 * argument;
}

REAL rPEn2Chan(REAL energy, const stAEncalEq_T* equation) {
  play("rPEn2Chan", "%g, kind %g", energy, equation->rCoeff[0]);
  return energy / 100;
}

LONG lGetEfeq(void* handle, SHORT set, stEfEq_T* equation, int* n_points, REAL* energies, REAL*, REAL* uncertainties) {
  const LONG status = play("lGetEfeq", "%X, %d, %d points", shown(handle), set, *n_points);
  equation->usType = 7;
  *n_points = 2;
  energies[79] = 79;
  uncertainties[79] = 80;
  return status;
}

LONG lEffic(REAL energy, const stEfEq_T* equation, int n_points, const REAL* energies, const REAL*, REAL* efficiency) {
  const LONG status = play("lEffic", "%g, %d, %d, %g", energy, equation->usType, n_points, energies[79]);
  if (status == 0) *efficiency = 0.02f;
  return status;
}

LONG lEffvar(REAL energy, REAL efficiency, const stEfEq_T* equation, int n_points, const REAL*,
             const REAL* uncertainties, REAL* relative) {
  *relative = 0.05f;
  return play("lEffvar", "%g, %g, %d, %d, %g", energy, efficiency, equation->usType, n_points, uncertainties[79]);
}

LONG ulUtlRoi(void* handle, FLAG use_calibration, ULONG channel, REAL energy, ULONG* first, ULONG* last) {
  *first = 90;
  *last = 110;
  return play("ulUtlRoi", "%X, %d, %u, %g", shown(handle), use_calibration, channel, energy);
}

LONG lEncal1(void* handle, SHORT set, LONG a, LONG b) {
  return play("lEncal1", "%X, %d, %d, %d", shown(handle), set, a, b);
}

LONG lEncal2(void* handle, SHORT set, void* a, void* b) {
  return play("lEncal2", "%X, %d, %s", shown(handle), set, a == nullptr && b == nullptr ? "null, null" : "not null");
}

LONG AA_2nd_Diff_Peak_Loc(void* handle, LONG a, LONG b, LONG c) {
  return play("AA_2nd_Diff_Peak_Loc", "%X, %d, %d, %d", shown(handle), a, b, c);
}

LONG lPANolin(void* handle, LONG a, LONG b, LONG c) {
  return play("lPANolin", "%X, %d, %d, %d", shown(handle), a, b, c);
}
