#include "result_text.h"

#include <cerrno>

#include "Library.h"
#include "ResultCode.h"
#include "aiostatus.h"
#include "anastatus.h"
#include "engstatus.h"
#include "words.h"

namespace com::norvale::measurement {

namespace {

namespace lib = com::norvale::orb;

struct OwnCode {
  std::uint32_t code;
  const char* name;
  const char* text;
};

/// Codes that the file object makes itself.
constexpr OwnCode kOwnCodes[] = {
    {lib::kFileNotOpen, "kFileNotOpen", "the file object has no open file"},
    {lib::kWrongOpenState, "kWrongOpenState", "a file is open that must not be, or none is open where one must be"},
    {lib::kBadArgument, "kBadArgument", "an argument cannot be used"},
    {lib::kExceptionCaught, "kExceptionCaught", "an exception without a code of its own ended the operation"},
    {lib::kOutOfMemory, "kOutOfMemory", "there is not enough memory, or the file claims an impossible channel count"},
    {lib::kBadStreamSize, "kBadStreamSize", "the stream is shorter than a value of the parameter's type"},
    {lib::kNoEntryPoint, "kNoEntryPoint", "the engine's library has no such entry point"},
    {lib::kEngineNotFound, "kEngineNotFound", "the engine catalogue has no engine of that name"},
    {com::norvale::datatypes::Library::kNotLoaded, "Library::kNotLoaded", "the library of the engine cannot be loaded"},
    {0xFFFFFFFFu, "(setSchema)", "the environment variable cannot be set"},
};

/// A status of one of the three layers below the file object.
struct Status {
  std::uint32_t status;
  const char* name;
  const char* text;
  const char* origin;
};

constexpr Status kStatuses[] = {
#define ORB_STATUS_ROW(name, value, text) {value, #name, text, "data-file service"},
    AIO_STATUS_TABLE(ORB_STATUS_ROW)
#undef ORB_STATUS_ROW
#define ORB_STATUS_ROW(name, value, text) {value, #name, text, "analysis routines"},
        ANA_STATUS_TABLE(ORB_STATUS_ROW)
#undef ORB_STATUS_ROW
#define ORB_STATUS_ROW(name, value, text) {value, #name, text, "engines"},
            ENG_STATUS_TABLE(ORB_STATUS_ROW)
#undef ORB_STATUS_ROW
};

}  // namespace

std::optional<std::uint32_t> codeOfName(const std::string& name) {
  for (const Status& status : kStatuses)
    if (name == status.name) return status.status;
  for (const OwnCode& own : kOwnCodes)
    if (name == own.name) return own.code;
  return std::nullopt;
}

ResultText explainCode(std::uint32_t code) {
  ResultText result;
  result.result_code = code;
  for (const OwnCode& own : kOwnCodes) {
    if (own.code != code) continue;
    result.name = own.name;
    result.text = own.text;
    result.origin = "file object";
    return result;
  }
  for (const Status& known : kStatuses) {
    if (known.status != code && convertReturnCode(known.status) != code) continue;
    result.result_code = convertReturnCode(known.status);
    result.status = known.status;
    result.name = known.name;
    result.text = known.text;
    result.origin = known.origin;
    return result;
  }
  result.text = "no code of this library";
  return result;
}

std::string codeInWords(std::uint32_t code) {
  return explainCode(code).text + " (" + hex(code, 8) + ")";
}

std::uint32_t codeOfErrno(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return convertReturnCode(AIO_NOFILE);
    case EEXIST:
      return convertReturnCode(AIO_FILEEXISTS);
    case EACCES:
    case EPERM:
    case EROFS:
      return convertReturnCode(AIO_NOACCESS);
    case EISDIR:
      return convertReturnCode(AIO_NOTREGULAR);
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return convertReturnCode(AIO_DISKFULL);
    case ENOMEM:
      return convertReturnCode(AIO_NOMEMORY);
    case ENAMETOOLONG:
    case ELOOP:
      return convertReturnCode(AIO_BADARG);
    default:
      return convertReturnCode(AIO_IOERROR);
  }
}

}  // namespace com::norvale::measurement
