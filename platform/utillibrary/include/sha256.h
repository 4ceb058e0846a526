/// SHA-256 (FIPS 180-4): a content's own name, which nobody can give to another content.
#pragma once
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "utillibrary_export.h"

namespace com::norvale::datatypes {

/// 64 hexadecimal digits in lower case, as `sha256sum` prints them.
UTILLIBRARY_EXPORT std::string sha256(std::string_view bytes);

/// The same for the content of a file; nothing when it is no regular file or cannot be read to its end.
UTILLIBRARY_EXPORT std::optional<std::string> sha256OfFile(const std::string& path);

/// Reads a file by `read` and gives the SHA-256 of what it read: as long as the file changes meanwhile, or another
/// takes its name, it is read again, three times at most. Nothing when that does not help, or as sha256OfFile does.
/// What `read` throws passes through.
UTILLIBRARY_EXPORT std::optional<std::string> sha256OfRead(const std::string& path, const std::function<void()>& read);

}  // namespace com::norvale::datatypes
