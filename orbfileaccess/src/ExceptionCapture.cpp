#include "ExceptionCapture.h"

#include <exception>
#include <new>
#include <string>

#include "FailureReport.h"
#include "ResultCode.h"

namespace com::norvale::orb {

namespace {

std::uint32_t reportThrownNumber(const char* where, std::uint32_t number) {
  return number == 0 ? 0 : reportFailure(where, "Caught exception", number);
}

}  // namespace

std::uint32_t reportCurrentException(const char* where) {
  try {
    throw;
  } catch (const std::string& text) {
    return reportFailure(where, text.empty() ? "Exception thrown with empty Error String" : text.c_str(),
                         kExceptionCaught);
  } catch (unsigned int number) {
    return reportThrownNumber(where, number);
  } catch (int number) {
    return reportThrownNumber(where, static_cast<std::uint32_t>(number));
  } catch (short number) {
    return reportThrownNumber(where, static_cast<std::uint32_t>(std::int32_t{number}));
  } catch (const std::bad_alloc&) {
    return reportFailure(where, "Caught exception", kOutOfMemory);
  } catch (const std::exception& e) {
    return reportFailureOf(where, kExceptionCaught,
                           [&] { return std::string("Caught STL Exception.  Description: ") + e.what(); });
  } catch (...) {
    return reportFailure(where, "Caught Unknown exception.", kExceptionCaught);
  }
}

}  // namespace com::norvale::orb
