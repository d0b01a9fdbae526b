#pragma once

#include "platform/NSAttributedString.h"

namespace korvane {

/// HTML documents read as browsers read them and written anew from lists of what may stay. Any
/// thread may call; documents are read side by side.
///
/// Elements that only say how text looks and is laid out stay (those that HTML5 has no more become
/// what replaced them), with their style where it is harmless, links that isLinkForDocuments() and
/// pictures that the document itself holds (up to 8 MiB each and 32 MiB together, since a message
/// is handed over as a whole). Simple rules of its style sheets become the style of the elements
/// they are for. Relative links are resolved where the document or the caller says against what. A
/// picture from elsewhere is replaced by its alternative text, in a link that holds nothing else by
/// the address; of drawings and formulas the text stays, of films and frames a link; scripts,
/// templates and what is not displayed go with all they hold; of every other element, its content
/// stays. Reading a document that this wrote gives the same document.
class KORVANE_EXPORT HTML : public HTMLReader {
 public:
  /// The largest document that is read.
  static constexpr std::size_t kMaxBytes = std::size_t{64} << 20;

  /// The document or a part of one, without html or body say, in the encoding that it says it is
  /// in; UTF-8, UTF-16 and windows-1252 are recognised otherwise. Nothing for more than
  /// kMaxBytes or when memory runs out: everything else can be read as HTML. In time
  /// proportional to the size.
  std::optional<HTMLText> read(const NSData& html, std::string_view baseURL) override;
};

}  // namespace korvane
