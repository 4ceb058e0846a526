#include "parameter_name.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

#include "ResultCode.h"
#include "failure.h"
#include "result_text.h"
#include "terminal_text.h"

namespace orb::tool {

namespace {

constexpr std::size_t kSuggestions = 5;
constexpr std::size_t kPrefixLength = 6;  // "orb_d_": says nothing about what is meant

/// Edit distance (Levenshtein 1966), one row of the table at a time.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t above = row[j];
      row[j] = std::min({above + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[b.size()];
}

std::string_view withoutPrefix(std::string_view name) {
  const bool has_prefix = name.size() > kPrefixLength && name.substr(0, 4) == "orb_" && name[5] == '_';
  return has_prefix ? name.substr(kPrefixLength) : name;
}

std::optional<ULONG> parseCode(std::string_view text) {
  if (text.size() < 3 || text[0] != '0' || (text[1] != 'x' && text[1] != 'X')) return std::nullopt;
  ULONG code = 0;
  const auto read = std::from_chars(text.data() + 2, text.data() + text.size(), code, 16);
  if (read.ec != std::errc() || read.ptr != text.data() + text.size()) return std::nullopt;
  return code;
}

std::string suggestion(const std::string& name) {
  std::string text;
  for (const std::string& near : nearNames(name, kSuggestions)) text += (text.empty() ? "; near: " : ", ") + near;
  return text;
}

}  // namespace

AioParamInfo_T findParameter(const std::string& name_or_code, const std::string& file) {
  ULONG code = 0;
  ULONG status = AIO_OK;
  if (const auto number = parseCode(name_or_code)) {
    code = *number;
  } else {
    char full_name[AIO_DESCRIPTION_LENGTH];
    status = AioUtilPname2Code(name_or_code.c_str(), full_name, &code);
  }
  AioParamInfo_T info{};
  if (status == AIO_OK) status = AioUtilParamInfo(nullptr, code, &info);
  if (status == AIO_OK) return info;
  const std::string what = "no parameter '" + name_or_code + "': " + codeInWords(convertReturnCode(status));
  throw Failure(file, status == AIO_UNKNOWNPARAM ? what + suggestion(name_or_code) : what);
}

std::vector<AioParamInfo_T> allParameters() {
  std::vector<AioParamInfo_T> all;
  ULONG code = 0;
  AioParamInfo_T info{};
  ULONG status = AIO_OK;
  while ((status = AioUtilNextParam(nullptr, code, &code)) == AIO_OK) {
    require(convertReturnCode(AioUtilParamInfo(nullptr, code, &info)), "parameter dictionary", hex(code, 8));
    all.push_back(info);
  }
  if (status != AIO_NOMORE) throw Failure("parameter dictionary", "cannot be read", convertReturnCode(status));
  return all;
}

std::vector<std::string> nearNames(const std::string& name, std::size_t limit) {
  const std::string wanted(withoutPrefix(toLower(name)));
  if (wanted.empty() || wanted.size() > AIO_NAME_LENGTH) return {};  // comparing takes the product of the lengths
  std::vector<std::pair<std::size_t, std::string>> ranked;
  for (const AioParamInfo_T& parameter : allParameters()) {
    const std::string known(withoutPrefix(toLower(parameter.szName)));
    const bool contains = wanted.size() > 2 && known.find(wanted) != std::string::npos;
    const std::size_t d = contains ? 0 : distance(wanted, known);
    if (d <= std::max<std::size_t>(1, wanted.size() / 3)) ranked.emplace_back(d, parameter.szName);
  }
  std::stable_sort(ranked.begin(), ranked.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  if (ranked.size() > limit) ranked.resize(limit);
  std::vector<std::string> names;
  for (auto& [d, text] : ranked) names.push_back(std::move(text));
  return names;
}

std::string typeWords(const AioParamInfo_T& parameter) {
  const std::string length = "(" + std::to_string(parameter.lStorageLength) + ")";
  switch (parameter.lStorageType) {
    case AIO_T_BOOL:
      return "bool";
    case AIO_T_INT16:
      return "int16";
    case AIO_T_FLAG:
      return "flag";
    case AIO_T_UINT16:
      return "uint16";
    case AIO_T_INT32:
      return "int32";
    case AIO_T_INT64:
      return "int64";
    case AIO_T_FLOAT:
      return "float";
    case AIO_T_TEXT:
      return "text" + length;
    case AIO_T_NAME:
      return "name" + length;
    case AIO_T_DOUBLE:
      return "double";
    case AIO_T_TIME:
      return "time";
    case AIO_T_REAL8:
      return "real8";
    default:
      return "type " + std::to_string(parameter.lStorageType);
  }
}

const char* levelWords(const AioParamInfo_T& parameter) {
  switch (parameter.ulLevel) {
    case AIO_IN_RECORD:
      return "record";
    case AIO_IN_ENTRY:
      return "entry";
    default:
      return "header";
  }
}

}  // namespace orb::tool
