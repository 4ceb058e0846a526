/// The description of one parameter and the codec of its values, and the options of the file object's operations.
#pragma once
#include <cstdint>
#include <string>

#include "ByteStream.h"
#include "ResultCode.h"
#include "Variant.h"
#include "orbfileaccess_export.h"

/// Element format of a spectrum in a ByteStream. Both take 4 bytes a channel.
enum SpectralFormatTag : std::int32_t {
  LONGFORMAT = 0,  ///< 32-bit integers [counts]
  FLOATFORMAT = 1  ///< IEEE 754 singles [counts]
};
using SpectralFormat = SpectralFormatTag;

namespace com::norvale::orb {

/// How FileAccess::open opens a file. READWRITE and CREATE may be joined by |; CREATE wins.
enum OpenOptionsTag : std::uint32_t {
  READONLY = 0,     ///< an existing file, for reading
  READWRITE = 512,  ///< an existing file, for reading and writing
  CREATE = 1024     ///< a new, empty file
};
using OpenOptions = OpenOptionsTag;

/// What FileAccess::close does with changes that were not flushed.
enum CloseOptionsTag : std::uint32_t {
  FLUSH = 0,    ///< writes them
  NOFLUSH = 1,  ///< drops them
  DELETE = 2    ///< drops them and the file
};
using CloseOptions = CloseOptionsTag;

/// Kinds of calibration that FileAccess::copyCalibrationsTo copies; a bit set.
enum CopyCalibrationOptionsTag : std::int32_t {
  ENERGY = 1,      ///< energy calibration: its result block and 13 parameters
  SHAPE = 2,       ///< shape calibration: its result block and 21 parameters
  EFFICIENCY = 4,  ///< geometry and efficiency block
  PEAK2TOTAL = 8,  ///< peak-to-total block
  TOJO = 16,       ///< six settings parameters
  ALL = -1         ///< every kind
};
using CopyCalibrationOptions = CopyCalibrationOptionsTag;

/// What FileAccess::evaluate computes. Energies in the unit of the file's calibrations, keV.
enum EvaluationOptionTag : std::uint32_t {
  CHANNEL2ENERGY = 0,     ///< channel to energy
  ENERGY2CHANNEL = 1,     ///< energy to channel
  ENERGY2FWHM = 2,        ///< energy to FWHM [keV]
  ENERGY2LOWTAIL = 3,     ///< energy to low-tail junction distance [keV]
  ENERGY2DEFAULTEFF = 4,  ///< energy to efficiency, by the model that the file selects
  ENERGY2EMPIRICAL = 5,   ///< by the empirical model
  ENERGY2LINEAR = 6,      ///< by the linear model
  ENERGY2INTERPOL = 7,    ///< interpolated between the points
  ENERGY2DUAL = 8,        ///< by the dual polynomial
  ENERGY2AVERAGE = 9,     ///< the average of the points
  ENERGY2PEAK2TOTAL = 10  ///< energy to the ratio of peak to total
};
using EvaluationOption = EvaluationOptionTag;

/// Where the continuum under a region is taken from.
enum ContinuumOptionsTag : std::uint32_t {
  USE_DEFAULT_OPTIONS = 0,  ///< from the settings that the file has
  VARIABLE_CONTINUUM = 1,   ///< a width in FWHM at each end
  FIXED_CONTINUUM = 2       ///< a number of channels at each end
};
using ContinuumOptions = ContinuumOptionsTag;

/// Form of the continuum under a region.
enum ContinuumTypeTag : std::uint32_t {
  NONE = 0,    ///< no continuum
  LINEAR = 1,  ///< a straight line
  STEP = 2     ///< a straight line and a step under the lines
};
using ContinuumType = ContinuumTypeTag;

constexpr OpenOptions operator|(OpenOptions a, OpenOptions b) {
  return static_cast<OpenOptions>(static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b));
}
constexpr CopyCalibrationOptions operator|(CopyCalibrationOptions a, CopyCalibrationOptions b) {
  return static_cast<CopyCalibrationOptions>(static_cast<std::int32_t>(a) | static_cast<std::int32_t>(b));
}

