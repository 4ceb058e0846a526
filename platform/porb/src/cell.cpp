#include "cell.h"

namespace porb {

Cell Cell::text(std::uint16_t param, int type, std::string_view characters) {
  Cell cell(param, type, 0);
  char* target = cell.payload_.inside;
  if (characters.size() > kInlineText) target = cell.payload_.heap = new char[characters.size()];
  if (!characters.empty()) std::memcpy(target, characters.data(), characters.size());
  cell.length_ = static_cast<std::uint16_t>(characters.size());
  return cell;
}

Cell Cell::clone() const {
  return kindOf(type_) == Kind::Text ? text(param_, type_, characters()) : number(param_, type_, bits());
}

std::uint64_t Cell::hash() const noexcept {
  const std::uint64_t key = mixHash(param_, type_);
  if (kindOf(type_) != Kind::Text) return mixHash(key, payload_.bits);
  const std::string_view text = characters();
  return mixHash(key, text.data(), text.size());
}

std::uint64_t mixHash(std::uint64_t hash, const void* bytes, std::size_t n) noexcept {
  const char* at = static_cast<const char*>(bytes);
  hash = mixHash(hash, n);
  for (; n >= 8; at += 8, n -= 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, at, 8);
    hash = mixHash(hash, word);
  }
  std::uint64_t rest = 0;
  if (n != 0) std::memcpy(&rest, at, n);
  return mixHash(hash, rest);
}

}  // namespace porb
