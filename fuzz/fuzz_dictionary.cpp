// Reads arbitrary bytes as a parameter dictionary, and looks up all that it says to hold.
#include <cstdint>
#include <string>

#include "dictionary.h"
#include "fuzz_support.h"

using fuzz::require;

namespace {

void checkEveryParameter(const porb::Dictionary& dictionary) {
  std::uint32_t before = 0;
  for (const porb::Parameter* parameter = dictionary.next(0); parameter != nullptr;
       parameter = dictionary.next(parameter->code)) {
    require(parameter->code > before);
    before = parameter->code;
    require(dictionary.find(parameter->code) == parameter);
    require(dictionary.findByName(parameter->name.view()) == parameter);
    require(dictionary.hasClass(parameter->cls()));
    dictionary.className(parameter->cls());
    const bool is_text = porb::kindOf(parameter->storage_type) == porb::Kind::Text;
    require(is_text || porb::widthOf(parameter->storage_type) == parameter->storage_length);
    require(parameter->bufferSize() > 0);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    checkEveryParameter(porb::Dictionary({reinterpret_cast<const char*>(data), size}, "fuzz"));
  } catch (const porb::DictionaryError& error) {
    require(std::string(error.what()).starts_with("fuzz"));
  }
  return 0;
}
