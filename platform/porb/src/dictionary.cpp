#include "dictionary.h"

#include <algorithm>
#include <charconv>
#include <unordered_map>

namespace porb {
namespace {

struct TypeWord {
  std::string_view word;
  int type;
};
constexpr TypeWord kTypeWords[] = {{"bool", AIO_T_BOOL},     {"int16", AIO_T_INT16},   {"flag", AIO_T_FLAG},
                                   {"uint16", AIO_T_UINT16}, {"int32", AIO_T_INT32},   {"int64", AIO_T_INT64},
                                   {"float", AIO_T_FLOAT},   {"text", AIO_T_TEXT},     {"name", AIO_T_NAME},
                                   {"time", AIO_T_TIME},     {"double", AIO_T_DOUBLE}, {"real8", AIO_T_REAL8}};

constexpr std::string_view kLevelWords[] = {"header", "record", "entry"};  // AIO_IN_HEADER, ...

struct FlagWord {
  std::string_view word;
  std::uint16_t bit;
};
constexpr FlagWord kFlagWords[] = {
    {"result", 0x0010}, {"setting", 0x0020}, {"calibration", 0x0040}, {"provenance", 0x0080}};

constexpr std::string_view kHead = "orbdb 1";
constexpr std::string_view kClassWord = "class ";
constexpr std::size_t kFields = 10;

constexpr std::uint8_t kHeaderBlock = 1;
constexpr std::uint8_t kTableBlock = 2;

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

/// Every program reads the dictionary at its start, so this does without the searches of string_view, which call the
/// C library for each character.
std::string_view trim(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

char upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool sameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return upper(x) == upper(y); });
}

std::vector<std::string_view> split(std::string_view line) {
  std::vector<std::string_view> fields;
  for (;;) {
    const auto bar = line.find('|');
    fields.push_back(trim(line.substr(0, bar)));
    if (bar == std::string_view::npos) return fields;
    line.remove_prefix(bar + 1);
  }
}

/// Reads one dictionary text; every fault is reported with its line.
class Reader {
 public:
  Reader(std::string_view text, const std::string& source) : rest_(text), source_(source) {}

  bool nextLine(std::string_view& line) {
    while (!rest_.empty()) {
      ++number_;
      const auto end = std::min(rest_.find('\n'), rest_.size());
      line = trim(rest_.substr(0, end));
      rest_.remove_prefix(std::min(end + 1, rest_.size()));
      if (!line.empty() && line.front() != '#') return true;
    }
    return false;
  }

  [[noreturn]] void fail(const std::string& fault) const {
    throw DictionaryError(source_ + ":" + std::to_string(number_) + ": " + fault);
  }

  std::uint32_t hex(std::string_view word, std::size_t digits) const {
    std::uint32_t value = 0;
    if (word.size() == digits + 2 && word.substr(0, 2) == "0x") {
      const char* end = word.data() + word.size();
      if (std::from_chars(word.data() + 2, end, value, 16).ptr == end) return value;
    }
    fail("'" + std::string(word) + "' is not 0x and " + std::to_string(digits) + " hexadecimal digits");
  }

  Parameter parameter(std::string_view line) const {
    const std::vector<std::string_view> field = split(line);
    if (field.size() != kFields)
      fail("a parameter has ten fields separated by '|', this line has " + std::to_string(field.size()));
    Parameter p;
    p.code = hex(field[0], 8);
    p.name = text<AIO_NAME_LENGTH>(field[1], "name");
    p.level = level(field[2]);
    readType(field[3], field[4], p.storage_type, p.storage_length);
    readType(field[5], field[6], p.return_type, p.return_length);
    requireConvertible(p);
    p.flags = static_cast<std::uint16_t>(p.level | flags(field[7]));
    p.unit = text<AIO_UNIT_LENGTH>(field[8], "unit");
    p.description = text<AIO_DESCRIPTION_LENGTH>(field[9], "description");
    return p;
  }

 private:
  template <std::size_t Room>
  FixedText<Room> text(std::string_view field, const char* what) const {
    if (field.empty() || field.size() >= Room)
      fail(std::string("the ") + what + " must have 1 to " + std::to_string(Room - 1) + " bytes");
    return FixedText<Room>(field);
  }

  std::uint8_t level(std::string_view word) const {
    for (std::uint8_t i = 0; i < std::size(kLevelWords); ++i)
      if (word == kLevelWords[i]) return i;
    fail("'" + std::string(word) + "' is no level (header, record or entry)");
  }

