#include "source.h"

#include <algorithm>
#include <cmath>

#include "number_scan.h"
#include "text.h"

namespace orb::formats {
namespace {

char lineEnd(std::string_view text) {
  return text.find('\n') == std::string_view::npos ? '\r' : '\n';
}

}  // namespace

Source::Source(std::string_view bytes, std::string_view name) : name_(name), text_(bytes), line_end_('\n') {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (bytes.size() > kMaxTextBytes) {
    failFile("the file has " + std::to_string(bytes.size()) + " bytes; at most " + std::to_string(kMaxTextBytes) +
             " are read");
  }
  if (text_.starts_with(kByteOrderMark)) text_.remove_prefix(kByteOrderMark.size());
  if (trimmed(text_).empty()) failFile("the file is empty");
  line_end_ = lineEnd(text_);
}

std::size_t Source::lineOf(const char* place) const {
  const char* const end = text_.data() + text_.size();
  return 1 + static_cast<std::size_t>(std::count(text_.data(), std::min(place, end), line_end_));
}

void Source::fail(const char* place, const std::string& what) const {
  failLine(lineOf(place), what);
}

void Source::failLine(std::size_t line, const std::string& what) const {
  throw FormatError(name_ + ": line " + std::to_string(line) + ": " + what, line);
}

void Source::failFile(const std::string& what) const {
  throw FormatError(name_ + ": " + what, 0);
}

Lines::Lines(std::string_view text) : rest_(text), line_end_(lineEnd(text)) {}

bool Lines::next(std::string_view& line) {
  if (rest_.empty()) return false;
  const std::size_t length = std::min(rest_.find(line_end_), rest_.size());
  line = trimmed(rest_.substr(0, length));
  rest_.remove_prefix(std::min(length + 1, rest_.size()));
  ++number_;
  return true;
}

void checkCount(const Complaints& complaints, const char* place, double count) {
  if (std::isnan(count)) complaints.fail(place, "a count is not a number (NaN)");
  if (std::isinf(count)) complaints.fail(place, "a count is infinite or too large");
  if (count < 0) complaints.fail(place, "the count " + numberText(count) + " is negative");
}

const char* scanCount(const Complaints& complaints, const char* p, const char* end, double& count,
                      std::string_view stops) {
  const char* const next = scanNumber(p, end, count);
  const bool clean_end =
      next != nullptr && (next == end || isBlank(*next) || stops.find(*next) != std::string_view::npos);
  if (!clean_end) complaints.fail(p, quotedAt(p, end) + " is no count");
  if (!(count >= 0 && count < HUGE_VAL)) checkCount(complaints, p, count);
  return next;
}

std::string quotedAt(const char* place, const char* end) {
  constexpr std::ptrdiff_t kLongest = 24;
  const char* stop = place;
  while (stop != end && !isBlank(*stop) && stop - place < kLongest) ++stop;
  return "'" + cleanText({place, static_cast<std::size_t>(stop - place)}) + "'";
}

}  // namespace orb::formats
