#pragma once
#include <cstdint>
#include <string>

#include "file_header.h"
#include "sqlite_database.h"

/// The shape of a data file: tables, view and the numbers that mark it as ours (docs/data-file-format.md).
namespace porb {

constexpr std::int32_t kFormatVersion = 1;

/// Proves that the open file is a data file of ours, complete and of a version that we read. Call it inside a
/// read transaction. @throws Failure(AIO_NOTADATABASE, AIO_TRUNCATED, AIO_FOREIGN, AIO_WRITEAHEAD, AIO_NEWERFORMAT,
/// AIO_BADCONTENT, AIO_CORRUPT, AIO_IOERROR)
void verifyFormat(const Database& database);

/// Proves that the file still has all of its pages. @throws Failure(AIO_TRUNCATED, AIO_IOERROR)
void verifySize(const Database& database);

/// What the first bytes and the size of a file say when SQLite would not read it: AIO_NOTADATABASE,
/// AIO_TRUNCATED or `otherwise`.
Status diagnose(const Database& database, Status otherwise) noexcept;

/// The bytes of a data file without blocks.
const std::string& emptyFileImage();

}  // namespace porb
