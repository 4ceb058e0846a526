#include "result_text.h"

#include <cerrno>

#include "ResultCode.h"
#include "aioproto.h"
#include "anautils.h"
#include "terminal_text.h"

namespace orb::tool {

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
    {0xFFFFFFFFu, "(setSchema)", "the environment variable cannot be set"},
};

struct ServiceStatus {
  std::uint32_t status;
  const char* name;
};

constexpr ServiceStatus kServiceStatuses[] = {
#define ORB_STATUS_ROW(name, value, text) {value, #name},
    AIO_STATUS_TABLE(ORB_STATUS_ROW)
#undef ORB_STATUS_ROW
};

/// The analysis routines answer their statuses as they are; success and the service's are not theirs.
constexpr ServiceStatus kRoutineStatuses[] = {
#define ORB_STATUS_ROW(name, value, text) {value, #name},
    ANA_STATUS_TABLE(ORB_STATUS_ROW)
#undef ORB_STATUS_ROW
};

}  // namespace

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
  for (const ServiceStatus& known : kServiceStatuses) {
    if (known.status != code && convertReturnCode(known.status) != code) continue;
    result.result_code = convertReturnCode(known.status);
    result.status = known.status;
    result.name = known.name;
    result.text = AioStatusText(known.status);
    result.origin = "data-file service";
    return result;
  }
  for (const ServiceStatus& known : kRoutineStatuses) {
    if (known.status != code) continue;
    result.status = known.status;
    result.name = known.name;
    result.text = AnaStatusText(known.status);
    result.origin = "analysis routines";
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

}  // namespace orb::tool
