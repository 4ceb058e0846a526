/// Parameters that the tool reads or writes by itself.
#pragma once
#include <cstddef>
#include <cstdint>

namespace orb::tool {

constexpr std::uint32_t kMeasurementId = 0x20000000;
constexpr std::uint32_t kStartTime = 0x20000001;
constexpr std::uint32_t kTitle = 0x20000002;
constexpr std::uint32_t kLiveTime = 0x20000005;
constexpr std::uint32_t kRealTime = 0x20000006;
constexpr std::uint32_t kChannelCount = 0x20000007;
constexpr std::uint32_t kTotalCounts = 0x2000000A;
constexpr std::uint32_t kDetectorName = 0x20000010;
constexpr std::uint32_t kDetectorType = 0x20000012;
constexpr std::uint32_t kInstrument = 0x20000015;
constexpr std::uint32_t kSourceFile = 0x2000001C;
constexpr std::uint32_t kImportTime = 0x2000001D;
constexpr std::uint32_t kSourceFormat = 0x2000001E;
constexpr std::uint32_t kEnergyCoefficient0 = 0x20000020;  ///< the others follow
constexpr std::size_t kEnergyCoefficients = 6;
constexpr std::uint32_t kRemarks = 0x20000027;
constexpr std::uint32_t kEnergySource = 0x2000003D;
constexpr std::uint32_t kShapeSource = 0x2000003E;
constexpr std::uint32_t kEnergyTime = 0x20000046;
constexpr std::uint32_t kFwhmOffset = 0x20000048;
constexpr std::uint32_t kFwhmSlope = 0x20000049;
constexpr std::uint32_t kEnergyType = 0x20000061;
constexpr std::uint32_t kShapeTime = 0x20000064;
constexpr std::uint32_t kFwhmScatter = 0x20000076;  ///< [%]
constexpr std::uint32_t kPeakEnergy = 0x20060007;
constexpr std::uint32_t kPeakCentroid = 0x2006000A;
constexpr std::uint32_t kPeakArea = 0x2006000C;
constexpr std::uint32_t kPeakNuclide = 0x20060057;
constexpr std::uint32_t kShapeEngine = 0x201300F0;
constexpr std::uint32_t kShapeSettings = 0x201300F3;

/// Written as the engine of a shape calibration that came with an imported spectrum.
constexpr const char* kImportEngine = "orb import";

}  // namespace orb::tool
