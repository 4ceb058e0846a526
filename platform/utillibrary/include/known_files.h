/// Files that come with the programs, found by their bare names.
#pragma once
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "utillibrary_export.h"

namespace com::norvale::datatypes {

/// Looks for a regular file in the folder that the environment variable ORB_DATA_DIR names, then in the folders of the
/// installation, and last where people keep files of their own: what lies there by chance, or was put there by somebody
/// else, must not take the place of what was installed. A file of one's own with the name of an installed one is named
/// with its folder ("./STDLIB.NLB").
/// @param name       a file name without a folder; nothing is found by any other
/// @param installed  folders, the first that holds the file counts
/// @param own        a folder; "." is the present one
/// @return its absolute path
UTILLIBRARY_EXPORT std::optional<std::string> findKnownFile(const std::string& name,
                                                            const std::vector<std::string>& installed,
                                                            const std::string& own);

/// Whether a text names a file without a folder: no slash in it, and neither empty nor "." nor "..".
UTILLIBRARY_EXPORT bool isPlainFileName(const std::string& text);

/// Whether a folder of that name holds a file that does not bear its name yet: it lies beside the file's place, so what
/// is looked for beside the file is looked for beside the folder. ".orb-", six letters or digits, ".part".
UTILLIBRARY_EXPORT bool isDraftFolder(std::string_view name);

}  // namespace com::norvale::datatypes
