// A library that leaves a file named "loaded" in the present folder as soon as it is loaded.
#include <cstdio>

namespace {
__attribute__((constructor)) void leaveWord() {
  if (std::FILE* const file = std::fopen("loaded", "w")) std::fclose(file);
}
}  // namespace
