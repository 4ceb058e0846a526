/* The analysis routines: calibrations, efficiency, regions, location and fit of lines. They read what they work on from
   the parameters of an open data file and leave their results there; docs/analysis.md says which. Return codes:
   anastatus.h, or a status of the data-file service, handed on unchanged. Unless a comment says otherwise:
   - on anything but ANA_OK the outputs are as they were, and the file as far as a comment does not say more;
   - channels count from 1, energies are in keV, uncertainties are standard ones;
   - any thread may call. No routine keeps a state or takes a lock, so nobody else may change the file meanwhile. */
#pragma once
#include "aioproto.h"
#include "anastatus.h"
#include "anautils_export.h"
#include "citypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Text for a status of the routines or of the data-file service. Never null. */
ANAUTILS_EXPORT const char* AnaStatusText(ULONG status);

/* ---- Calibration equations ------------------------------------------------------------------------------------ */

/** Kinds of equation for lGetEneq. */
enum AnaEquationKind { ANA_ENERGY = 1, ANA_FWHM = 2, ANA_LOWTAIL = 3 };

/** Fetches a calibration equation. Energy: all six coefficients, whatever number of terms a fit was asked for, and
 *  no lower bound. FWHM: the bound keeps the width positive; with a negative offset a it lies where the width is
 *  |a|/10. Low tail: the bound keeps a rising curve from becoming negative; 0 or less means no tail.
 *  @param kind      AnaEquationKind
 *  @param set       number of the calibration set: 1, the only one that a file has
 *  @param equation  out
 *  @return ANA_OK; ANA_NOENERGYCAL (the gain is 0 or missing), ANA_NOFWHMCAL, ANA_NOTAILCAL (both coefficients are 0
 *          or missing); ANA_BADCAL (a coefficient is not finite, or the FWHM does not rise); ANA_UNKNOWNKIND;
 * ANA_BADARG */
ANAUTILS_EXPORT LONG lGetEneq(void* handle, SHORT kind, SHORT set, stAEncalEq_T* equation);

/** Value of an equation. An argument below the equation's lower bound is raised to it.
 *  @return the value; not-a-number for a null or unusable equation or an argument that is not finite */
ANAUTILS_EXPORT REAL rEval(REAL argument, const stAEncalEq_T* equation);

/** The position whose energy is given: where the polynomial has several, the smallest at or above the lower bound
 *  (0 when there is none) at which it rises. Without a lower bound negative positions are found too, the nearest to 0.
 *  @return the position [channel]; not-a-number when there is none */
ANAUTILS_EXPORT REAL rPEn2Chan(REAL energy, const stAEncalEq_T* equation);

/** As rPEn2Chan, in doubles and with a status.
 *  @return ANA_OK; ANA_NOROOT; ANA_BADCAL; ANA_BADARG */
ANAUTILS_EXPORT LONG lPEn2Chan(DOUBLE energy, const stAEncalEq_T* equation, DOUBLE* position);

/** Fits the equations that the file asks for (energy, FWHM, low tail) to its tables of points and leaves them, with
 *  covariances, reduced chi-squares and residuals, in the file. All fits come before the first write: one that fails
 *  leaves all equations as they were. A polynomial gets fewer terms than asked for when there are fewer positions; two
 *  positions are the least, one for a fit of the gain alone. Method: weighted least squares by QR decomposition in
 *  scaled variables (Golub 1965); docs/analysis.md tells the weights and the scaling of the covariance.
 *  @param set  1
 *  @param reserved1, reserved2  null
 *  @return ANA_OK, also when nothing was asked for; ANA_TOOFEWPOINTS; ANA_EQUALPOINTS; ANA_BADPOINT (of those that take
 *          part); ANA_SINGULAR; ANA_NOTRISING; ANA_BADCAL (the FWHM falls, or is not positive at a point);
 *          ANA_BADSETTING; ANA_BADARG */
ANAUTILS_EXPORT LONG lEncal2(void* handle, SHORT set, void* reserved1, void* reserved2);

/* ---- Efficiency ----------------------------------------------------------------------------------------------- */

