#include <fstream>
#include <iterator>

#include "mutations.h"

namespace content {
namespace {

std::string readBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

void mutateBytes(const std::string& path, Dice& dice) {
  std::string bytes = readBytes(path);
  const auto at = [&] {  // half of the places lie in the header and the pages of the schema
    return dice.below(std::min<std::uint64_t>(bytes.size(), dice.chance(50) ? bytes.size() : 8192));
  };
  for (std::uint64_t i = 1 + dice.below(10); i > 0 && !bytes.empty(); --i) {
    const std::uint64_t what = dice.below(100);
    const std::size_t place = at();
    const std::size_t length = std::min<std::size_t>(bytes.size() - place, dice.chance(50) ? 512 : dice.below(5000));
    if (what < 60)
      bytes[place] = static_cast<char>(dice.below(256));
    else if (what < 75)
      bytes[place] = static_cast<char>(bytes[place] ^ (1 << dice.below(8)));
    else if (what < 80)
      bytes.replace(place, length, length, static_cast<char>(dice.chance(50) ? 0 : 255));
    else if (what < 86)
      bytes.replace(place, length, bytes.substr(at(), length));
    else if (what < 90)
      bytes.erase(place, length);
    else if (what < 94)
      bytes.insert(place, bytes.substr(place, length));
    else if (what < 97)
      bytes.resize(place);
    else
      bytes.append(dice.below(70000), '\x41');
  }
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

}  // namespace content
