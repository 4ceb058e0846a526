#include "stored_values.h"

#include <string_view>

#include "failure.h"
#include "result_text.h"
#include "value_text.h"
#include "words.h"

namespace com::norvale::measurement {

namespace {

/// How the dictionary writes "no unit".
constexpr std::string_view kNoUnit[] = {"", "-", "1"};

}  // namespace

std::string StoredValue::name() const {
  return parameter != nullptr ? parameter->szName : hex(code, 8);
}

std::string StoredValue::unit() const {
  if (parameter == nullptr) return {};
  for (const std::string_view none : kNoUnit) {
    if (parameter->szUnit == none) return {};
  }
  return parameter->szUnit;
}

std::string StoredValue::text() const {
  if (parameter == nullptr) return "(not in the dictionary)";
  if (status != 0) return "(" + codeInWords(status) + ")";
  const std::string u = unit();
  return escapeLine(valueText(value, *parameter)) + (u.empty() ? "" : " " + u);
}

std::vector<StoredValue> ValueReader::read(std::uint16_t cls, std::uint16_t record) {
  std::vector<StoredValue> values;
  for (const AioValueInfo_T& listed : listValues(file_, cls, record)) {
    StoredValue stored;
    stored.code = listed.ulCode;
    stored.entry = listed.usEntry;
    stored.parameter = describe(listed.ulCode);
    if (stored.parameter != nullptr) {
      stored.status = file_.getParameter(stored.code, stored.value, record, stored.entry);
      // Other failures say how the value is.
      const bool is_memory =
          stored.status == com::norvale::orb::kOutOfMemory || stored.status == convertReturnCode(AIO_NOMEMORY);
      if (is_memory) throw Failure(file_.name(), "cannot read " + stored.name(), stored.status);
    }
    values.push_back(std::move(stored));
  }
  return values;
}

const AioParamInfo_T* ValueReader::describe(std::uint32_t code) {
  const auto [place, is_new] = known_.try_emplace(code);
  if (is_new) {
    AioParamInfo_T info{};
    if (AioUtilParamInfo(file_.handle(), code, &info) == AIO_OK) place->second = info;
  }
  return place->second ? &*place->second : nullptr;
}

}  // namespace com::norvale::measurement