  void readType(std::string_view word, std::string_view digits, std::uint8_t& type, std::uint16_t& length) const {
    const auto* known =
        std::find_if(std::begin(kTypeWords), std::end(kTypeWords), [&](const TypeWord& t) { return t.word == word; });
    if (known == std::end(kTypeWords)) fail("'" + std::string(word) + "' is no type");
    type = static_cast<std::uint8_t>(known->type);
    const char* end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, length);
    if (digits.empty() || result.ec != std::errc{} || result.ptr != end)
      fail("'" + std::string(digits) + "' is no length");
    const bool is_text = kindOf(type) == Kind::Text;
    if (is_text ? length < 1 || length >= AIO_MAX_VALUE_BYTES : length != widthOf(type))
      fail("a value of type " + std::string(word) + " cannot have the length " + std::string(digits));
  }

  /// Storage and return type may differ in width, not in nature.
  void requireConvertible(const Parameter& p) const {
    const auto nature = [](int type) {
      const Kind kind = kindOf(type);
      return type == AIO_T_TIME ? Kind::None : kind == Kind::Float ? Kind::Double : kind;
    };
    if (nature(p.storage_type) != nature(p.return_type)) fail("storage and return type do not convert");
    if (kindOf(p.storage_type) == Kind::Text && p.storage_length != p.return_length)
      fail("storage and return length of a text must be the same");
  }

  std::uint16_t flags(std::string_view words) const {
    std::uint16_t bits = 0;
    while (words != "-" && !words.empty()) {
      const auto comma = std::min(words.find(','), words.size());
      const std::string_view word = trim(words.substr(0, comma));
      const auto* known =
          std::find_if(std::begin(kFlagWords), std::end(kFlagWords), [&](const FlagWord& f) { return f.word == word; });
      if (known == std::end(kFlagWords)) fail("'" + std::string(word) + "' is no flag");
      bits = static_cast<std::uint16_t>(bits | known->bit);
      words.remove_prefix(std::min(comma + 1, words.size()));
    }
    return bits;
  }

  std::string_view rest_;
  const std::string& source_;
  std::size_t number_ = 0;
};

}  // namespace

Dictionary::Dictionary(std::string_view text, const std::string& source) {
  Reader reader(text, source);
  std::string_view line;
  if (!reader.nextLine(line) || line != kHead)
    reader.fail("a dictionary begins with the line '" + std::string(kHead) + "'");
  std::unordered_map<std::string, std::uint32_t> names;
  while (reader.nextLine(line)) {
    if (line.substr(0, kClassWord.size()) == kClassWord) {
      const std::string_view rest = trim(line.substr(kClassWord.size()));
      const auto blank = std::min(rest.find(' '), rest.size());
      const auto cls = static_cast<std::uint16_t>(reader.hex(rest.substr(0, blank), 4));
      classes_.push_back({cls, std::string(trim(rest.substr(blank)))});
      continue;
    }
    const Parameter parameter = reader.parameter(line);
    if (!parameters_.empty() && parameter.code <= parameters_.back().code)
      reader.fail("codes must ascend, each one once");
    std::string key(parameter.name.view());
    std::transform(key.begin(), key.end(), key.begin(), upper);
    if (!names.emplace(std::move(key), parameter.code).second)
      reader.fail("the name " + std::string(parameter.name.view()) + " stands twice");
    parameters_.push_back(parameter);
  }
  if (parameters_.empty()) reader.fail("the dictionary has no parameter");
  markBlockTypes();
  buildIndex();
}

void Dictionary::markBlockTypes() noexcept {
  for (auto first = parameters_.begin(); first != parameters_.end();) {
    const auto last =
        std::find_if(first, parameters_.end(), [&](const Parameter& p) { return p.cls() != first->cls(); });
    const bool table = std::any_of(first, last, [](const Parameter& p) { return p.level != AIO_IN_HEADER; });
    std::for_each(first, last, [&](Parameter& p) { p.block_type = table ? kTableBlock : kHeaderBlock; });
    first = last;
  }
}

void Dictionary::buildIndex() {
  std::size_t room = 16;
  while (room < 2 * parameters_.size()) room *= 2;
  slots_.resize(room);
  mask_ = static_cast<std::uint32_t>(room - 1);
  for (std::uint32_t number = 1; number <= parameters_.size(); ++number) {
    const std::uint32_t code = parameters_[number - 1].code;
    std::uint32_t at = slotOf(code);
    while (slots_[at].number != 0) at = (at + 1) & mask_;
    slots_[at] = {code, number};
  }
}

const Parameter* Dictionary::findByName(std::string_view name) const noexcept {
  const auto found = std::find_if(parameters_.begin(), parameters_.end(),
                                  [&](const Parameter& p) { return sameName(p.name.view(), name); });
  return found != parameters_.end() ? &*found : nullptr;
}

const Parameter* Dictionary::next(std::uint32_t code) const noexcept {
  const auto found = std::upper_bound(parameters_.begin(), parameters_.end(), code,
                                      [](std::uint32_t c, const Parameter& p) { return c < p.code; });
  return found != parameters_.end() ? &*found : nullptr;
}

bool Dictionary::hasClass(std::uint16_t cls) const noexcept {
  const auto first = std::lower_bound(parameters_.begin(), parameters_.end(), std::uint32_t{cls} << 16,
                                      [](const Parameter& p, std::uint32_t code) { return p.code < code; });
  return first != parameters_.end() && first->cls() == cls;
}

const char* Dictionary::className(std::uint16_t cls) const noexcept {
  const auto found = std::find_if(classes_.begin(), classes_.end(), [&](const ClassWords& c) { return c.cls == cls; });
  return found != classes_.end() ? found->words.c_str() : nullptr;
}

}  // namespace porb