/// What the data-file service's dictionary says about one parameter code, and the codec between a Variant and the
/// bytes in which the service moves the parameter's value.
///
/// Give the object a code with setCode or setName first; until that has succeeded, the observers answer from the
/// look-up before (or zeros). The same object may describe one code after another.
///
/// The return type decides the byte layout. All numbers are little-endian and stand at byte 0, without header:
///
///   | return type | value                           | bytes                | deserialize gives      |
///   |-------------|---------------------------------|----------------------|------------------------|
///   | 2, 6        | boolean, written as 0 or 1      | 1                    | bool                   |
///   | 3, 7        | 16-bit integer                  | 2                    | uint16_t               |
///   | 8           | 32-bit integer                  | 4                    | uint32_t               |
///   | 9           | 64-bit integer                  | 8                    | int64_t                |
///   | 10          | IEEE 754 single                 | 4                    | float                  |
///   | 14, 24      | text, NUL-filled to the end     | storage length + 1   | std::string            |
///   | 27, 192     | IEEE 754 double                 | 8                    | double                 |
///   | 35          | time, as a VMS time in a double | 8                    | xtime_t                |
///   | other       | none                            | return length        | an empty Variant       |
///
/// Integers of 16 and 32 bits are written from signed values and read as unsigned ones: -1 comes back as 4294967295.
/// A value that was read is written back as the same bytes; any other one is cut at the limits of the signed type.
///
/// @threads one thread per object. The handle is used by setCode and setName only; whoever shares the open file holds
///          its lock meanwhile.
class ORBFILEACCESS_EXPORT ParameterMetadata {
 public:
  /// An object that describes no parameter yet: code 0, all numbers 0, empty texts. Asks the service nothing.
  /// @param handle  service handle of the open file whose dictionary is meant, not owned; null for the dictionary
  ///                that the environment names
  explicit ParameterMetadata(void* handle);

  /// Describes the parameter `Code`.
  /// @param Code  parameter code; it is taken over even when the look-up fails
  /// @return 0; the converted status of the service when its dictionary does not know the code. Then the types,
  ///         lengths, block type and device flags stay as they were, and one line is logged under
  ///         "ParameterMetadata::setCode": "Error getting parameter information".
  std::uint32_t setCode(std::uint32_t Code);
  /// Describes the parameter named `name`.
  /// @return what setCode returns for the code of that name. A name that the service does not know leads to
  ///         setCode(0), so the failure is that of code 0.
  std::uint32_t setName(const std::string& name);

  /// The code given last, also after a failed look-up.
  std::uint32_t getCode() const { return m_code; }
  /// The class of a parameter code (the kind of block that holds it): its upper 16 bits.
  static std::uint32_t parameterClass(std::uint32_t Code) { return Code >> 16; }
  /// The class of getCode().
  std::uint32_t classCode() const { return parameterClass(m_code); }
  /// Type in which the service hands the value over; see the table above.
  std::int32_t returnType() const { return m_retType; }
  /// Length in which the service hands the value over [bytes].
  std::int32_t returnLength() const { return m_retLen; }
  /// Type in which the value lies in the file.
  std::int32_t storageType() const { return m_storeType; }
  /// Length in which the value lies in the file [bytes]; of a text its characters without the NUL.
  std::int32_t storageLength() const { return m_storeLen; }
  std::int32_t deviceFlags() const { return m_deviceFlags; }
  /// Type of the block that holds the parameter, as the dictionary gives it.
  std::int32_t blockType() const { return m_blockType; }
  std::int32_t flags() const { return m_flags; }
  /// Name and description exactly as the dictionary wrote them, trailing blanks included.
  std::string name() const;
  std::string description() const;
  /// Bytes of a buffer that holds one value: storage length + 1 for a text, else the return length.
  std::uint32_t size() const;

  /// Encodes a value for this parameter.
  /// @param ParamValue  any value that converts to the parameter's type, by the conversions of Variant
  /// @param Str         out: size() bytes. A text that is too long is cut to the storage length.
  /// @return 0, also for a return type without an encoding (the bytes are then zeros); kOutOfMemory or
  ///         kExceptionCaught when the stream cannot be allocated, logged under "ParameterMetadata::serialize"
  /// @throws what the conversion throws, for instance for a text that is not a number; Str then holds zeros
  std::uint32_t serialize(const datatypes::Variant& ParamValue, datatypes::ByteStream& Str) const;
  /// Decodes a value of this parameter.
  /// @param Str         at least as many bytes as the type has; further ones are ignored. A text ends at its first
  ///                    NUL or with the stream.
  /// @param ParamValue  out: the value; empty after a failure and for a return type without an encoding
  /// @return 0; kBadStreamSize for a stream that is too short, logged under "ParameterMetadata::deserialize" as
  ///         "Invalid stream size"
  /// @throws std::logic_error for a text in a stream without a buffer
  std::uint32_t deserialize(const datatypes::ByteStream& Str, datatypes::Variant& ParamValue) const;

  void* m_handle;
  std::uint32_t m_code = 0;
  std::int32_t m_retType = 0;
  std::int32_t m_retLen = 0;
  std::int32_t m_storeType = 0;
  std::int32_t m_storeLen = 0;
  std::int32_t m_deviceFlags = 0;
  std::int32_t m_blockType = 0;
  std::uint16_t m_flags = 0;
  char m_name[56];
  char m_desc[256];
};

}  // namespace com::norvale::orb

/// Text for a parameter code in log lines: the parameter's name, or for a code that the dictionary does not know its
/// hexadecimal digits, at least two of them ("2001f000", "07").
/// @param code  parameter code, looked up in the dictionary that the environment names
/// @return the text; a code that is not known is also logged, by ParameterMetadata::setCode
/// @threads any thread; takes no lock
ORBFILEACCESS_EXPORT std::string formatParameterError(std::uint32_t code);
