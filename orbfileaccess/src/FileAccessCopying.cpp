// Copying blocks, whole files and single records into another open file.
#include "FileAccess.h"
#include "OpenFileCheck.h"
#include "aioproto.h"

namespace com::norvale::orb {

namespace {

constexpr std::uint32_t kWholeFile = 0xFFFFFFFFu;

/// The checks of copyTo and moveTo, in their order.
std::uint32_t requireCopyable(const FileAccess& source, const FileAccess& dest, const char* where) {
  if (const auto refusal = requireOpen(source, source, where, "Source file is not open", kFileNotOpen)) {
    return refusal;
  }
  if (const auto refusal = requireOpen(dest, source, where, "Destination file is not open", kFileNotOpen)) {
    return refusal;
  }
  return requireDistinct(source, dest, where);
}

}  // namespace

std::uint32_t FileAccess::copyTo(FileAccess& dest, std::uint32_t Code) const {
  const FileLock lock(m_mutex);
  const FileLock dest_lock(dest.mutex());
  if (const std::uint32_t refusal = requireCopyable(*this, dest, "FileAccess::copyTo")) return refusal;
  dest.setModified(true);
  if (Code == kWholeFile) return duplicateTo(dest);
  return convertReturnCode(AioCopy(m_handle, dest.handle(), blockClass(Code)));
}

std::uint32_t FileAccess::duplicateTo(FileAccess& dest) const {
  constexpr const char* kWhere = "FileAccess::duplicateTo";
  if (const std::uint32_t refusal = requireOpen(*this, kWhere, kWrongOpenState)) return refusal;
  if (const auto refusal = requireOpen(dest, *this, kWhere, "Destination is not open", kWrongOpenState)) {
    return refusal;
  }
  if (const std::uint32_t refusal = requireDistinct(*this, dest, kWhere)) return refusal;
  dest.setModified(true);
  return convertReturnCode(AioDupFile(m_handle, dest.handle()));
}

std::uint32_t FileAccess::moveTo(FileAccess& dest, std::uint16_t code, std::uint16_t srcRec,
                                 std::uint16_t destRec) const {
  const FileLock lock(m_mutex);
  if (const std::uint32_t refusal = requireCopyable(*this, dest, "FileAccess::moveTo")) return refusal;
  dest.setModified(true);
  return convertReturnCode(AioMoveRecord(blockClass(code), m_handle, srcRec, dest.handle(), destRec));
}

}  // namespace com::norvale::orb
