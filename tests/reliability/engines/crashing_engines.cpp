// Engines that end their process in every way that there is, and one that does its work.
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <vector>

#include "engine.h"

namespace {

constexpr ULONG kDescription = 0x2010006E;  // of a step: each engine leaves a word there
volatile int* const kNowhere = nullptr;

void mark(void* handle, USHORT step, const char* word) {
  orbengine::File(handle, step).setText(kDescription, word, step);
}

volatile int deepest = -1;

int deeper(int depth) {
  volatile char room[4096] = {};
  room[0] = static_cast<char>(depth);
  return depth == deepest ? 0 : deeper(depth + 1) + room[0];
}

}  // namespace

ORB_ENGINE Good(void* handle, USHORT step, void*, void*) {
  return orbengine::run(handle, step, {}, [&](orbengine::File& file) { file.setText(kDescription, "good", step); });
}

ORB_ENGINE Fails(void*, USHORT, void*, void*) {
  return ENG_BADSETTING;
}

ORB_ENGINE Segfault(void*, USHORT, void*, void*) {
  return *kNowhere;
}

ORB_ENGINE Abort(void*, USHORT, void*, void*) {
  std::abort();
}

ORB_ENGINE Exit(void*, USHORT, void*, void*) {
  std::exit(0);
}

ORB_ENGINE QuickExit(void*, USHORT, void*, void*) {
  _exit(0);
}

ORB_ENGINE Throws(void*, USHORT, void*, void*) {
  throw std::runtime_error("an exception of its own");
}

ORB_ENGINE Killed(void*, USHORT, void*, void*) {
  return std::raise(SIGKILL);
}

ORB_ENGINE UsesUpTheStack(void*, USHORT, void*, void*) {
  return deeper(0);
}

ORB_ENGINE UsesUpMemory(void*, USHORT, void*, void*) {
  constexpr rlim_t kRoom = 300 << 20;
  const rlimit limit{kRoom, kRoom};
  setrlimit(RLIMIT_AS, &limit);
  for (std::vector<std::vector<char>> all;;) all.emplace_back(std::size_t{1} << 20, 'x');
}

ORB_ENGINE WritesAndCrashes(void* handle, USHORT step, void*, void*) {
  mark(handle, step, "half");
  AioDeleteBlock(handle, 0x2005);
  return *kNowhere;
}

ORB_ENGINE FlushesAndCrashes(void* handle, USHORT step, void*, void*) {
  mark(handle, step, "half");
  AioDeleteBlock(handle, 0x2005);
  AioFlush(handle);
  return *kNowhere;
}

ORB_ENGINE ClosesTheFile(void* handle, USHORT, void*, void*) {
  AioClose2(handle, AIO_CLOSE_NOFLUSH);
  std::abort();
}
