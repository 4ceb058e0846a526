#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <optional>
#include <unordered_set>
#include <utility>

#include "calibration_choice.h"
#include "dates.h"
#include "number_scan.h"
#include "source.h"
#include "spe_sections.h"
#include "text.h"

namespace orb::formats {
namespace {

/// The next dollar sign at the start of a line. One behind a blank is text.
const char* findHeader(const char* p, const char* begin, const char* end) {
  while (p != end) {
    p = static_cast<const char*>(std::memchr(p, '$', static_cast<std::size_t>(end - p)));
    if (p == nullptr) return end;
    if (p == begin || p[-1] == '\n' || p[-1] == '\r') return p;
    ++p;
  }
  return end;
}

SpeSection sectionAt(const char* header, const char* end) {
  const char* p = header;
  while (p != end && *p != ':' && !isBlank(*p)) ++p;
  std::string name(header, p);
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  if (p != end && *p == ':') ++p;
  return {std::move(name), {p, static_cast<std::size_t>(end - p)}};
}

std::vector<SpeSection> takeApart(const Source& source) {
  const char* const begin = source.text().data();
  const char* const end = begin + source.text().size();
  std::vector<SpeSection> sections;
  const char* header = findHeader(begin, begin, end);
  while (header != end) {
    const char* const next = findHeader(header + 1, begin, end);
    sections.push_back(sectionAt(header, next));
    header = next;
  }
  return sections;
}

/// "first last" at the head of the counts; gives the place behind it.
const char* readChannelRange(const Source& source, const SpeSection& data, SpectrumData& spectrum) {
  const char* const end = data.body.data() + data.body.size();
  std::array<double, 2> range{};
  const char* p = data.body.data();
  for (double& limit : range) {
    p = skipBlanks(p, end);
    const char* const next = p == end ? nullptr : scanNumber(p, end, limit);
    if (next == nullptr || !(limit >= 0 && limit <= 1e9) || limit != std::floor(limit)) {
      source.fail(p, "the first and the last channel are expected behind $DATA:");
    }
    p = next;
  }
  const auto first = static_cast<std::size_t>(range[0]);
  const auto last = static_cast<std::size_t>(range[1]);
  if (last < first) source.fail(p, "the last channel of $DATA lies before the first");
  if (last - first >= kMaxChannels) {
    source.fail(p, "$DATA announces " + std::to_string(last - first + 1) + " channels; at most " +
                       std::to_string(kMaxChannels) + " are read");
  }
  // A count takes two bytes at least; a header that promises more than the text can hold costs no memory.
  if (last - first > data.body.size() / 2 + 1) {
    source.fail(p, "$DATA announces " + std::to_string(last - first + 1) + " channels; the counts end early");
  }
  spectrum.first_channel = first;
  spectrum.counts.resize(last - first + 1);
  return p;
}

void readCounts(const Source& source, const SpeSection& data, SpectrumData& spectrum) {
  const char* p = readChannelRange(source, data, spectrum);
  const char* const end = data.body.data() + data.body.size();
  const std::size_t n = spectrum.counts.size();
  bool whole = true;
  for (std::size_t i = 0; i < n; ++i) {
    p = skipBlanks(p, end);
    if (p == end) {
      source.fail(data.body.data() + trimmed(data.body).size(),
                  "the counts end after " + std::to_string(i) + " of " + std::to_string(n) + " channels");
    }
    double count = 0;
    p = scanCount(source, p, end, count);
    whole = whole && isWhole(count);
    spectrum.counts[i] = count;
  }
  spectrum.whole_counts = whole;
  p = skipBlanks(p, end);
  if (p != end) {
    source.fail(p, "more counts than the " + std::to_string(n) + " channels that $DATA announces: " + quotedAt(p, end));
  }
}

/// Remarks; "DETDESC#", "AP#" and "NAME#" introduce the detector, the program and the name of the spectrum.
void readRemarks(const SpeSection& section, SpectrumData& spectrum) {
  const std::pair<std::string_view, std::string*> marks[] = {
      {"DETDESC#", &spectrum.detector}, {"AP#", &spectrum.instrument}, {"NAME#", &spectrum.name}};
  Lines lines(section.body);
  std::string_view line;
  while (lines.next(line)) {
    const auto* mark = std::find_if(std::begin(marks), std::end(marks),
                                    [&](const auto& m) { return m.second->empty() && line.starts_with(m.first); });
    std::string text = cleanText(mark == std::end(marks) ? line : line.substr(mark->first.size()));
    if (mark != std::end(marks)) {
      *mark->second = std::move(text);
    } else if (!text.empty()) {
      spectrum.remarks.push_back(std::move(text));
    }
  }
}

std::string firstText(const SpeSection& section) {
  Lines lines(section.body);
  std::string_view line;
  while (lines.next(line)) {
    if (!line.empty()) return cleanText(line);
  }
  return {};
}

std::string allText(const SpeSection& section) {
  std::vector<std::string> texts;
  Lines lines(section.body);
  std::string_view line;
  while (lines.next(line)) {
    std::string text = cleanText(line);
    if (!text.empty()) texts.push_back(std::move(text));
  }
  return joined(texts, " ");
}

/// A date that lost its header stands among the remarks; it leaves them.
void takeDateFromRemarks(SpectrumData& spectrum) {
  for (auto remark = spectrum.remarks.begin(); remark != spectrum.remarks.end(); ++remark) {
    const auto date = parseDate(*remark, true);
    if (!date) continue;
    spectrum.start = date;
    spectrum.warnings.push_back("start time taken from $SPEC_REM: " + *remark);
    spectrum.remarks.erase(remark);
    return;
  }
}

void readStart(const Source& source, const std::vector<SpeSection>& sections, SpectrumData& spectrum) {
  const SpeSection* const section = findSection(sections, "$DATE_MEA");
  const std::string text = section != nullptr ? firstText(*section) : std::string();
  if (text.empty()) {
    takeDateFromRemarks(spectrum);
    return;
  }
  spectrum.start = parseDate(text);
  if (!spectrum.start) {
    const std::size_t line =
        source.lineOf(skipBlanks(section->body.data(), section->body.data() + section->body.size()));
    spectrum.warnings.push_back("line " + std::to_string(line) + ": date '" + text + "' is not understood");
  }
}

void readTimes(const Source& source, const SpeSection& section, SpectrumData& spectrum) {
  const auto [times, rest, digits] = numbersOf(section.body);
  const char* const place = skipBlanks(section.body.data(), section.body.data() + section.body.size());
  if (times.empty() || times.size() > 2 || !rest.empty()) {
    source.fail(rest.empty() ? place : rest.data(), "$MEAS_TIM wants the live and the real time in seconds");
  }
  if (times.front() < 0 || times.back() < 0) source.fail(place, "$MEAS_TIM holds a negative time");
  spectrum.live_s = times[0];
  if (times.size() == 2) spectrum.real_s = times[1];
  warnOfTimes(spectrum);
}

bool isRead(std::string_view name) {
  constexpr std::string_view kRead[] = {"$SPEC_ID", "$SPEC_REM", "$DATE_MEA", "$MEAS_TIM", "$DATA", "$ENDRECORD"};
  return std::find(std::begin(kRead), std::end(kRead), name) != std::end(kRead) || isCalibrationSection(name);
}

/// Names what stays behind. A section without content, or a list of no regions, loses nothing.
void warnOfOthers(const std::vector<SpeSection>& sections, SpectrumData& spectrum) {
  std::vector<std::string> left;
  std::unordered_set<std::string_view> names;
  for (const SpeSection& section : sections) {
    const std::string_view content = trimmed(section.body);
    const bool no_regions = section.name == "$ROI" && content == "0";
    const bool again = !names.insert(section.name).second;
    if (content.empty() || no_regions) continue;
    if (again) spectrum.warnings.push_back("section " + cleanText(section.name) + " appears again and is not carried");
    if (!again && !isRead(section.name)) left.push_back(cleanText(section.name));
  }
  if (left.empty()) return;
  spectrum.warnings.push_back((left.size() == 1 ? "section not carried: " : "sections not carried: ") +
                              joined(left, ", "));
}

}  // namespace

const SpeSection* findSection(const std::vector<SpeSection>& sections, std::string_view name) {
  const auto found = std::find_if(sections.begin(), sections.end(), [&](const auto& s) { return s.name == name; });
  return found == sections.end() ? nullptr : &*found;
}

std::vector<SpectrumData> readSpe(std::string_view bytes, std::string_view name) {
  const Source source(bytes, name);
  const std::vector<SpeSection> sections = takeApart(source);
  const SpeSection* const data = findSection(sections, "$DATA");
  if (data == nullptr) source.failFile("there is no $DATA section");
  std::vector<SpectrumData> spectra(1);
  SpectrumData& spectrum = spectra.front();
  readCounts(source, *data, spectrum);
  if (const auto* section = findSection(sections, "$SPEC_ID")) spectrum.title = allText(*section);
  if (const auto* section = findSection(sections, "$SPEC_REM")) readRemarks(*section, spectrum);
  readStart(source, sections, spectrum);
  if (const auto* section = findSection(sections, "$MEAS_TIM")) readTimes(source, *section, spectrum);
  readSpeCalibrations(source, sections, spectrum);
  warnOfOthers(sections, spectrum);
  return spectra;
}

}  // namespace orb::formats
