/// Result codes: what every operation of the library answers. 0 is success, everything else a failure.
///
/// A code is laid out as a status word: severity in bits 31..29, facility in bits 27..16, number in bits 15..0. Codes
/// made of a status of the data-file service carry its number; the others are listed here. The table of all of them,
/// with the operations that answer them, is docs/result-codes.md.
#pragma once
#include <cstdint>

#include "orbfileaccess_export.h"

namespace com::norvale::orb {

inline constexpr std::uint32_t kSuccess = 0;
/// The file object has no open file.
inline constexpr std::uint32_t kFileNotOpen = 0xEBE81389u;
/// open found a file open already; deleteLevel or duplicateTo found none open.
inline constexpr std::uint32_t kWrongOpenState = 0xEBE8138Du;
/// An argument cannot be used: an empty file name, one file as source and destination.
inline constexpr std::uint32_t kBadArgument = 0xECE99D7Du;
/// An exception without a code of its own ended the operation.
inline constexpr std::uint32_t kExceptionCaught = 0xECE99F6Du;
/// There is not enough memory.
inline constexpr std::uint32_t kOutOfMemory = 0x8007000Eu;
/// A stream is shorter than a value of the parameter's type.
inline constexpr std::uint32_t kBadStreamSize = 0x80070057u;
/// An engine's library has no such entry point.
inline constexpr std::uint32_t kNoEntryPoint = 0x80004005u;
/// The engine catalogue has no engine of that name.
inline constexpr std::uint32_t kEngineNotFound = 0xEBE88F82u;
/// The parameter has no value (service status 0x805A). Never logged by getParameter.
inline constexpr std::uint32_t kNoValue = 0xEBE8805Au;
/// The file has no block of the class (service status 0x8102).
inline constexpr std::uint32_t kNoBlock = 0xEBE88102u;

}  // namespace com::norvale::orb

/// The result code of a status of the data-file service.
///
/// The low 16 bits of the status are kept. The service's own facility (0x61 in bits 23..16) gives an error code with
/// that facility, whatever the severity says. Any other facility is replaced by 0xBE8, and the severity in bits 2..0
/// (0 warning, 1 success, 2 error, 3 informational) becomes that of the code; 4 to 7 give a code without severity
/// bits. Only status 0 gives 0: a "success" with a number is not 0 and counts as a failure.
/// @param stat  status as the service returned it
/// @return the result code; nothing is logged
/// @threads any thread
ORBFILEACCESS_EXPORT std::uint32_t convertReturnCode(std::uint32_t stat);
