// Reads arbitrary bytes as a catalogue of engines.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "EngineCatalogue.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const int file = ::memfd_create("catalogue", 0);
  static const std::string path = "/proc/self/fd/" + std::to_string(file);
  if (::ftruncate(file, 0) != 0 || ::pwrite(file, data, size, 0) != static_cast<ssize_t>(size)) std::abort();
  for (const auto& engine : parseAEF(path)) {
    for (const std::string* field : {&engine.Name, &engine.Category, &engine.Description, &engine.Resource}) {
      if (field->find_first_of("$\n") != std::string::npos) std::abort();
    }
    if (engine.Resource.find('!') != std::string::npos) std::abort();
  }
  return 0;
}
