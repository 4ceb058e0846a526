/// Result codes and statuses in words. Failure messages and `orb explain` both take them from here.
#pragma once
#include <cstdint>
#include <string>

namespace orb::tool {

/// What is known of a code.
struct ResultText {
  std::uint32_t result_code = 0;  ///< as the file object answers it
  std::uint32_t status = 0;       ///< as the data-file service answers it; 0 when the code is not one of its own
  std::string name;               ///< "AIO_NOFILE", "kFileNotOpen"; empty when the code is not known
  std::string text;               ///< "the file does not exist"
  std::string origin;             ///< who answers it: "data-file service", "file object"; empty when not known
  bool isKnown() const { return !name.empty(); }
};

/// Looks a code up: a result code of the file object, or a status of the data-file service as it is or as the file
/// object hands it on.
ResultText explainCode(std::uint32_t code);

/// "the file does not exist (0xE0610032)"
std::string codeInWords(std::uint32_t code);

/// The result code for an error number of the operating system.
std::uint32_t codeOfErrno(int error);

}  // namespace orb::tool
