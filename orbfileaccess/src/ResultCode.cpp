#include "ResultCode.h"

std::uint32_t convertReturnCode(std::uint32_t stat) {
  constexpr std::uint32_t kFacilityMask = 0x00FF0000u;
  constexpr std::uint32_t kServiceFacility = 0x00610000u;
  constexpr std::uint32_t kServiceError = 0xE0610000u;
  constexpr std::uint32_t kFacility = 0x0BE80000u;
  // Indexed by the severity of the status; 4 (severe) and above have no counterpart in a result code.
  constexpr std::uint32_t kSeverity[8] = {0xA0000000u, 0x20000000u, 0xE0000000u, 0x60000000u, 0, 0, 0, 0};

  if (stat == 0) return 0;
  const std::uint32_t number = stat & 0xFFFFu;
  if ((stat & kFacilityMask) == kServiceFacility) return number | kServiceError;
  return kSeverity[stat & 7u] | kFacility | number;
}
