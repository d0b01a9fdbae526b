#pragma once

// Internal to the property-list reader.

#include <optional>
#include <string>
#include <string_view>

namespace korvane {

/// The text of an XML document in UTF-8: the document's own bytes or a converted copy.
struct XMLText {
  std::string_view original;
  std::optional<std::string> converted;
  std::string_view view() const { return converted ? std::string_view(*converted) : original; }
};

/// The document without its byte-order mark, in UTF-8: the mark tells the encoding, else the name
/// in the declaration, else it is UTF-8 (which is not checked here). Nothing where the encoding is
/// not known or the bytes do not convert.
std::optional<XMLText> utf8OfXML(std::string_view bytes);

}  // namespace korvane
