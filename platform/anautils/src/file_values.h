#pragma once
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "aioproto.h"
#include "orbparams.h"

/// Typed values of an open data file. Numbers are converted from and to whatever type the file's dictionary gives the
/// parameter. Everything here throws Failure with the status of the service; a missing value is no failure.
namespace anautils {

/// The number of a parameter; nothing when it was never written or is a text.
std::optional<double> findNumber(void* handle, ULONG code, USHORT record = 0, USHORT entry = 0);

/// The number of a parameter, or the fallback when it was never written.
double readDouble(void* handle, ULONG code, double fallback, USHORT record = 0, USHORT entry = 0);

/// As readDouble, to the nearest integer, saturating; not-a-number gives the fallback.
int readInt(void* handle, ULONG code, int fallback, USHORT record = 0, USHORT entry = 0);

/// The text of a parameter, or the fallback when it was never written.
std::string readText(void* handle, ULONG code, const std::string& fallback, USHORT record = 0, USHORT entry = 0);

/// Fills an array from header values with consecutive codes; what was never written reads as 0.
void readArray(void* handle, ULONG first_code, std::span<double> values);

/// Number of records of a class; 0 when the file has no such block.
USHORT countRecords(void* handle, USHORT cls);

/// Number of channels of the spectral block; 0 when the file has none.
ULONG countChannels(void* handle);

/// The counts of all channels of the first row of a group; element 0 is channel 1. Integers are read exactly.
/// Fails with ANA_NOSPECTRUM, and with ANA_BADCOUNTS when a count is negative or not finite.
std::vector<double> readSpectrum(void* handle, ULONG group = 1);

/// The present time as parameters hold it (VMS time).
double presentTime();

/// Values that are to be written together. Nothing touches the file before commit.
class PendingWrites {
 public:
  void set(ULONG code, double value, USHORT record = 0, USHORT entry = 0);
  void set(ULONG code, int value, USHORT record = 0, USHORT entry = 0);
  void set(ULONG code, const std::string& text, USHORT record = 0, USHORT entry = 0);
  /// Header values with consecutive codes.
  void setArray(ULONG first_code, std::span<const double> values);

  /// Writes all values in the order of the calls. When one is refused, those written before it get their former values
  /// back (one that had none keeps the new one), and Failure is thrown.
  void commit(void* handle) const;

 private:
  struct Write {
    ULONG code;
    USHORT record;
    USHORT entry;
    bool is_text;
    double number;
    std::string text;
  };
  static std::optional<std::string> formerBytes(void* handle, const Write& write);
  static std::string newBytes(void* handle, const Write& write);

  std::vector<Write> writes_;
};

}  // namespace anautils
