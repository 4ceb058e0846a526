/// Result codes and statuses in words. Failure messages and `orb explain` both take them from here.
#pragma once
#include <cstdint>
#include <optional>
#include <string>

namespace com::norvale::measurement {

/// What is known of a code.
struct ResultText {
  std::uint32_t result_code = 0;  ///< as the file object answers it
  std::uint32_t status = 0;       ///< as the service, a routine or an engine answers it; 0: a code of the file object
  std::string name;               ///< "AIO_NOFILE", "kFileNotOpen"; empty when the code is not known
  std::string text;               ///< "the file does not exist"
  std::string origin;             ///< "data-file service", "analysis routines", "engines", "file object"; or empty
  bool isKnown() const { return !name.empty(); }
  bool hasStatus() const { return isKnown() && origin != "file object"; }
};

/// Looks a code up: a result code of the file object, or a status of the service, the routines or the engines, as it is
/// or as the file object hands it on.
ResultText explainCode(std::uint32_t code);

/// The code that a name such as AIO_NOFILE stands for; nothing when none is called so.
std::optional<std::uint32_t> codeOfName(const std::string& name);

/// "the file does not exist (0xE0610032)"
std::string codeInWords(std::uint32_t code);

/// The result code for an error number of the operating system.
std::uint32_t codeOfErrno(int error);

}  // namespace com::norvale::measurement
