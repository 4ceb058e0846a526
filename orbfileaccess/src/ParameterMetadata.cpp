#include "ParameterMetadata.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

#include "FailureReport.h"
#include "aioproto.h"

namespace com::norvale::orb {

namespace {

constexpr std::int32_t kText = 14;
constexpr std::int32_t kNameText = 24;

/// The characters up to the first NUL; all of them when the service filled the buffer to its last byte.
template <std::size_t N>
std::string textOf(const char (&buffer)[N]) {
  return std::string(buffer, std::find(buffer, buffer + N, '\0'));
}

}  // namespace

// The texts end at their first NUL, so that one empties them: every get and set makes one of these objects, and zeroing
// all 312 bytes takes as long as a look into the dictionary.
ParameterMetadata::ParameterMetadata(void* handle) : m_handle(handle) {
  m_name[0] = '\0';
  m_desc[0] = '\0';
}

std::uint32_t ParameterMetadata::setCode(std::uint32_t Code) {
  static_assert(sizeof m_name == AIO_NAME_LENGTH && sizeof m_desc == AIO_DESCRIPTION_LENGTH);
  m_code = Code;
  LONG storage_type = 0;
  LONG storage_length = 0;
  LONG return_type = 0;
  LONG return_length = 0;
  LONG block_type = 0;
  LONG device_flags = 0;
  const std::uint32_t status =
      convertReturnCode(AioUtilGetPInfo(m_handle, Code, m_name, m_desc, &m_flags, &storage_type, &storage_length,
                                        &return_type, &return_length, &block_type, &device_flags));
  if (status != 0) {
    return reportFailure("ParameterMetadata::setCode", "Error getting parameter information", status);
  }
  m_retType = return_type;
  m_retLen = return_length;
  m_storeType = storage_type;
  m_storeLen = storage_length;
  m_deviceFlags = device_flags;
  m_blockType = block_type;
  return 0;
}

std::uint32_t ParameterMetadata::setName(const std::string& name) {
  ULONG code = 0;
  char full_name[AIO_DESCRIPTION_LENGTH] = {};
  // No look at the status: an unknown name leaves code 0, which the dictionary refuses in setCode.
  AioUtilPname2Code(name.c_str(), full_name, &code);
  return setCode(code);
}

std::string ParameterMetadata::name() const {
  return textOf(m_name);
}

std::string ParameterMetadata::description() const {
  return textOf(m_desc);
}

std::uint32_t ParameterMetadata::size() const {
  const bool is_text = m_retType == kText || m_retType == kNameText;
  return is_text ? static_cast<std::uint32_t>(m_storeLen) + 1 : static_cast<std::uint32_t>(m_retLen);
}

}  // namespace com::norvale::orb

std::string formatParameterError(std::uint32_t code) {
  com::norvale::orb::ParameterMetadata metadata(nullptr);
  if (metadata.setCode(code) == 0) return metadata.name();
  char digits[9];
  std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(code));
  return digits;
}
