#include "DefaultParameters.h"

#include <cstddef>
#include <iterator>
#include <variant>

#include "orbparams.h"

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

// The order of writing: these, the energy slope, those below, the channel count.
constexpr Default kBeforeSlope[] = {
    {ORB_F_CONTWIDTHREQ, 4},
    {ORB_L_CONTWIDTH, 4},
    {ORB_L_DUALFREE, 0},
};

constexpr Default kAfterSlope[] = {
    {ORB_L_ECALTERMS, 2},
    {ORB_D_EUNITKEV, 1.0},
    {ORB_D_FWHMOFF, -7.0, 1.0},
    {ORB_D_FWHMSLOPE, 2.0, 0.03},
    {ORB_D_BKGTOLKEV, 30.0, 1.5},
    {ORB_D_BKGTOLFWHM, 0.75, 1.5},
    {ORB_D_LOCELOW, 35.0, 10.0},
    {ORB_D_LIMITWINDOW, 1.0, 2.5},
    {ORB_D_REGIONLEFT, 1.5, 3.0},
    {ORB_D_REGIONRIGHT, 1.5, 3.0},
    {ORB_D_MULTIDIST, 2.5, 4.0},
    {ORB_D_CURVSINGLE, 1.0, 0.0},
    {ORB_D_CURVMULTI, 1.0, 0.0},
    {ORB_D_FITCONV, 0.005, 0.0001},
    {ORB_D_SPLITDIST, 0.5, 1.5},
    {ORB_D_IDTOLKEV, 20.0, 1.0},
    {ORB_D_SUSPECTDIST, 1.2, 3.0},
    {ORB_D_IDTOLFWHM, 0.5, 1.0},
    {ORB_T_NIDLIBRARY, "STDLIB.NLB"},
    {ORB_T_LIMLIBRARY, "STDLIB.NLB"},
    {ORB_T_REPORTTPL, "ANALYSIS.TP"},
    {ORB_T_EUNIT, "keV"},
    {ORB_T_FWHMTYPE, "SQRT"},
    {ORB_T_EFFMODEL, "DUA"},
    {ORB_T_CONTTYPE, "STEP"},
    {ORB_T_REPORTSECT, "HEADER"},
    {ORB_L_CONTVARIABLE, 1},
    {ORB_L_GROUPS, 1},
    {ORB_L_ROWS, 1},
    {ORB_L_ANALGROUP, 1},
    {ORB_L_MAXPEAKS, 10},
    {ORB_L_LOCFIRST, 1},
    {ORB_L_FITFIRST, 1},
    {ORB_L_LOCSMOOTH, 19},
    {ORB_L_MAXADDED, 2},
    {ORB_L_TOLMODE, 1},
    {ORB_L_POISSONLIMIT, 10},
    {ORB_L_LOCTWOFILTERS, 1},
    {ORB_L_ACTMEAN, 1},
    {ORB_L_LIMITMETHOD, 1},
    {ORB_L_DSPLOG, 1},
    {ORB_L_REPORTAPPEND, 1},
    {ORB_L_REPORTSCREEN, 1},
    {ORB_L_LOCLAST, 65535},
    {ORB_L_FITLAST, 65535},
    {ORB_F_MAXDEADTIME, 50.0f},
    {ORB_F_QUANTITY, 1.0f},
    {ORB_F_LOCTHRESH, 3.0f},
    {ORB_F_LOCCUT, 4.0f},
    {ORB_F_RESIDTHRESH, 4.0f},
    {ORB_F_LOCWIDE, 1.75f},
    {ORB_F_LOCNARROW, 1.0f},
    {ORB_F_WIDTHSCATTER, 1.0f},
    {ORB_F_MINSEPARATION, 0.3f},
    {ORB_F_MAXSHIFT, 0.3f},
    {ORB_F_MAXCHISQ, 2.5f},
    {ORB_F_KEEPSIGNIF, 3.0f},
    {ORB_F_PEAKEXTENT, 6.0f},
    {ORB_F_IDMAXHALFLIVES, 8.0f},
    {ORB_F_IDMINSHARE, 75.0f},
    {ORB_F_STEPSIGNIF, 3.0f},
    {ORB_F_ADDSIGNIF, 5.0f},
    {ORB_F_ACTFACTOR, 1.0f},
    {ORB_F_IDMINCONF, 0.3f},
    {ORB_F_IDMISSPENALTY, 1.0f},
    {ORB_F_CURRIECONST, 2.71f},
    {ORB_F_CURRIESLOPE, 3.29f},
    {ORB_T_QUANTITYUNIT, "Unit"},
    {ORB_T_AREAKIND, "Net"},
    {ORB_T_TAILMODE, "AUTO"},
    {ORB_T_WIDTHMODE, "Derived"},
    {ORB_T_ACTUNIT, "uCi"},
    {ORB_F_COVERAGE, 2.0f},
    {ORB_F_GEOMUNC, 2.0f},
    {ORB_F_ERRORPROB, 5.0f},
    {ORB_F_IDCONSIST, 3.0f},
    {ORB_F_EFFCOMMONUNC, 0.5f},
    {ORB_T_ACQMODE, "PHA"},
    {ORB_L_PILEUP, 0},
    {ORB_L_INPUT, 1},
    {ORB_F_CONTFWHM, 0.5f},
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
  list.emplace_back(ORB_D_ECALGAIN, Variant(kFullScale_keV / n_channels));
  append(list, kAfterSlope, is_NaI);
  list.emplace_back(ORB_L_CHANNELS, Variant(n_channels));
  return list;
}

}  // namespace com::norvale::orb
