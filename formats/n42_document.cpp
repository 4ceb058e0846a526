#include "n42_document.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "text.h"

namespace orb::formats {
namespace {

constexpr int kMaxDepth = 64;
/// Elements that others refer to.
constexpr std::array<std::string_view, 4> kReferenced{"EnergyCalibration", "FWHMCalibration", "RadDetectorInformation",
                                                      "Calibration"};

bool isElement(const pugi::xml_node& node) {
  return node.type() == pugi::node_element;
}

}  // namespace

std::string_view localName(const char* name) {
  const char* const colon = std::strchr(name, ':');
  return colon == nullptr ? name : colon + 1;
}

pugi::xml_node childNamed(const pugi::xml_node& node, std::string_view name) {
  for (const pugi::xml_node& child : node.children()) {
    if (isElement(child) && localName(child) == name) return child;
  }
  return {};
}

std::string_view attributeOf(const pugi::xml_node& node, std::string_view name) {
  for (const pugi::xml_attribute& attribute : node.attributes()) {
    if (equalsIgnoringCase(localName(attribute.name()), name)) return trimmed(attribute.value());
  }
  return {};
}

std::string_view rawText(const pugi::xml_node& node) {
  return node.text().get();
}

std::string textOf(const pugi::xml_node& node) {
  constexpr std::size_t kLongest = 1024;
  return cleanText(trimmed(rawText(node)).substr(0, kLongest));
}

N42Document::N42Document(std::string_view bytes, std::string_view name) : source_(bytes, name) {
  const std::string_view text = source_.text();
  // A zero byte in front means UTF-16, which the parser converts. Everything else is taken as it is, so that places in
  // the tree are places in the file; texts that are not UTF-8 are mended one by one.
  offsets_match_ = std::memchr(text.data(), 0, std::min<std::size_t>(text.size(), 64)) == nullptr;
  const auto encoding = offsets_match_ ? pugi::encoding_utf8 : pugi::encoding_auto;
  const auto result = document_.load_buffer(text.data(), text.size(), pugi::parse_default, encoding);
  if (!result) {
    const std::string what = std::string("broken XML: ") + result.description();
    if (!offsets_match_) source_.failFile(what);
    const std::size_t line = source_.lineOf(text.data() + result.offset);
    throw FormatError(source_.name() + ": " + whereabouts({}, line, result.offset) + ": " + what, line);
  }
  index();
}

void N42Document::indexElement(const pugi::xml_node& element) {
  const std::string_view name = localName(element);
  if (name == "Spectrum") {
    for (const pugi::xml_attribute& attribute : element.attributes()) references_.emplace(localName(attribute.name()));
  }
  if (std::find(kReferenced.begin(), kReferenced.end(), name) == kReferenced.end()) return;
  auto& [count, first] = counted_[std::string(name)];
  if (count++ == 0) first = element;
  const std::string_view id = attributeOf(element, "id");
  if (!id.empty()) by_id_[std::string(name)].emplace(std::string(id), element);
}

void N42Document::index() {
  int depth = 0;
  pugi::xml_node node = root();
  while (node) {
    if (isElement(node)) indexElement(node);
    if (node.first_child()) {
      node = node.first_child();
      if (++depth > kMaxDepth) fail(node.parent(), "elements are nested too deeply");
      continue;
    }
    while (node != root() && !node.next_sibling()) {
      node = node.parent();
      --depth;
    }
    node = node == root() ? pugi::xml_node() : node.next_sibling();
  }
}

pugi::xml_node N42Document::byId(std::string_view element, std::string_view id) const {
  const auto elements = by_id_.find(element);
  if (elements == by_id_.end()) return {};
  const auto found = elements->second.find(id);
  return found == elements->second.end() ? pugi::xml_node() : found->second;
}

pugi::xml_node N42Document::onlyOne(std::string_view element, std::string_view attribute) const {
  if (references_.contains(attribute)) return {};
  const auto found = counted_.find(element);
  return found == counted_.end() || found->second.first != 1 ? pugi::xml_node() : found->second.second;
}

std::string N42Document::whereabouts(const pugi::xml_node& element, std::size_t line, std::ptrdiff_t offset) const {
  std::string where;
  if (line > 0) where = "line " + std::to_string(line) + ", offset " + std::to_string(offset);
  if (element) where += (where.empty() ? "element <" : ", element <") + cleanText(element.name()) + ">";
  return where;
}

void N42Document::fail(const pugi::xml_node& node, const std::string& what) const {
  const std::ptrdiff_t offset = node.offset_debug();
  const bool known = offsets_match_ && offset >= 0;
  const std::size_t line = known ? source_.lineOf(source_.text().data() + offset) : 0;
  throw FormatError(source_.name() + ": " + whereabouts(node, line, offset) + ": " + what, line);
}

void N42Document::failInside(const pugi::xml_node& text, const char* place, const std::string& what) const {
  const std::ptrdiff_t offset = text.offset_debug();
  if (!offsets_match_ || offset < 0) fail(text.parent(), what);
  const char* const begin = text.value();
  const auto lines = static_cast<std::size_t>(std::count(begin, place, '\n'));
  const std::size_t line = source_.lineOf(source_.text().data() + offset) + lines;
  // The parser makes one LF of a CR LF: each line end before the place may have lost a byte.
  const std::string_view original = source_.text().substr(static_cast<std::size_t>(offset));
  const bool two_bytes = original.substr(0, original.find('\n')).ends_with('\r');
  const std::ptrdiff_t lost = two_bytes ? static_cast<std::ptrdiff_t>(lines) : 0;
  throw FormatError(
      source_.name() + ": " + whereabouts(text.parent(), line, offset + (place - begin) + lost) + ": " + what, line);
}

}  // namespace orb::formats
