// Values of the open file, one by one and as maps.
#include <string>

#include "BulkRead.h"
#include "ExceptionCapture.h"
#include "FailureReport.h"
#include "FileAccess.h"
#include "OpenFileCheck.h"
#include "get_put.h"

namespace com::norvale::orb {

using datatypes::ByteStream;
using datatypes::Variant;

namespace {

std::string describeFailure(const char* what, std::uint32_t code, std::uint16_t record, std::uint16_t entry) {
  return what + formatParameterError(code) + " Record: " + std::to_string(record) + " Entry: " + std::to_string(entry);
}

}  // namespace

std::uint32_t FileAccess::getParameter(std::uint32_t Code, Variant& Val, std::uint16_t Rec, std::uint16_t Entry) const {
  constexpr const char* kWhere = "FileAccess::getParameter";
  const FileLock lock(m_mutex);
  Val.clear();
  if (const std::uint32_t refusal = requireOpen(*this, kWhere)) return refusal;
  ParameterMetadata metadata(m_handle);
  if (const std::uint32_t unknown = metadata.setCode(Code)) return unknown;

  ByteStream buffer;
  const std::uint32_t caught = captureExceptions(kWhere, [&] { buffer.allocate(metadata.size()); });
  if (caught != 0) return caught;

  auto size = static_cast<USHORT>(buffer.size());
  const std::uint32_t status = convertReturnCode(AioGetParam(m_handle, Code, Rec, Entry, buffer.buffer(), &size));
  if (status == 0) return metadata.deserialize(buffer, Val);
  if (status == kNoValue) return status;
  return reportFileFailureOf(*this, kWhere, status,
                             [&] { return describeFailure("Failed to get parameter: ", Code, Rec, Entry); });
}

std::uint32_t FileAccess::setParameter(std::uint32_t Code, const Variant& Val, std::uint16_t Rec, std::uint16_t Entry) {
  constexpr const char* kWhere = "FileAccess::setParameter";
  const FileLock lock(m_mutex);
  if (const std::uint32_t refusal = requireOpen(*this, kWhere)) return refusal;
  ParameterMetadata metadata(m_handle);
  if (const std::uint32_t unknown = metadata.setCode(Code)) return unknown;
  ByteStream buffer;
  if (const std::uint32_t failure = metadata.serialize(Val, buffer)) return failure;

  setModified(true);
  const auto size = static_cast<USHORT>(buffer.size());
  const std::uint32_t status = convertReturnCode(AioPutParam(m_handle, Code, Rec, Entry, buffer.buffer(), &size));
  if (status == 0) return 0;
  return reportFileFailureOf(*this, kWhere, status,
                             [&] { return describeFailure("Failed to set parameter: ", Code, Rec, Entry); });
}

BulkRead readParameters(const FileAccess& file, ParameterMap& pars, std::uint16_t record, std::uint16_t entry,
                        bool ignore) {
  const FileLock lock(file.mutex());
  BulkRead read;
  for (auto& [code, value] : pars) {
    const std::uint32_t status = file.getParameter(code, value, record, entry);
    read.any_value = read.any_value || value.hasValue();
    if (status == 0) continue;
    read.last_failure = status;
    if (!ignore) break;
  }
  return read;
}

std::uint32_t FileAccess::getParameters(ParameterMap& pars, std::uint16_t Rec, std::uint16_t Entry, bool ignore) const {
  const BulkRead read = readParameters(*this, pars, Rec, Entry, ignore);
  return ignore ? 0 : read.last_failure;
}

std::uint32_t FileAccess::setParameters(const ParameterMap& pars, std::uint16_t Rec, std::uint16_t Entry, bool ignore) {
  const FileLock lock(m_mutex);
  // A copy, because the caller's map may change while the service is at work.
  const ParameterMap values = pars;
  std::uint32_t last_failure = 0;
  for (const auto& [code, value] : values) {
    const std::uint32_t status = setParameter(code, value, Rec, Entry);
    if (status == 0) continue;
    last_failure = status;
    if (!ignore) break;
  }
  return last_failure;
}

}  // namespace com::norvale::orb
