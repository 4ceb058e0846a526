// Blocks, levels, records and entries.
#include <cstdio>

#include "FailureReport.h"
#include "FileAccess.h"
#include "OpenFileCheck.h"
#include "aioproto.h"

namespace com::norvale::orb {

std::uint32_t FileAccess::createBlock(std::uint32_t Code, std::uint32_t Size, std::uint32_t group, std::uint32_t row) {
  const FileLock lock(m_mutex);
  if (const std::uint32_t refusal = requireOpen(*this, "FileAccess::createBlock")) return refusal;
  const std::uint16_t cls = blockClass(Code);
  setModified(true);
  if (cls != ORB_CLS_SPECTRUM) return convertReturnCode(AioCreateBlock(m_handle, cls, Size));
  return convertReturnCode(AioCreatePHA(m_handle, group != 0 ? group : 1, Size, row));
}

std::uint32_t FileAccess::deleteBlock(std::uint32_t Code) {
  const FileLock lock(m_mutex);
  if (const std::uint32_t refusal = requireOpen(*this, "FileAccess::deleteBlock")) return refusal;
  setModified(true);
  return convertReturnCode(AioDeleteBlock(m_handle, blockClass(Code)));
}

std::uint32_t FileAccess::deleteLevel(std::uint32_t level) {
  if (const std::uint32_t refusal = requireOpen(*this, "FileAccess::deleteLevel", kWrongOpenState)) return refusal;
  setModified(true);
  return convertReturnCode(AioDeleteLevel(m_handle, level));
}

std::uint32_t FileAccess::insertItem(std::uint32_t Code, std::uint16_t Record, std::uint16_t Entry) {
  constexpr const char* kWhere = "FileAccess::insertItem";
  const FileLock lock(m_mutex);
  if (const std::uint32_t refusal = requireOpen(*this, kWhere)) return refusal;
  const std::uint16_t cls = blockClass(Code);
  const std::uint32_t status = convertReturnCode(Entry != 0 ? AioInsertEntry(m_handle, cls, Record, Entry)
                                                            : AioInsertRecord(m_handle, cls, Record));
  setModified(true);
  if (status == 0) return 0;
  char text[48];
  std::snprintf(text, sizeof text, "Failed to insert parameter %x", static_cast<unsigned>(Code));
  return reportFileFailure(*this, kWhere, text, status);
}

std::uint32_t FileAccess::deleteItem(std::uint32_t Code, std::uint16_t Record, std::uint16_t Entry) {
  const FileLock lock(m_mutex);
  if (const std::uint32_t refusal = requireOpen(*this, "FileAccess::deleteItem")) return refusal;
  setModified(true);
  return convertReturnCode(AioDelete(m_handle, blockClass(Code), Record, Entry));
}

std::uint32_t FileAccess::countItems(std::uint32_t Code, std::uint16_t& Num, std::uint16_t Record) const {
  constexpr std::uint16_t kNoRecord = 65535;
  const FileLock lock(m_mutex);
  if (const std::uint32_t refusal = requireOpen(*this, "FileAccess::countItems")) return refusal;
  const std::uint16_t cls = blockClass(Code);
  if (Record == 0 || Record == kNoRecord) return convertReturnCode(AioCount(m_handle, cls, 0, 0, &Num));
  // A bare class number names no parameter.
  const ULONG parameter = ParameterMetadata::parameterClass(Code) != 0 ? Code : 0;
  return convertReturnCode(AioCount(m_handle, cls, Record, parameter, &Num));
}

}  // namespace com::norvale::orb
