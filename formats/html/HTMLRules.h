#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/html/CSSStyle.h"
#include "formats/html/HTMLTokens.h"
#include "formats/html/StyleSheet.h"

/// What of a document may stay: elements, attributes and styles that are listed, nothing else.
/// Pure: any thread may call.
namespace korvane {

enum class HTMLRole {
  skipped,    // with all it holds
  body,       //
  block,      // holds blocks or text
  paragraph,  // holds text; ends where a block begins
  line,       // holds text; blocks in it count as lines of it
  list,       // holds items
  item,
  table,    // holds a caption, sections and rows
  section,  // holds rows
  caption,
  row,  // holds cells
  cell,
  inlined,  // a style of text
  anchor,
  lineBreak,
  separator,
  picture,
  root,      // the document, whose language and direction are the body's
  base,      // says what links are relative to
  sheet,     // holds rules of style
  foreign,   // a drawing or a formula, of which the text stays
  media,     // sound or a film, of which a link stays
  frame,     // another document, of which a link stays
  input,     // of which a box that is checked or not stays
  ruby,      // the reading of characters
  rubyBase,  // ends a reading
};

constexpr bool isTablePart(HTMLRole role) {
  return role == HTMLRole::section || role == HTMLRole::caption || role == HTMLRole::row ||
         role == HTMLRole::cell;
}

/// Whether text in it stands in elements of its own: items or cells.
constexpr bool holdsNoText(HTMLRole role) {
  return role == HTMLRole::list || role == HTMLRole::table || role == HTMLRole::section ||
         role == HTMLRole::row;
}

/// Whether it ends the search for an open element: what is outside a cell is not ended inside it.
constexpr bool isBarrier(HTMLRole role) {
  return role == HTMLRole::cell || role == HTMLRole::caption || role == HTMLRole::table ||
         role == HTMLRole::body;
}

struct HTMLRule {
  std::string_view name;
  HTMLRole role;
  /// The element it is written as: the name itself, or what replaces one that HTML5 has no more.
  std::string_view written;
  /// Style that comes with the replacement.
  std::string_view style;
};

/// The rule for an element, null for one whose tags are left out while its content stays. Every
/// call gives the same pointer for the same name.
const HTMLRule* findHTMLRule(std::string_view name);

/// What a tag stands in.
struct HTMLSurroundings {
  /// The rules of style, if there are any, and how many declarations may still be taken from them.
  const StyleSheet* sheet = nullptr;
  std::size_t* budget = nullptr;
  /// What relative links are relative to.
  std::string_view base;
  bool backgroundLost = false;
  /// The colour that text would have, had the background stayed.
  std::string_view lostColor = {};
  /// Where tables stand, as an old attribute around them says.
  std::string_view tableSide = {};
};

/// What is kept of a tag's attributes.
struct HTMLKeptAttributes {
  /// As they are written, each after a space.
  std::string text;
  /// The element is not shown.
  bool hidden = false;
  /// Whether spaces and line breaks count, where the element says.
  std::optional<bool> preservesSpace;
  /// Whether its text is seen, where the element says.
  std::optional<bool> visible;
  CSSBackground background = CSSBackground::outer;
  /// The colour of its text, where that went with a background; empty where it has its own one.
  std::optional<std::string> lostColor;
  /// Where tables in it stand, where the element says: at the side that an old attribute gives to
  /// its text, nowhere in particular where that is empty.
  std::optional<std::string_view> tableSide;
  /// Where an anchor leads, empty where nowhere.
  std::string link;
};
HTMLKeptAttributes keepAttributes(const HTMLRule& rule, const std::vector<HTMLAttribute>& all,
                                  const HTMLSurroundings& around = {});

/// The tag of a picture, nothing when it would be loaded from elsewhere: only PNG, JPEG, GIF and
/// WebP data that the document itself holds stay, up to 8 MiB each.
std::optional<std::string> pictureTag(const std::vector<HTMLAttribute>& all);

/// The value of an attribute, character references replaced and control characters left out; empty
/// where there is none.
std::string attributeValue(const std::vector<HTMLAttribute>& all, std::string_view name);

}  // namespace korvane