/** Fetches the efficiency equation of the model that the file selects, and its points in order of energy. Points of
 *  equal energy are averaged for the interpolated model.
 *  @param set       1
 *  @param equation  out
 *  @param n_points  out: number of points, 0 to ANA_MAX_EFF_POINTS
 *  @param energies, efficiencies, uncertainties  out: [ANA_MAX_EFF_POINTS]; [keV], [1], relative
 *  @return ANA_OK; ANA_NOEFFICIENCY (also: no model selected); ANA_UNKNOWNKIND (no such model, or not unmistakable);
 *          ANA_TOOMANYPOINTS; ANA_BADPOINT; ANA_TOOFEWPOINTS (interpolated: one energy only); ANA_BADCAL;
 *          ANA_BADSETTING (common uncertainty); ANA_BADARG */
ANAUTILS_EXPORT LONG lGetEfeq(void* handle, SHORT set, stEfEq_T* equation, int* n_points, REAL* energies,
                              REAL* efficiencies, REAL* uncertainties);

/** Efficiency at an energy. Outside the calibrated range the curve goes on.
 *  @param n_points, energies, efficiencies  as lGetEfeq gave them; only the interpolated model looks at them
 *  @return ANA_OK; ANA_BADENERGY; ANA_NOEFFICIENCY (an equation of zeros); ANA_UNKNOWNKIND; ANA_TOOFEWPOINTS;
 *          ANA_BADCAL (also: the result is 0 or not finite); ANA_BADARG */
ANAUTILS_EXPORT LONG lEffic(REAL energy, const stEfEq_T* equation, int n_points, const REAL* energies,
                            const REAL* efficiencies, REAL* efficiency);

/** Relative standard uncertainty of an efficiency: from the covariance of the fit (interpolated: of the two points),
 *  the common part, and outside the calibrated range 20 % for every unit of ln(E), in quadrature.
 *  @param efficiency     what lEffic gave for this energy; not needed by any of the models
 *  @param uncertainties  relative, as lGetEfeq gave them
 *  @return as lEffic */
ANAUTILS_EXPORT LONG lEffvar(REAL energy, REAL efficiency, const stEfEq_T* equation, int n_points, const REAL* energies,
                             const REAL* uncertainties, REAL* relative_uncertainty);

/** Fits the efficiency model that the file selects to the file's efficiency points and leaves coefficients,
 *  covariance, reduced chi-square, range and residuals in the file. Polynomials get fewer terms than asked for when
 * there are fewer energies. Method: as lEncal2, in ln(efficiency) (Debertin & Helmer 1988; Gilmore 2008).
 *  @param set  1
 *  @param reserved1, reserved2  null
 *  @return ANA_OK; ANA_TOOFEWPOINTS, ANA_EQUALPOINTS, ANA_TOOMANYPOINTS, ANA_BADPOINT, ANA_SINGULAR, ANA_NOEFFICIENCY
 *          (no model selected), ANA_UNKNOWNKIND, ANA_BADSETTING, ANA_BADARG */
ANAUTILS_EXPORT LONG lEfcal(void* handle, SHORT set, void* reserved1, void* reserved2);

/* ---- Regions and lines ---------------------------------------------------------------------------------------- */

/** Limits of the region of a line, clipped to the spectrum.
 *  @param use_calibration  1: width from the FWHM calibration at `energy`; 0: from the counts around the channel
 *  @param channel   channel of the line
 *  @param energy    energy of the line [keV]; 0: from the channel by the energy equation
 *  @param first, last  out: first and last channel
 *  @return ANA_OK; ANA_OUTSIDE; ANA_NOFWHMCAL, ANA_NOENERGYCAL, ANA_BADCAL; ANA_NOPEAK (no maximum in the counts
 * there); ANA_NOSPECTRUM, ANA_BADCOUNTS, ANA_BADARG */
ANAUTILS_EXPORT LONG ulUtlRoi(void* handle, FLAG use_calibration, ULONG channel, REAL energy, ULONG* first,
                              ULONG* last);

