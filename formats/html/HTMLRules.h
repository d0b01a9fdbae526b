#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/html/HTMLTokens.h"

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
};

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

/// What is kept of a tag's attributes.
struct HTMLKeptAttributes {
  /// As they are written, each after a space.
  std::string text;
  /// The element is not shown.
  bool hidden = false;
  /// Whether spaces and line breaks count, where the element says.
  std::optional<bool> preservesSpace;
};
HTMLKeptAttributes keepAttributes(const HTMLRule& rule, const std::vector<HTMLAttribute>& all);

/// The tag of a picture, nothing when it would be loaded from elsewhere: only PNG, JPEG, GIF and
/// WebP data that the document itself holds stay, up to 8 MiB each.
std::optional<std::string> pictureTag(const std::vector<HTMLAttribute>& all);

/// The value of an attribute, character references replaced and control characters left out; empty
/// where there is none.
std::string attributeValue(const std::vector<HTMLAttribute>& all, std::string_view name);

}  // namespace korvane
