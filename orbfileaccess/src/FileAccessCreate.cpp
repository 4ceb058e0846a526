// Creating a spectrum file: the file, its blocks, its default values.
#include "DefaultParameters.h"
#include "FileAccess.h"
#include "OpenFileCheck.h"
#include "comdefs.h"

namespace com::norvale::orb {

std::uint32_t FileAccess::create(const std::string& Name, std::uint32_t NumChan, bool isNaI) {
  const FileLock lock(m_mutex);
  if (const std::uint32_t failure = open(Name, CREATE)) return failure;
  m_name = Name;
  const auto defaults = defaultParameters(NumChan, isNaI);

  createBlock(ORB_CLS_ACQUISITION, 0, 1, 1);
  createBlock(ORB_CLS_ANALCNTL, 0, 1, 1);
  createBlock(ORB_CLS_DISPLAY, 0, 1, 1);
  // The analysis control block a second time: refused, and kept so that the sequence of calls stays what it was.
  createBlock(ORB_CLS_ANALCNTL, 0, 1, 1);
  createBlock(ORB_CLS_SPECTRUM, NumChan, 1, 1);

  for (const auto& [code, value] : defaults) setParameter(code, value, 0, 0);
  return 0;
}

}  // namespace com::norvale::orb
