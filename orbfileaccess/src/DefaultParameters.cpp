#include "DefaultParameters.h"

#include <cstddef>
#include <iterator>
#include <variant>

namespace com::norvale::orb {

using datatypes::Variant;

namespace {

using DefaultValue = std::variant<std::int32_t, float, double, const char*>;

/// One default: the same for every detector, or one value for sodium iodide and one for all others.
struct Default {
  template <typename T>
  constexpr Default(std::uint32_t parameter, T both) : Default(parameter, both, both) {}
  template <typename T>
  constexpr Default(std::uint32_t parameter, T NaI, T others) : code(parameter), for_NaI(NaI), for_others(others) {}

  std::uint32_t code;
  DefaultValue for_NaI;
  DefaultValue for_others;
};

constexpr double kFullScale_keV = 2048.0;
constexpr std::uint32_t kEnergySlope = 0x20000021;  // [keV per channel]
constexpr std::uint32_t kChannelCount = 0x20000007;

// The order of writing: these, the energy slope, those below, the channel count.
constexpr Default kBeforeSlope[] = {
    {0x20000059, 4},
    {0x20030026, 4},
    {0x20020080, 0},
};

constexpr Default kAfterSlope[] = {
    {0x2000006C, 2},
    {0x20000047, 1.0},
    {0x20000048, -7.0, 1.0},
    {0x20000049, 2.0, 0.03},
    {0x20030056, 30.0, 1.5},
    {0x20030058, 0.75, 1.5},
    {0x20030006, 35.0, 10.0},
    {0x20030033, 1.0, 2.5},
    {0x20030034, 1.5, 3.0},
    {0x20030035, 1.5, 3.0},
    {0x20030036, 2.5, 4.0},
    {0x2003003A, 1.0, 0.0},
    {0x2003003B, 1.0, 0.0},
    {0x2003003D, 0.005, 0.0001},
    {0x20030040, 0.5, 1.5},
    {0x2003000C, 20.0, 1.0},
    {0x20030012, 1.2, 3.0},
    {0x20030057, 0.5, 1.0},
    {0x2010004A, "STDLIB.NLB"},
    {0x20100072, "STDLIB.NLB"},
    {0x20100074, "ANALYSIS.TP"},
    {0x20000026, "keV"},
    {0x2000006B, "SQRT"},
    {0x20020028, "DUA"},
    {0x20030028, "STEP"},
    {0x2010007A, "HEADER"},
    {0x200300C3, 1},
    {0x200000B8, 1},
    {0x200000B9, 1},
    {0x200000BA, 1},
    {0x20030007, 10},
    {0x20030008, 1},
    {0x20030046, 1},
    {0x20030020, 19},
    {0x20030039, 2},
    {0x20030050, 1},
    {0x2003003C, 10},
    {0x20030019, 1},
    {0x2003006A, 1},
    {0x20030085, 1},
    {0x2004001A, 1},
    {0x20100085, 1},
    {0x2010008A, 1},
    {0x20030009, 65535},
    {0x20030047, 65535},
    {0x20000055, 50.0f},
    {0x20010005, 1.0f},
    {0x20030005, 3.0f},
    {0x2003001B, 4.0f},
    {0x2003001A, 4.0f},
    {0x20030021, 1.75f},
    {0x2003001C, 1.0f},
    {0x20030029, 1.0f},
    {0x20030037, 0.3f},
    {0x20030038, 0.3f},
    {0x2003003E, 2.5f},
    {0x2003003F, 3.0f},
    {0x20030042, 6.0f},
    {0x2003000A, 8.0f},
    {0x2003000B, 75.0f},
    {0x20030011, 3.0f},
    {0x20030013, 5.0f},
    {0x20030003, 1.0f},
    {0x20030048, 0.3f},
    {0x20030049, 1.0f},
    {0x20030082, 2.71f},
    {0x20030083, 3.29f},
    {0x20010006, "Unit"},
    {0x20030027, "Net"},
    {0x2003002A, "AUTO"},
    {0x2003002B, "Derived"},
    {0x20030002, "uCi"},
    {0x200300B2, 2.0f},
    {0x200300B3, 2.0f},
    {0x200300B1, 5.0f},
    {0x20030041, 3.0f},
    {0x20020011, 0.5f},
    {0x20000004, "PHA"},
    {0x20000052, 0},
    {0x20000008, 1},
    {0x200300C4, 0.5f},
};

Variant toVariant(const DefaultValue& value) {
  return std::visit([](auto v) { return Variant(v); }, value);
}

template <std::size_t N>
void append(std::vector<std::pair<std::uint32_t, Variant>>& list, const Default (&defaults)[N], bool is_NaI) {
  for (const Default& d : defaults) list.emplace_back(d.code, toVariant(is_NaI ? d.for_NaI : d.for_others));
}

}  // namespace

std::vector<std::pair<std::uint32_t, Variant>> defaultParameters(std::uint32_t n_channels, bool is_NaI) {
  std::vector<std::pair<std::uint32_t, Variant>> list;
  list.reserve(std::size(kBeforeSlope) + std::size(kAfterSlope) + 2);
  append(list, kBeforeSlope, is_NaI);
  list.emplace_back(kEnergySlope, Variant(kFullScale_keV / n_channels));
  append(list, kAfterSlope, is_NaI);
  list.emplace_back(kChannelCount, Variant(n_channels));
  return list;
}

}  // namespace com::norvale::orb
