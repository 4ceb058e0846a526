#include "status.h"

#include "aioproto.h"

namespace {

struct StatusEntry {
  ULONG value;
  const char* name;
  const char* text;
};

constexpr StatusEntry kStatuses[] = {
#define PORB_STATUS_ENTRY(name, value, text) {value, #name, text},
    AIO_STATUS_TABLE(PORB_STATUS_ENTRY)
#undef PORB_STATUS_ENTRY
};

constexpr ULONG kFacilityMask = 0x00FF0000u;
constexpr ULONG kOwnFacility = 0x00610000u;

/// A result code keeps the low 16 bits of the status it was made of. Its upper bits say whether that status
/// had the service's own facility (0xE061....) or none (0x.BE8....).
bool isResultCodeOf(ULONG code, ULONG status) {
  if ((code & 0xFFFFu) != (status & 0xFFFFu)) return false;
  const bool own = (status & kFacilityMask) == kOwnFacility;
  return own ? (code & 0xFFFF0000u) == 0xE0610000u : (code & 0x0FFF0000u) == 0x0BE80000u;
}

const StatusEntry* findStatus(ULONG status) {
  for (const StatusEntry& entry : kStatuses)
    if (entry.value == status) return &entry;
  for (const StatusEntry& entry : kStatuses)
    if (entry.value != AIO_OK && isResultCodeOf(status, entry.value)) return &entry;
  return nullptr;
}

}  // namespace

namespace porb {
const char* Failure::what() const noexcept {
  return AioStatusText(status_);
}
}  // namespace porb

extern "C" const char* AioStatusText(ULONG status) {
  const StatusEntry* entry = findStatus(status);
  return entry != nullptr ? entry->text : "unknown status";
}

extern "C" const char* AioStatusName(ULONG status) {
  const StatusEntry* entry = findStatus(status);
  return entry != nullptr ? entry->name : "";
}
