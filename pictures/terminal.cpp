#include <algorithm>
#include <cmath>

#include "plot.h"
#include "text.h"
#include "view.h"

namespace orb::plot {
namespace {

constexpr std::size_t kDotsWide = 2;  // of a braille character
constexpr std::size_t kDotsHigh = 4;
/// Bit of a dot in its braille character, by row and column.
constexpr unsigned char kDotBit[kDotsHigh][kDotsWide] = {{0x01, 0x08}, {0x02, 0x10}, {0x04, 0x20}, {0x40, 0x80}};

constexpr std::size_t kHeightForNames = 10;
/// The picture keeps so many rows before anything is written above it.
constexpr std::size_t kComfortableRows = 8;

/// What draws lines, in Unicode and in ASCII.
struct Glyphs {
  const char *vertical, *tick_left, *corner, *horizontal, *tick_down, *ellipsis;
};
constexpr Glyphs kUnicode = {"│", "┤", "└", "─", "┬", "…"};
constexpr Glyphs kAscii = {"|", "+", "+", "-", "+", "~"};

/// One line of text with free places to write to; columns count from 0.
class Line {
 public:
  explicit Line(std::size_t width) : cells_(width, ' ') {}

  /// Writes ASCII text if it fits and keeps a blank to what is there already.
  bool write(std::ptrdiff_t at, std::string_view text) {
    if (at < 0 || static_cast<std::size_t>(at) + text.size() > cells_.size()) return false;
    const auto begin = static_cast<std::size_t>(at);
    const std::size_t from = begin > 0 ? begin - 1 : 0;
    const std::size_t to = std::min(begin + text.size() + 1, cells_.size());
    if (cells_.find_first_not_of(' ', from) < to) return false;
    cells_.replace(begin, text.size(), text);
    return true;
  }
  const std::string& text() const { return cells_; }

 private:
  std::string cells_;
};

class TerminalPicture {
 public:
  TerminalPicture(const Spectrum& spectrum, const Options& options, int width, int height, bool use_unicode)
      : spectrum_(spectrum),
        view_(spectrum, options),
        scale_(countScaleFor(view_.counts(), options.log_scale, 0)),
        glyphs_(use_unicode ? kUnicode : kAscii),
        use_unicode_(use_unicode),
        width_(static_cast<std::size_t>(width)) {
    layOut(static_cast<std::size_t>(height));
  }

  std::string draw() {
    for (const std::string& text : header_) line(text);
    const std::vector<std::string> picture = use_unicode_ ? dots() : bars();
    for (std::size_t row = 0; row < rows_; ++row) {
      line(row_labels_[row] + (row_ticks_[row] ? glyphs_.tick_left : glyphs_.vertical) + picture[row]);
    }
    axis();
    return std::move(out_);
  }

 private:
  void layOut(std::size_t height);
  void labelRows();
  std::vector<std::string> dots() const;
  std::vector<std::string> bars() const;
  void axis();
  std::string axisNames() const;
  void line(std::string text);
  std::string plain(std::string_view text) const { return use_unicode_ ? cleanText(text) : toAscii(cleanText(text)); }

