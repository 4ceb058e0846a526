#pragma once
#include "citypes.h"
#include "orbparams.h"

/// Parameters of the energy and shape calibration (docs/parameters.md).
namespace anautils::code {

// The equations in force.
constexpr ULONG kChannels = ORB_L_CHANNELS;
constexpr ULONG kEnergyCoefficients = ORB_D_ECALOFFSET;  // six
constexpr ULONG kFwhmOffset = ORB_D_FWHMOFF;
constexpr ULONG kFwhmSlope = ORB_D_FWHMSLOPE;
constexpr ULONG kTailOffset = ORB_D_TAILOFF;
constexpr ULONG kTailSlope = ORB_D_TAILSLOPE;

// Settings of a fit.
constexpr ULONG kCalibrationFlags = ORB_L_CALFLAGS;
constexpr ULONG kEnergyType = ORB_T_ECALTYPE;
constexpr ULONG kEnergyTerms = ORB_L_ECALTERMS;
constexpr ULONG kFwhmType = ORB_T_FWHMTYPE;

// What a fit leaves beside the coefficients.
constexpr ULONG kEnergyChi2 = ORB_D_ECALCHISQ;
constexpr ULONG kEnergyCovariance = ORB_D_ECALCOV00;  // ten
constexpr ULONG kEnergyDof = ORB_L_ECALDOF;
constexpr ULONG kEnergyFirst = ORB_D_ECALFIRST;
constexpr ULONG kEnergyLast = ORB_D_ECALLAST;
constexpr ULONG kEnergyTime = ORB_X_ECALTIME;
constexpr ULONG kShapeTime = ORB_X_SCALTIME;
constexpr ULONG kFwhmChi2 = ORB_D_FWHMCHISQ;
constexpr ULONG kFwhmCovariance = ORB_D_FWHMCOV00;  // three
constexpr ULONG kFwhmDof = ORB_L_FWHMDOF;
constexpr ULONG kFwhmRange = ORB_D_FWHMELOW;  // low and high
constexpr ULONG kFwhmPoints = ORB_L_FWHMPOINTS;
constexpr ULONG kFwhmScatter = ORB_D_FWHMSCATTER;
constexpr ULONG kTailChi2 = ORB_D_TAILCHISQ;
constexpr ULONG kTailCovariance = ORB_D_TAILCOV00;  // three
constexpr ULONG kTailDof = ORB_L_TAILDOF;
constexpr ULONG kTailRange = ORB_D_TAILELOW;
constexpr ULONG kTailPoints = ORB_L_TAILPOINTS;

// Energy points, a record each.
constexpr ULONG kPointChannel = ORB_D_CRCHANNEL;
constexpr ULONG kPointEnergy = ORB_D_CRENERGY;
constexpr ULONG kPointEnergyUnc = ORB_D_CRENERGYUNC;
constexpr ULONG kPointExcluded = ORB_L_CREXCLUDED;
constexpr ULONG kPointResidual = ORB_D_CRRESID;
constexpr ULONG kEnergyProvenance = ORB_T_ECENGINE;  // routine, version, time, settings

// Shape points, a record each.
constexpr ULONG kShapeEnergy = ORB_D_SRENERGY;
constexpr ULONG kShapeFwhm = ORB_D_SRFWHM;  // its uncertainty follows
constexpr ULONG kShapeTail = ORB_D_SRTAIL;  // its uncertainty follows
constexpr ULONG kShapeStatus = ORB_L_SRSTATUS;
constexpr ULONG kShapeFwhmResidual = ORB_D_SRFWHMRESID;
constexpr ULONG kShapeTailResidual = ORB_D_SRTAILRESID;
constexpr ULONG kShapeProvenance = ORB_T_SCENGINE;

}  // namespace anautils::code