/** Fits one line in one region, both named by the file, and leaves its centroid, width, tail and area in the working
 *  records of the calibration point tables.
 *  @param set  1  @param reserved1, reserved2  0
 *  @return ANA_OK; ANA_EMPTYREGION, ANA_OUTSIDE, ANA_TOONARROW, ANA_NOCOUNTS, ANA_BADCOUNTS, ANA_NOSPECTRUM,
 * ANA_NOPEAK, ANA_NOTCONVERGED, ANA_BADSETTING, ANA_BADARG */
ANAUTILS_EXPORT LONG lEncal1(void* handle, SHORT set, LONG reserved1, LONG reserved2);

/** Locates lines by the second difference between the channels that the file names, and replaces the table of lines by
 *  what it found, in order of position. A table without lines is a success.
 *  @param reserved1..3  0
 *  @return ANA_OK; as lEncal1, and ANA_NOFWHMCAL only where the width cannot be had from the data either */
ANAUTILS_EXPORT LONG AA_2nd_Diff_Peak_Loc(void* handle, LONG reserved1, LONG reserved2, LONG reserved3);

/** Fits the located lines, multiplets together, and replaces the table of lines by the results in order of energy; a
 *  line that the fit does not confirm is dropped, one that the residuals demand is added.
 *  @param reserved1..3  0
 *  @return ANA_OK; ANA_NOPEAKTABLE; as lEncal1. A region that cannot be fitted keeps its lines, marked. */
ANAUTILS_EXPORT LONG lPANolin(void* handle, LONG reserved1, LONG reserved2, LONG reserved3);

/** The curve that the fit of a region stands for, from the table of lines: what lPANolin expected in each channel.
 * Widths and tails lie in the table in keV, so it is right as long as the energy calibration is that of the fit. Where
 * a multiplet was cut into two regions, the other region's lines are part of the model.
 *  @param region     number of the region, 1 to 65535, as it stands beside its lines
 *  @param capacity   room in the arrays; the number of channels of the spectrum is always enough
 *  @param first, n   out: first channel of the region, number of its channels
 *  @param continuum  out: [capacity] counts in each channel without the lines, the steps under them included; or null
 *  @param model      out: [capacity] continuum and all lines; or null
 *  @return ANA_OK; ANA_NOPEAKTABLE; ANA_NOPEAK (no such region, or its fit gave no numbers); ANA_NOENERGYCAL;
 *          ANA_BADCAL (also: a width that is not positive), ANA_BADPOINT, ANA_EMPTYREGION, ANA_OUTSIDE (the table holds
 *          what no fit leaves); ANA_BADARG (also: more channels than room) */
ANAUTILS_EXPORT LONG lFittedRegion(void* handle, LONG region, ULONG capacity, ULONG* first, ULONG* n, DOUBLE* continuum,
                                   DOUBLE* model);

/** A line of a source as it was found in a spectrum; positions and widths in channels. */
typedef struct AnaMatchedLine_S {
  int iKnown; /* index of the known line */
  DOUBLE dPosition;
  DOUBLE dPositionUnc;
  DOUBLE dFwhm;
  DOUBLE dFwhmUnc; /* of the width of its region */
  DOUBLE dArea;    /* [counts] */
  DOUBLE dAreaUnc;
} AnaMatchedLine_T;

/** Finds the lines of a known source in the spectrum by their pattern, for a calibration. The file's energy equation,
 * if it has one, is a hint and no more; widths come from the counts. Nothing is written.
 *  @param energies, intensities  [n_known], [keV] and any unit, both positive
 *  @param groups     [n_known], equal for the lines of one nuclide, whose areas go together; null: all are of one
 *  @param matched    out: [n_known], in order of energy
 *  @param n_matched  out
 *  @return ANA_OK; ANA_NOPATTERN; ANA_NOPEAK (nothing stands out); ANA_NOSPECTRUM, ANA_BADCOUNTS, ANA_BADENERGY, ANA_BADARG */
ANAUTILS_EXPORT LONG lFindSource(void* handle, const DOUBLE* energies, const DOUBLE* intensities, const int* groups,
                                 int n_known, AnaMatchedLine_T* matched, int* n_matched);

#ifdef __cplusplus
}
#endif
