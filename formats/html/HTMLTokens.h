#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace korvane {

/// One attribute of a start tag: its name in lower case, its value as it stands in the document,
/// character references not yet replaced.
struct HTMLAttribute {
  std::string name;
  std::string_view rawValue;
};

struct HTMLToken {
  enum class Kind { text, startTag, endTag };
  Kind kind = Kind::text;
  /// Of a tag, in lower case.
  std::string name;
  /// Of a start tag: the first 64, of each name the first.
  std::vector<HTMLAttribute> attributes;
  bool selfClosing = false;
  /// Of a text, character references replaced.
  std::string text;
};

/// Cuts a document into texts and tags as browsers do (the tokenization of HTML5): comments,
/// declarations and processing instructions are passed over, the content of elements that hold no
/// markup (script, style, title, textarea, …) comes as one text. In time proportional to the
/// document, whatever it holds. One thread at a time.
class HTMLTokens {
 public:
  /// The document in UTF-8; must outlive this and the tokens.
  explicit HTMLTokens(std::string_view document) : document_(document) {}

  /// The next token; false at the end of the document.
  bool next(HTMLToken& token);

 private:
  bool startsMarkup(std::size_t at) const;
  void skipDeclaration();
  bool readTag(HTMLToken& token);
  void readAttribute(HTMLToken& token);
  void readText(HTMLToken& token);
  void readRawText(HTMLToken& token);
  bool isTagAt(std::size_t at, std::string_view opening, std::string_view name) const;
  std::size_t scriptEnd(std::size_t begin) const;

  std::string_view document_;
  std::size_t at_ = 0;
  std::string rawElement_;  // whose content comes next, empty where markup does
};

}  // namespace korvane
