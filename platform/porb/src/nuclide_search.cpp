#include "nuclide_search.h"

#include <bit>
#include <cmath>
#include <string_view>

namespace porb {
namespace {

constexpr std::uint16_t kLineNuclide = 0x0001;  // name of the nuclide
constexpr std::uint16_t kLineEnergy = 0x0002;   // energy of the line [keV]

/// The next character that counts: letters in upper case, digits; 0 at the end.
char nextCharacter(std::string_view& text) noexcept {
  while (!text.empty()) {
    const char c = text.front();
    text.remove_prefix(1);
    if (c == ' ' || c == '-' || c == '_') continue;
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  }
  return '\0';
}

bool sameNuclide(std::string_view a, std::string_view b) noexcept {
  for (;;) {
    const char x = nextCharacter(a);
    if (x != nextCharacter(b)) return false;
    if (x == '\0') return true;
  }
}

/// The first record from `start` on whose value of `param` satisfies matches(cell).
template <typename Matches>
Status findFirst(const Table& library, std::uint16_t param, std::size_t start, USHORT& record, Matches&& matches) {
  for (std::size_t number = start == 0 ? 1 : start; number <= library.recordCount(); ++number) {
    const Cell* cell = library.record(number)->values.find(param);
    if (cell == nullptr || !matches(*cell)) continue;
    record = static_cast<USHORT>(number);
    return AIO_OK;
  }
  return AIO_NOTFOUND;
}

}  // namespace

Status findByName(const Table& library, const char* name, std::size_t start, USHORT& record) {
  return findFirst(library, kLineNuclide, start, record, [&](const Cell& cell) {
    return kindOf(cell.type()) == Kind::Text && sameNuclide(cell.characters(), name);
  });
}

Status findByEnergy(const Table& library, const OjEnergy_T& key, std::size_t start, USHORT& record) {
  if (!std::isfinite(key.rEnergy) || !std::isfinite(key.rToler) || key.rToler < 0) return AIO_BADARG;
  const double energy_keV = static_cast<double>(key.rEnergy);
  const double tolerance_keV = static_cast<double>(key.rToler);
  return findFirst(library, kLineEnergy, start, record, [&](const Cell& cell) {
    if (kindOf(cell.type()) != Kind::Double) return false;
    // A key is single precision: a line must be found by the energy that the library shows, rounded to it.
    const double line_keV = std::bit_cast<double>(cell.bits());
    return std::abs(line_keV - energy_keV) <= tolerance_keV ||
           static_cast<double>(static_cast<float>(line_keV)) == energy_keV;
  });
}

}  // namespace porb
