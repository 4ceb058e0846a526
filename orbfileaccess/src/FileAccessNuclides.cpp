// Lines of the nuclide library in the open file.
#include "FileAccess.h"
#include "OpenFileCheck.h"
#include "aioproto.h"
#include "get_put.h"

namespace com::norvale::orb {

namespace {

constexpr USHORT kNuclideLines = 0x2007;
// Both forms of the search log under this name.
constexpr const char* kWhere = "FileAccess::findNuclideByEnergy";

/// The caller's record is set by a failed search only.
std::uint32_t findRecord(void* handle, ULONG kind, const void* key, std::uint16_t& rec, std::uint16_t start) {
  USHORT record = 0;
  const std::uint32_t status = convertReturnCode(AioFindRecord(handle, kNuclideLines, kind, key, &record, start));
  if (status != 0) rec = record;
  return status;
}

}  // namespace

std::uint32_t FileAccess::findNuclide(float energyInkeV, float tol, std::uint16_t& rec, std::uint16_t start) const {
  const FileLock lock(m_mutex);
  if (const std::uint32_t refusal = requireOpen(*this, kWhere)) return refusal;
  const OjEnergy_T key{energyInkeV, tol};
  return findRecord(m_handle, AIO_FIND_ENERGY, &key, rec, start);
}

std::uint32_t FileAccess::findNuclide(const std::string& name, std::uint16_t& rec, std::uint16_t start) const {
  const FileLock lock(m_mutex);
  if (const std::uint32_t refusal = requireOpen(*this, kWhere)) return refusal;
  return findRecord(m_handle, AIO_FIND_NAME, name.c_str(), rec, start);
}

}  // namespace com::norvale::orb
