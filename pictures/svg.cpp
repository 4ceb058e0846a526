#include <algorithm>
#include <cmath>

#include "plot.h"
#include "text.h"
#include "view.h"

namespace orb::plot {
namespace {

constexpr double kTitleSize_px = 17;
constexpr double kTextSize_px = 13;
constexpr double kLineHeight_px = 18;
/// Width of a character beside its height, on the safe side for common fonts.
constexpr double kCharWidth = 0.6;
constexpr double kBoldCharWidth = 0.7;
constexpr double kTick_px = 6;
constexpr double kMinorTick_px = 3;
constexpr double kColumnsPerPixel = 2;  // screens with small pixels and print show the finer steps

/// Colours for light viewers stand in attributes, so that programs without style sheets show them too; dark viewers
/// get theirs from the style sheet. The picture brings its own background, no viewer shines through.
constexpr const char* kDarkStyle =
    "@media (prefers-color-scheme:dark){.bg{fill:#0d1117}.ink{fill:#e6edf3}.dim{fill:#a5afba}.grid{stroke:#262d37}"
    ".axis{stroke:#8b949e}.curve{stroke:#6cb6ff;fill:#6cb6ff}.mark{stroke:#ff938a}.label{fill:#ff938a}}";

struct Box {
  double left, top, width, height;
  double right() const { return left + width; }
  double bottom() const { return top + height; }
};

class SvgPicture {
 public:
  SvgPicture(const Spectrum& spectrum, const Options& options)
      : spectrum_(spectrum),
        options_(options),
        view_(spectrum, options),
        scale_(countScaleFor(view_.counts(), options.log_scale, spectrum.peaks.empty() ? 0.05 : 0.22)) {
    layOut();
  }

  std::string draw() {
    begin();
    header();
    grid();
    curve();
    peaks();
    frame();
    countAxis();
    bottomAxis();
    if (view_.calibrated()) channelAxis();
    out_ += "</svg>\n";
    return std::move(out_);
  }

 private:
  void layOut();
  void begin();
  void header();
  void grid();
  void curve();
  void peaks();
  void frame();
  void countAxis();
  void bottomAxis();
  void channelAxis();

  double x(double place) const { return box_.left + place * box_.width; }
  double y(double count) const { return box_.bottom() - scale_.place(count) * box_.height; }
  std::string curvePath() const;
  void text(double x, double y, const std::string& attributes, std::string_view content);
  double peakTop(double channel) const;
  std::size_t roomFor(double width_px, double size_px) const {
    return static_cast<std::size_t>(std::max(width_px / (size_px * kCharWidth), 1.0));
  }

