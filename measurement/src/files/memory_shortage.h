/// Whether there was memory for all that was done.
#pragma once
#include <string>

namespace com::norvale::measurement {

/// From now on every allocation of C++ that fails is remembered for its thread. Libraries pass over some of them, a
/// stream among others: it ends early, and nobody is told. So nothing is a result that was made in want of memory.
void rememberMemoryShortage() noexcept;

/// Whether an allocation of this thread has failed.
bool hadMemoryShortage() noexcept;
/// For a task that has nothing to do with those before it.
void forgetMemoryShortage() noexcept;

/// Throws Failure when one has failed; before something is published.
void requireNoMemoryShortage(const std::string& file);

}  // namespace com::norvale::measurement
