/// The engine catalogue: which analysis engines there are, and where the code of each one lies.
#pragma once
#include <string>
#include <vector>

#include "orbfileaccess_export.h"

namespace com::norvale::orb {

/// One analysis engine.
class EngineMetadata {
 public:
  EngineMetadata(const std::string& res, const std::string& name, const std::string& entry, const std::string& cat,
                 const std::string& desc)
      : Function(entry), Resource(res), Name(name), Category(cat), Description(desc) {}

  std::string Function;     ///< symbol of the entry point in the library
  std::string Resource;     ///< file name of the library, relative to the folder of the engines
  std::string Name;         ///< by which the steps of a sequence name the engine; compared exactly
  std::string Category;     ///< label of a group of engines
  std::string Description;  ///< for people
};

/// Engines in the order of their lines in the catalogue file. Names may occur more than once.
using RegisteredEngines = std::vector<EngineMetadata>;

}  // namespace com::norvale::orb

/// Reads a catalogue file: one engine a line, Category$-$Description$Name$-$Resource!Function. The fields marked - are
/// not read, nor is what follows. Nothing is trimmed. The first empty line ends the catalogue. A line that is not
/// complete (fewer than six fields, or no '!' with something behind it in the sixth) is skipped.
/// @param file  path
/// @return the engines; none for a file that cannot be read, which is not logged. An exception while reading is logged
///         under "FileAccess::parseAEF" and ends the catalogue with what was read so far.
/// @threads any thread; takes no lock
ORBFILEACCESS_EXPORT com::norvale::orb::RegisteredEngines parseAEF(const std::string& file);

/// Splits a text at each separator. A separator at the end adds no empty field, and the empty text has no field.
/// @param s      NUL-terminated, not null
/// @param elems  out: the fields, in place of what it held
/// @return elems
/// @threads any thread; takes no lock
ORBFILEACCESS_EXPORT std::vector<std::string>& Split(const char* s, char delim, std::vector<std::string>& elems);
