#pragma once
#include <new>

#include "failure.h"

/// The C border: no exception passes it. Every exported routine is one call of this.
namespace anautils {

/// Runs an operation that returns nothing and turns what it throws into a status.
template <typename Operation>
LONG guarded(Operation&& operation) noexcept {
  try {
    operation();
    return ANA_OK;
  } catch (const Failure& failure) {
    return failure.status();
  } catch (const std::bad_alloc&) {
    return ANA_NOMEMORY;
  } catch (...) {
    return ANA_INTERNAL;
  }
}

}  // namespace anautils
