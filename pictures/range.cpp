#include <charconv>
#include <cmath>
#include <limits>

#include "plot.h"
#include "text.h"

namespace orb::plot {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool sameWord(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

[[noreturn]] void refuse(std::string_view text, std::string_view unit) {
  throw std::invalid_argument("\"" + cleanText(text) + "\" is no range: A:B in channels, or A:B" + cleanText(unit) +
                              " in energies");
}

struct End {
  double value;
  bool in_energy;
};

/// One end; an empty one leaves the range open.
End parseEnd(std::string_view part, double open, std::string_view whole, std::string_view unit) {
  part = trimmed(part);
  if (part.empty()) return {open, false};
  if (part.front() == '+') part.remove_prefix(1);
  End end{0, false};
  const auto [next, error] = std::from_chars(part.data(), part.data() + part.size(), end.value);
  if (error != std::errc{} || !std::isfinite(end.value)) refuse(whole, unit);
  part.remove_prefix(static_cast<std::size_t>(next - part.data()));
  part = trimmed(part);
  end.in_energy = !part.empty();
  if (end.in_energy && !sameWord(part, trimmed(unit))) refuse(whole, unit);
  return end;
}

}  // namespace

Range parseRange(std::string_view text, std::string_view energy_unit) {
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) refuse(text, energy_unit);
  const End from = parseEnd(text.substr(0, colon), -kInfinity, text, energy_unit);
  const End to = parseEnd(text.substr(colon + 1), kInfinity, text, energy_unit);
  if (std::isinf(from.value) && std::isinf(to.value)) refuse(text, energy_unit);
  if (from.value > to.value) {
    throw std::invalid_argument("range \"" + cleanText(text) + "\": the first end must not be above the second");
  }
  return {from.value, to.value, from.in_energy || to.in_energy};
}

}  // namespace orb::plot
