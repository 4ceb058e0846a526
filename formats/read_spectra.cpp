#include "spectrum_data.h"
#include "text.h"

namespace orb::formats {
namespace {

bool hasDataSection(std::string_view text) {
  for (std::size_t place = text.find("$DATA"); place != std::string_view::npos; place = text.find("$DATA", place + 1)) {
    if (place == 0 || text[place - 1] == '\n' || text[place - 1] == '\r') return true;
  }
  return false;
}

/// UTF-16 XML begins with a byte-order mark, or with '<' and a zero byte in either order.
bool isWideXml(std::string_view bytes) {
  using namespace std::string_view_literals;
  return bytes.starts_with("\xFF\xFE"sv) || bytes.starts_with("\xFE\xFF"sv) || bytes.starts_with("<\0"sv) ||
         bytes.starts_with("\0<"sv);
}

/// Text in UTF-16 that is no XML: the parser of XML alone reads such.
void refuseWideText(std::string_view bytes, std::string_view name) {
  using namespace std::string_view_literals;
  const bool has_mark = bytes.starts_with("\xFF\xFE"sv) || bytes.starts_with("\xFE\xFF"sv);
  if (has_mark && bytes.substr(2, 2).find('<') == std::string_view::npos)
    throw FormatError(std::string(name) + ": the text is in UTF-16; save it as UTF-8", 1);
}

}  // namespace

Format detectFormat(std::string_view bytes) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (isWideXml(bytes)) return Format::kN42;
  if (bytes.starts_with(kByteOrderMark)) bytes.remove_prefix(kByteOrderMark.size());
  const std::string_view text = trimmed(bytes);
  if (text.starts_with("$")) return Format::kSpe;
  if (text.starts_with("<")) return Format::kN42;
  return hasDataSection(text) ? Format::kSpe : Format::kCsv;
}

std::vector<SpectrumData> readSpectra(std::string_view bytes, std::string_view name) {
  refuseWideText(bytes, name);
  switch (detectFormat(bytes)) {
    case Format::kSpe:
      return readSpe(bytes, name);
    case Format::kN42:
      return readN42(bytes, name);
    case Format::kCsv:
      break;
  }
  return readCsv(bytes, name);
}

}  // namespace orb::formats