  const Spectrum& spectrum_;
  const Options& options_;
  const View view_;
  const CountScale scale_;
  Ticks count_ticks_;
  Ticks bottom_ticks_;
  Box box_{};
  std::string out_;
};

std::string point(double x, double y) {
  return coordinate(x) + " " + coordinate(y);
}

std::string line(double x1, double y1, double x2, double y2) {
  return "M" + point(x1, y1) + "L" + point(x2, y2);
}

void SvgPicture::layOut() {
  double top = 12 + (spectrum_.title.empty() ? 0 : kTitleSize_px + 6);
  top += kLineHeight_px * static_cast<double>(spectrum_.subtitle.size());
  if (view_.calibrated()) top += kLineHeight_px + kTick_px;
  const double bottom = options_.height_px - 2 * kLineHeight_px - kTick_px - 12;
  if (bottom - top < 60) throw std::invalid_argument("the picture is too low for its title and text");
  count_ticks_ = scale_.ticks(static_cast<int>((bottom - top) / 42));
  std::size_t longest = 1;
  for (const std::string& label : count_ticks_.labels) longest = std::max(longest, label.size());
  double left = static_cast<double>(longest) * kTextSize_px * kCharWidth + kTick_px + kLineHeight_px + 18;
  if (view_.calibrated()) left = std::max(left, 8 * kTextSize_px * kCharWidth + 16);  // the word "Channel" stands there
  box_ = {std::round(left), std::round(top), std::round(options_.width_px - left - 28), std::round(bottom - top)};
  bottom_ticks_ = linearTicks(view_.axisMin(), view_.axisMax(), static_cast<int>(box_.width / 80), !view_.calibrated());
}

void SvgPicture::text(double x, double y, const std::string& attributes, std::string_view content) {
  out_ += "<text x=\"" + coordinate(x) + "\" y=\"" + coordinate(y) + "\" " + attributes + ">" + escapeMarkup(content) +
          "</text>\n";
}

void SvgPicture::begin() {
  const std::string size = std::to_string(options_.width_px) + "\" height=\"" + std::to_string(options_.height_px);
  out_ += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + size +
          "\" viewBox=\"0 0 " + std::to_string(options_.width_px) + " " + std::to_string(options_.height_px) +
          "\" role=\"img\" font-family=\"system-ui,'Segoe UI','DejaVu Sans',Arial,sans-serif\" font-size=\"" +
          coordinate(kTextSize_px) + "\">\n";
  out_ += "<title>" + escapeMarkup(cleanText(spectrum_.title.empty() ? "Spectrum" : spectrum_.title)) + "</title>\n";
  out_ += std::string("<style>") + kDarkStyle + "</style>\n";
  out_ += "<rect class=\"bg\" fill=\"#ffffff\" width=\"" + size + "\"/>\n";
}

void SvgPicture::header() {
  const double width = options_.width_px - box_.left - 12;
  double y = 8;
  if (!spectrum_.title.empty()) {
    y += kTitleSize_px + 2;
    text(box_.left, y,
         "class=\"ink\" fill=\"#1f2328\" font-size=\"" + coordinate(kTitleSize_px) + "\" font-weight=\"600\"",
         shorten(cleanText(spectrum_.title), roomFor(width, kTitleSize_px * kBoldCharWidth / kCharWidth), "…"));
  }
  for (const std::string& subtitle : spectrum_.subtitle) {
    y += kLineHeight_px;
    text(box_.left, y, "class=\"dim\" fill=\"#57606a\"",
         shorten(cleanText(subtitle), roomFor(width, kTextSize_px), "…"));
  }
}

void SvgPicture::grid() {
  out_ += "<path class=\"grid\" stroke=\"#e4e7eb\" fill=\"none\" shape-rendering=\"crispEdges\" d=\"";
  for (const double count : count_ticks_.major) out_ += line(box_.left, y(count), box_.right(), y(count));
  for (const double value : bottom_ticks_.major) {
    const double at = x(view_.placeOfValue(value));
    out_ += line(at, box_.top, at, box_.bottom());
  }
  out_ += "\"/>\n";
}

/// A step curve. It begins and ends on the base line, so that the area under it closes along that line, which is
/// filled but has no stroke.
std::string SvgPicture::curvePath() const {
  const auto n = static_cast<std::size_t>(std::max(box_.width * kColumnsPerPixel, 1.0));
  const std::vector<Column> columns = columnsOf(view_, n);
  const std::string base = coordinate(box_.bottom() - scale_.basePlace() * box_.height);
  std::string path;
  std::string level;  // where the curve is; empty in a gap
  const auto toLevel = [&](double count) {
    const std::string next = coordinate(y(count));
    if (next != level) path += "V" + next;
    level = next;
  };
  for (std::size_t i = 0; i <= n; ++i) {
    const bool drawn = i < n && !std::isnan(columns[i].last);
    const bool same = drawn && columns[i].lo == columns[i].hi && coordinate(y(columns[i].last)) == level;
    if (same || (!drawn && level.empty())) continue;
    const std::string at = coordinate(box_.left + static_cast<double>(i) / kColumnsPerPixel);
    if (level.empty()) {
      path += "M" + at + " " + base;
      level = base;
    } else {
      path += "H" + at;
    }
    if (drawn) {
      toLevel(columns[i].lo);
      toLevel(columns[i].hi);
      toLevel(columns[i].last);
    } else {
      path += "V" + base;
      level.clear();
    }
  }
  return path;
}

void SvgPicture::curve() {
  out_ +=
      "<path class=\"curve\" stroke=\"#0b57d0\" fill=\"#0b57d0\" fill-opacity=\"0.14\" shape-rendering=\"crispEdges\" "
      "d=\"" +
      curvePath() + "\"/>\n";
}

/// The largest count close to a channel: a peak is rarely marked at exactly its highest channel.
double SvgPicture::peakTop(double channel) const {
  const auto counts = view_.counts();
  const double index = channel - view_.firstChannel();
  const double reach = std::max(1.0, 2.0 / box_.width * static_cast<double>(counts.size()));
  double top = scale_.lo;
  const auto last = static_cast<double>(counts.size() - 1);
  const double end = std::clamp(std::ceil(index + reach), 0.0, last);
  for (double i = std::clamp(std::floor(index - reach), 0.0, last); i <= end; i += 1) {
    const double count = drawnCount(counts[static_cast<std::size_t>(i)]);
    if (count > top) top = count;
  }
  return top;
}

/// Labels stand upright over their peaks; where they would overlap, the larger peak keeps its label, or the higher one.
void SvgPicture::peaks() {
  struct Mark {
    double x, top, area;
    std::string label;
  };
  std::vector<Mark> marks;
  for (const Peak& peak : spectrum_.peaks) {
    if (!std::isfinite(peak.channel) || !view_.holds(peak.channel)) continue;
    const double top = y(peakTop(peak.channel));
    marks.push_back({x(view_.placeOfChannel(peak.channel)), top, peak.area, cleanText(peak.label)});
  }
  std::sort(marks.begin(), marks.end(),
            [](const Mark& a, const Mark& b) { return a.area != b.area ? a.area > b.area : a.top < b.top; });
  std::string path;
  std::vector<double> taken;
  for (const Mark& mark : marks) {
    path += line(mark.x, mark.top - 4, mark.x, mark.top - 12);
    const auto near = [&](double other) { return std::abs(other - mark.x) < kTextSize_px; };
    if (mark.label.empty() || std::any_of(taken.begin(), taken.end(), near)) continue;
    taken.push_back(mark.x);
    const double base = mark.top - 15;
    const std::size_t room = roomFor(base - box_.top, kTextSize_px - 1);
    text(mark.x + 4, base,
         "class=\"label\" fill=\"#b3261e\" font-size=\"" + coordinate(kTextSize_px - 1) + "\" transform=\"rotate(-90 " +
             point(mark.x + 4, base) + ")\"",
         shorten(mark.label, room, "…"));
  }
  if (!path.empty()) out_ += "<path class=\"mark\" stroke=\"#b3261e\" d=\"" + path + "\"/>\n";
}

void SvgPicture::frame() {
  out_ += "<rect class=\"axis\" stroke=\"#57606a\" fill=\"none\" shape-rendering=\"crispEdges\" x=\"" +
          coordinate(box_.left) + "\" y=\"" + coordinate(box_.top) + "\" width=\"" + coordinate(box_.width) +
          "\" height=\"" + coordinate(box_.height) + "\"/>\n";
}

constexpr const char* kAxisPath =
    "<path class=\"axis\" stroke=\"#57606a\" fill=\"none\" shape-rendering=\"crispEdges\" d=\"";

void SvgPicture::countAxis() {
  std::string path;
  for (const double count : count_ticks_.major) path += line(box_.left - kTick_px, y(count), box_.left, y(count));
  for (const double count : count_ticks_.minor) path += line(box_.left - kMinorTick_px, y(count), box_.left, y(count));
  out_ += kAxisPath + path + "\"/>\n";
  for (std::size_t i = 0; i < count_ticks_.major.size(); ++i) {
    text(box_.left - kTick_px - 4, y(count_ticks_.major[i]) + kTextSize_px * 0.35,
         "class=\"ink\" fill=\"#1f2328\" text-anchor=\"end\"", count_ticks_.labels[i]);
  }
  const double middle = box_.top + box_.height / 2;
  text(20, middle,
       "class=\"ink\" fill=\"#1f2328\" text-anchor=\"middle\" transform=\"rotate(-90 " + point(20, middle) + ")\"",
       "Counts per channel");
}

void SvgPicture::bottomAxis() {
  std::string path;
  const auto tick = [&](double value, double length) {
    const double at = x(view_.placeOfValue(value));
    path += line(at, box_.bottom(), at, box_.bottom() + length);
  };
  for (const double value : bottom_ticks_.major) tick(value, kTick_px);
  for (const double value : bottom_ticks_.minor) tick(value, kMinorTick_px);
  out_ += kAxisPath + path + "\"/>\n";
  const double label_y = box_.bottom() + kTick_px + kTextSize_px + 1;
  for (std::size_t i = 0; i < bottom_ticks_.major.size(); ++i) {
    text(x(view_.placeOfValue(bottom_ticks_.major[i])), label_y,
         "class=\"ink\" fill=\"#1f2328\" text-anchor=\"middle\"", bottom_ticks_.labels[i]);
  }
  const std::string unit = unitText(spectrum_.energy_unit);
  text(box_.left + box_.width / 2, label_y + kLineHeight_px + 2,
       "class=\"ink\" fill=\"#1f2328\" text-anchor=\"middle\"",
       view_.calibrated() ? (unit.empty() ? "Energy" : "Energy (" + unit + ")") : "Channel");
  text(box_.right(), label_y + kLineHeight_px + 2,
       "class=\"dim\" fill=\"#57606a\" text-anchor=\"end\" font-size=\"11\"",
       shorten(cleanText(spectrum_.file_name), roomFor(box_.width / 2 - 60, 11), "…"));
}

void SvgPicture::channelAxis() {
  const Ticks ticks = linearTicks(view_.firstChannel(), view_.lastChannel(), static_cast<int>(box_.width / 80), true);
  std::string path;
  const auto tick = [&](double channel, double length) {
    const double at = x(view_.placeOfChannel(channel));
    path += line(at, box_.top, at, box_.top - length);
  };
  for (const double channel : ticks.major) tick(channel, kTick_px);
  for (const double channel : ticks.minor) tick(channel, kMinorTick_px);
  out_ += kAxisPath + path + "\"/>\n";
  const double label_y = box_.top - kTick_px - 4;
  for (std::size_t i = 0; i < ticks.major.size(); ++i) {
    text(x(view_.placeOfChannel(ticks.major[i])), label_y, "class=\"dim\" fill=\"#57606a\" text-anchor=\"middle\"",
         ticks.labels[i]);
  }
  text(box_.left - 10, label_y, "class=\"dim\" fill=\"#57606a\" text-anchor=\"end\"", "Channel");
}

}  // namespace

std::string svg(const Spectrum& spectrum, const Options& options) {
  const bool fits = options.width_px >= kMinWidth_px && options.height_px >= kMinHeight_px &&
                    std::max(options.width_px, options.height_px) <= kMaxSize_px;
  if (!fits) {
    throw std::invalid_argument("a picture of " + std::to_string(options.width_px) + " x " +
                                std::to_string(options.height_px) + " pixels cannot be drawn");
  }
  return SvgPicture(spectrum, options).draw();
}

}  // namespace orb::plot
