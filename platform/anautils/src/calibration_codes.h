#pragma once
#include "citypes.h"

/// Parameters of the energy and shape calibration (docs/parameters.md).
namespace anautils::code {

// The equations in force.
constexpr ULONG kChannels = 0x20000007;
constexpr ULONG kEnergyCoefficients = 0x20000020;  // six
constexpr ULONG kEnergyGain = 0x20000021;
constexpr ULONG kFwhmOffset = 0x20000048;
constexpr ULONG kFwhmSlope = 0x20000049;
constexpr ULONG kTailOffset = 0x20000065;
constexpr ULONG kTailSlope = 0x20000066;

// Settings of a fit.
constexpr ULONG kCalibrationFlags = 0x2000001F;
constexpr ULONG kEnergyType = 0x20000061;
constexpr ULONG kEnergyTerms = 0x2000006C;
constexpr ULONG kFwhmType = 0x2000006B;

// What a fit leaves beside the coefficients.
constexpr ULONG kEnergyChi2 = 0x20000019;
constexpr ULONG kEnergyCovariance = 0x20000030;  // ten
constexpr ULONG kEnergyDof = 0x2000003A;
constexpr ULONG kEnergyFirst = 0x2000003B;
constexpr ULONG kEnergyLast = 0x2000003C;
constexpr ULONG kEnergyTime = 0x20000046;
constexpr ULONG kShapeTime = 0x20000064;
constexpr ULONG kFwhmChi2 = 0x2000001A;
constexpr ULONG kFwhmCovariance = 0x2000006D;  // three
constexpr ULONG kFwhmDof = 0x2000004A;
constexpr ULONG kFwhmRange = 0x20000070;  // low and high
constexpr ULONG kFwhmPoints = 0x20000074;
constexpr ULONG kFwhmScatter = 0x20000076;
constexpr ULONG kTailChi2 = 0x20000067;
constexpr ULONG kTailCovariance = 0x20000068;  // three
constexpr ULONG kTailDof = 0x2000004B;
constexpr ULONG kTailRange = 0x20000072;
constexpr ULONG kTailPoints = 0x20000075;

// Energy points, a record each.
constexpr ULONG kPointChannel = 0x200D0002;
constexpr ULONG kPointEnergy = 0x200D0003;
constexpr ULONG kPointEnergyUnc = 0x200D0007;
constexpr ULONG kPointExcluded = 0x200D000A;
constexpr ULONG kPointResidual = 0x200D0006;
constexpr ULONG kEnergyProvenance = 0x200D00F0;  // routine, version, time, settings

// Shape points, a record each.
constexpr ULONG kShapeEnergy = 0x20130004;
constexpr ULONG kShapeFwhm = 0x20130005;  // its uncertainty follows
constexpr ULONG kShapeTail = 0x20130007;  // its uncertainty follows
constexpr ULONG kShapeStatus = 0x2013000B;
constexpr ULONG kShapeFwhmResidual = 0x2013000E;
constexpr ULONG kShapeTailResidual = 0x2013000F;
constexpr ULONG kShapeProvenance = 0x201300F0;

}  // namespace anautils::code
