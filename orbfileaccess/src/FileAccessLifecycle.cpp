// Construction, open, close, attach, flush, and the schema's name.
#include <cstdlib>

#include "FailureReport.h"
#include "FileAccess.h"
#include "OpenFileCheck.h"
#include "aioproto.h"

namespace com::norvale::orb {

namespace {

constexpr const char* kSchemaVariable = "ORBDB";
constexpr const char* kDefaultSchema = "orbdb.dat";

std::string schemaFromEnvironment() {
  const char* const schema = std::getenv(kSchemaVariable);
  return schema != nullptr ? schema : kDefaultSchema;
}

ULONG createFile(void** handle, const std::string& path) {
  return AioCreate(handle, path.c_str(), 0, nullptr, nullptr, nullptr);
}

ULONG openFile(void** handle, const std::string& path, std::uint32_t options) {
  const ULONG access = (options & READWRITE) != 0 ? AIO_READ_WRITE : options;
  return AioOpen2(handle, path.c_str(), access, 0, 0);
}

}  // namespace

std::string makeFullPath(const std::string& name) {
  return name;
}

FileAccess::FileAccess() : FileAccess(nullptr) {}

FileAccess::FileAccess(void* hdl) : m_handle(hdl), m_schema(schemaFromEnvironment()), m_attached(hdl != nullptr) {}

FileAccess::~FileAccess() {
  try {
    if (isOpen()) close(NOFLUSH);
  } catch (...) {
    // Nobody is left to tell; close has logged what the service answered.
  }
}

void FileAccess::attach(void* v) {
  const FileLock lock(m_mutex);
  // The test is meant as it stands: an open file is not closed, only its handle is replaced.
  if (!isOpen()) close(NOFLUSH);
  m_handle = v;
  m_attached = true;
}

std::uint32_t FileAccess::open(const std::string& Name, OpenOptions Op) {
  constexpr const char* kWhere = "FileAccess::open";
  const FileLock lock(m_mutex);
  if (Name.empty()) return reportFailure(kWhere, "File name is NUL", kBadArgument);
  if (isOpen()) {
    return reportFailureOf(kWhere, kWrongOpenState,
                           [&] { return "Cannot open: " + Name + " because this instance already has a file open."; });
  }
  const std::string path = makeFullPath(Name);
  std::string name = Name;  // before there is a file that would stay open without one
  const bool create = (Op & CREATE) != 0;
  const std::uint32_t status = convertReturnCode(create ? createFile(&m_handle, path) : openFile(&m_handle, path, Op));
  if (status != 0) {
    m_handle = nullptr;
    return reportFailureOf(kWhere, status, [&] { return "Failed to open: " + path; });
  }
  m_name.swap(name);
  return 0;
}

std::uint32_t FileAccess::close(CloseOptions Op) {
  constexpr const char* kWhere = "FileAccess::close";
  const FileLock lock(m_mutex);
  if (m_attached) {
    m_handle = nullptr;
    m_attached = false;
    setModified(false);
    return 0;
  }
  if (!isOpen()) return reportFailure(kWhere, "File is already closed", kFileNotOpen);
  std::string name;
  name.swap(m_name);
  const std::uint32_t status = convertReturnCode(AioClose2(m_handle, Op));
  if (status != 0) reportFailureOf(kWhere, status, [&] { return "Failed to close: " + name; });
  m_handle = nullptr;
  setModified(false);
  return status;
}

std::uint32_t FileAccess::flush() {
  const FileLock lock(m_mutex);
  if (const std::uint32_t refusal = requireOpen(*this, "FileAccess::flush")) return refusal;
  const ULONG status = AioFlush(m_handle);
  if (status == 0) setModified(false);
  return convertReturnCode(status);
}

bool FileAccess::isOpen() const {
  return AioIsOpen(m_handle) != 0;
}

std::uint32_t FileAccess::setSchema(const std::string& schema) {
  m_schema = schema;
  return static_cast<std::uint32_t>(::setenv(kSchemaVariable, schema.c_str(), 1));
}

}  // namespace com::norvale::orb