  const Spectrum& spectrum_;
  const View view_;
  const CountScale scale_;
  const Glyphs& glyphs_;
  const bool use_unicode_;
  const std::size_t width_;
  bool has_axis_names_ = false;
  std::size_t rows_ = 0;     // of the picture itself
  std::size_t columns_ = 0;  // likewise
  std::size_t label_width_ = 0;
  std::vector<std::string> header_;
  std::vector<std::string> row_labels_;
  std::vector<bool> row_ticks_;
  std::string out_;
};

/// The title and then the lines below it get what room the picture can spare.
void TerminalPicture::layOut(std::size_t height) {
  has_axis_names_ = height >= kHeightForNames;
  const std::size_t below = has_axis_names_ ? 3 : 2;  // the axis, its labels, their meaning
  const std::size_t spare = height > below + kComfortableRows ? height - below - kComfortableRows : 0;
  std::vector<std::string> texts;
  if (!spectrum_.title.empty()) texts.push_back(spectrum_.title);
  texts.insert(texts.end(), spectrum_.subtitle.begin(), spectrum_.subtitle.end());
  for (const std::string& text : texts) {
    if (header_.size() < spare) header_.push_back(shorten(plain(text), width_, glyphs_.ellipsis));
  }
  rows_ = height - below - header_.size();
  labelRows();
  columns_ = width_ - label_width_ - 1;
}

void TerminalPicture::labelRows() {
  Ticks ticks = scale_.ticks(std::max(static_cast<int>(rows_ / 3), 1));
  for (const std::string& label : ticks.labels) label_width_ = std::max(label_width_, label.size());
  label_width_ = std::min(label_width_, width_ / 2);
  row_labels_.assign(rows_, std::string(label_width_, ' '));
  row_ticks_.assign(rows_, false);
  for (std::size_t i = 0; i < ticks.major.size(); ++i) {
    const double from_top = (1 - scale_.place(ticks.major[i])) * static_cast<double>(rows_);
    const std::size_t row = std::min(static_cast<std::size_t>(from_top), rows_ - 1);
    if (row_ticks_[row] || ticks.labels[i].size() > label_width_) continue;
    row_ticks_[row] = true;
    row_labels_[row].replace(label_width_ - ticks.labels[i].size(), std::string::npos, ticks.labels[i]);
  }
}

/// The curve as dots, each column joined with the one before it.
std::vector<std::string> TerminalPicture::dots() const {
  const std::size_t dots_high = rows_ * kDotsHigh;
  std::vector<unsigned char> cells(rows_ * columns_, 0);
  const auto dotOf = [&](double count) {
    return static_cast<std::size_t>(std::lround(scale_.place(count) * static_cast<double>(dots_high - 1)));
  };
  const std::vector<Column> columns = columnsOf(view_, columns_ * kDotsWide);
  double before = std::nan("");
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const Column& column = columns[i];
    const double last = before;
    before = column.last;
    if (std::isnan(column.last)) continue;
    const double low = std::isnan(last) ? column.lo : std::min(column.lo, last);
    const double high = std::isnan(last) ? column.hi : std::max(column.hi, last);
    for (std::size_t dot = dotOf(low); dot <= dotOf(high); ++dot) {
      const std::size_t from_top = dots_high - 1 - dot;
      cells[from_top / kDotsHigh * columns_ + i / kDotsWide] |= kDotBit[from_top % kDotsHigh][i % kDotsWide];
    }
  }
  std::vector<std::string> lines(rows_);
  for (std::size_t i = 0; i < cells.size(); ++i) {
    std::string& text = lines[i / columns_];
    if (cells[i] == 0) {
      text += ' ';
    } else {  // U+2800 and the bits of the dots
      text += {'\xE2', static_cast<char>(0xA0 | cells[i] >> 6), static_cast<char>(0x80 | (cells[i] & 0x3F))};
    }
  }
  return lines;
}

/// Filled columns; the top cell tells thirds of a row.
std::vector<std::string> TerminalPicture::bars() const {
  static constexpr char kThirds[] = {' ', '.', ':', '|'};
  std::vector<std::string> lines(rows_, std::string(columns_, ' '));
  const std::vector<Column> columns = columnsOf(view_, columns_);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (std::isnan(columns[i].hi)) continue;
    const double height = scale_.place(columns[i].hi) * static_cast<double>(rows_ * 3);
    auto thirds = static_cast<std::size_t>(std::lround(height));
    for (std::size_t row = rows_; row-- > 0 && thirds > 0;) {
      const std::size_t part = std::min<std::size_t>(thirds, 3);
      lines[row][i] = kThirds[part];
      thirds -= part;
    }
  }
  return lines;
}

void TerminalPicture::axis() {
  const int room = std::max(static_cast<int>(columns_ / 12), 1);
  const Ticks ticks = linearTicks(view_.axisMin(), view_.axisMax(), room, !view_.calibrated());
  std::vector<bool> marked(columns_, false);
  Line labels(width_);
  for (std::size_t i = 0; i < ticks.major.size(); ++i) {
    const double at = view_.placeOfValue(ticks.major[i]) * static_cast<double>(columns_);
    const std::size_t column = std::min(static_cast<std::size_t>(std::max(at, 0.0)), columns_ - 1);
    const auto middle = static_cast<std::ptrdiff_t>(label_width_ + 1 + column);
    const auto half = static_cast<std::ptrdiff_t>(ticks.labels[i].size() / 2);
    marked[column] = labels.write(middle - half, ticks.labels[i]);
  }
  std::string rule = std::string(label_width_, ' ') + glyphs_.corner;
  for (const bool mark : marked) rule += mark ? glyphs_.tick_down : glyphs_.horizontal;
  line(std::move(rule));
  line(labels.text());
  if (has_axis_names_) line(axisNames());
}

/// What the axes show, on a line of its own.
std::string TerminalPicture::axisNames() const {
  std::string name = "Channel";
  if (view_.calibrated()) {
    const std::string unit = plain(unitText(spectrum_.energy_unit));
    name = (unit.empty() ? "Energy" : "Energy (" + unit + ")") + ", channels " + fixed(view_.firstChannel(), 0) +
           " to " + fixed(view_.lastChannel(), 0);
  }
  name += scale_.log ? "; counts per channel, log" : "; counts per channel";
  const std::size_t indent = std::min(label_width_ + 1, width_ / 4);
  return std::string(indent, ' ') + shorten(name, width_ - indent, glyphs_.ellipsis);
}

void TerminalPicture::line(std::string text) {
  text.erase(text.find_last_not_of(' ') + 1);
  out_ += text + '\n';
}

}  // namespace

std::string terminal(const Spectrum& spectrum, const Options& options, int width, int height, bool use_unicode) {
  if (width < kMinTerminalWidth || height < kMinTerminalHeight || std::max(width, height) > kMaxTerminalSize) {
    throw std::invalid_argument("a plot cannot be drawn in " + std::to_string(width) + " columns and " +
                                std::to_string(height) + " lines; it needs " + std::to_string(kMinTerminalWidth) +
                                " and " + std::to_string(kMinTerminalHeight) + ", at most " +
                                std::to_string(kMaxTerminalSize));
  }
  return TerminalPicture(spectrum, options, width, height, use_unicode).draw();
}

}  // namespace orb::plot
