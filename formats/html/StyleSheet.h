#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "formats/html/CSSStyle.h"

namespace korvane {

/// The rules of a document's <style> elements whose selectors are "*", an element, classes, an id
/// or these together ("p.note"), alone or in lists. Everything else (rules for media, descendants,
/// states, …) is passed over. At most 2,000 selectors, 16 of them for the same class, id or
/// element. In time proportional to the sheets. One thread at a time.
class StyleSheet {
 public:
  /// Adds the rules of a sheet; whether there were any.
  bool read(std::string_view sheet);
  bool empty() const { return selectors_.empty(); }

  /// Adds what the rules say of an element, as the cascade orders them. Takes the number of
  /// declarations from `budget`, and adds nothing once that is used up.
  void apply(std::string_view element, std::string_view classes, std::string_view id,
             std::size_t& budget, CSSStyle& style) const;

 private:
  struct Selector {
    std::string element;  // empty for any
    std::string id;
    std::vector<std::string> classes;
    std::size_t rule;
    std::uint32_t weight;
  };
  void readRule(std::string_view selectors, std::string_view declarations);
  static bool readSelector(std::string_view text, Selector& selector);

  std::vector<std::vector<CSSDeclaration>> rules_;
  std::vector<Selector> selectors_;
  // Of each selector its rarest part: "#id", ".class" or the element.
  std::unordered_map<std::string, std::vector<std::size_t>> index_;
};

}  // namespace korvane
