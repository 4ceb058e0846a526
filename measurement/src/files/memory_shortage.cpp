#include "memory_shortage.h"

#include <new>

#include "ResultCode.h"
#include "failure.h"

namespace com::norvale::measurement {

namespace {

constinit thread_local bool g_shortage = false;

void onShortage() {
  g_shortage = true;
  throw std::bad_alloc();
}

}  // namespace

void rememberMemoryShortage() noexcept {
  std::set_new_handler(onShortage);
}

bool hadMemoryShortage() noexcept {
  return g_shortage;
}

void forgetMemoryShortage() noexcept {
  g_shortage = false;
}

void requireNoMemoryShortage(const std::string& file) {
  if (g_shortage) throw Failure(file, "cannot write", com::norvale::orb::kOutOfMemory);
}

}  // namespace com::norvale::measurement
