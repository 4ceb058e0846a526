#pragma once
#include <cstddef>
#include <map>
#include <pugixml.hpp>
#include <set>
#include <string>
#include <string_view>

#include "source.h"

namespace orb::formats {

/// Name of an element or attribute without its prefix: the namespaces of real files are many, their local names few.
std::string_view localName(const char* name);
inline std::string_view localName(const pugi::xml_node& node) {
  return localName(node.name());
}

/// The first child element with this local name.
pugi::xml_node childNamed(const pugi::xml_node& node, std::string_view name);
/// An attribute by its local name, in upper or lower case; empty when there is none.
std::string_view attributeOf(const pugi::xml_node& node, std::string_view name);
/// The text inside the element, as it stands.
std::string_view rawText(const pugi::xml_node& node);
/// The same, clean and cut to a length that suits a remark.
std::string textOf(const pugi::xml_node& node);

/// A parsed N42 file. Entities other than the five of XML itself are never resolved, neither inner nor external ones.
class N42Document {
 public:
  N42Document(std::string_view bytes, std::string_view name);

  pugi::xml_node root() const { return document_.document_element(); }
  /// The element of this name that carries this id; null when there is none.
  pugi::xml_node byId(std::string_view element, std::string_view id) const;
  /// The element of this name, when the file has exactly one and no spectrum refers to any by `attribute`. Where
  /// spectra do refer, one that does not has none.
  pugi::xml_node onlyOne(std::string_view element, std::string_view attribute) const;

  [[noreturn]] void fail(const pugi::xml_node& node, const std::string& what) const;
  /// For a place inside the text node.
  [[noreturn]] void failInside(const pugi::xml_node& text, const char* place, const std::string& what) const;

 private:
  void index();
  void indexElement(const pugi::xml_node& element);
  std::string whereabouts(const pugi::xml_node& element, std::size_t line, std::ptrdiff_t offset) const;

  Source source_;
  pugi::xml_document document_;
  bool offsets_match_ = true;  ///< false when the parser had to convert the text
  std::map<std::string, std::map<std::string, pugi::xml_node, std::less<>>, std::less<>> by_id_;
  std::map<std::string, std::pair<std::size_t, pugi::xml_node>, std::less<>> counted_;
  std::set<std::string, std::less<>> references_;  ///< attributes by which spectra refer to something
};

}  // namespace orb::formats
