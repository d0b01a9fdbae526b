#include "formats/html/HTMLTokens.h"

#include <algorithm>
#include <array>

#include "formats/html/HTMLCharacters.h"
#include "text/ASCII.h"

namespace korvane {
namespace {

constexpr std::size_t kMaxAttributes = 64;

// Elements whose content is not markup.
bool holdsRawText(std::string_view name) {
  static constexpr std::array<std::string_view, 10> kNames = {
      "iframe", "noembed", "noframes", "noscript", "plaintext",
      "script", "style",   "textarea", "title",    "xmp"};
  return std::find(kNames.begin(), kNames.end(), name) != kNames.end();
}

}  // namespace

bool HTMLTokens::next(HTMLToken& token) {
  token.name.clear();
  token.attributes.clear();
  token.text.clear();
  token.selfClosing = false;
  while (at_ < document_.size()) {
    if (!rawElement_.empty()) {
      readRawText(token);
      if (!token.text.empty()) return true;
    } else if (!startsMarkup(at_)) {
      readText(token);
      return true;
    } else if (document_[at_ + 1] == '!' || document_[at_ + 1] == '?' ||
               (document_[at_ + 1] == '/' && !isLetter(document_[at_ + 2]))) {
      skipDeclaration();
    } else if (readTag(token)) {
      return true;
    }
  }
  return false;
}

// Whether a "<" at the position begins something else than text.
bool HTMLTokens::startsMarkup(std::size_t at) const {
  if (document_[at] != '<' || at + 1 == document_.size()) return false;
  const char next = document_[at + 1];
  return isLetter(next) || next == '!' || next == '?' || (next == '/' && at + 2 < document_.size());
}

// Passes over a comment, or over anything else up to the next ">".
void HTMLTokens::skipDeclaration() {
  const std::string_view rest = document_.substr(at_);
  std::size_t end = std::string_view::npos;
  if (!rest.starts_with("<!--")) {
    end = rest.find('>');
    at_ += end == rest.npos ? rest.size() : end + 1;
    return;
  }
  if (rest.starts_with("<!-->") || rest.starts_with("<!--->")) {
    at_ += rest.find('>') + 1;
    return;
  }
  for (std::size_t i = rest.find("--", 4); i != rest.npos; i = rest.find("--", i + 1)) {
    const std::string_view tail = rest.substr(i + 2);
    if (tail.starts_with(">") || tail.starts_with("!>")) {
      end = i + 2 + tail.find('>') + 1;
      break;
    }
  }
  at_ += std::min(end, rest.size());
}

// False for a tag that the document ends in, which is none.
bool HTMLTokens::readTag(HTMLToken& token) {
  const bool isEnd = document_[at_ + 1] == '/';
  token.kind = isEnd ? HTMLToken::Kind::endTag : HTMLToken::Kind::startTag;
  at_ += isEnd ? 2 : 1;
  while (at_ < document_.size()) {
    const char c = document_[at_];
    if (isHTMLSpace(c) || c == '/' || c == '>') break;
    token.name += lowercase(c);
    ++at_;
  }
  while (at_ < document_.size()) {
    const char c = document_[at_];
    if (c == '>') {
      ++at_;
      if (!isEnd && holdsRawText(token.name)) rawElement_ = token.name;
      return true;
    }
    token.selfClosing = c == '/' && at_ + 1 < document_.size() && document_[at_ + 1] == '>';
    if (isHTMLSpace(c) || c == '/') {
      ++at_;
    } else {
      readAttribute(token);
    }
  }
  token.name.clear();
  token.attributes.clear();
  return false;
}

void HTMLTokens::readAttribute(HTMLToken& token) {
  const auto skipSpace = [&](std::size_t at) {
    while (at < document_.size() && isHTMLSpace(document_[at])) ++at;
    return at;
  };
  const std::size_t nameBegin = at_++;  // whatever it is, also "="
  while (at_ < document_.size()) {
    const char c = document_[at_];
    if (isHTMLSpace(c) || c == '/' || c == '>' || c == '=') break;
    ++at_;
  }
  const std::string_view name = document_.substr(nameBegin, at_ - nameBegin);
  std::string_view value;
  const std::size_t sign = skipSpace(at_);
  if (sign < document_.size() && document_[sign] == '=') {
    at_ = skipSpace(sign + 1);
    const char quote = at_ < document_.size() ? document_[at_] : '>';
    if (quote == '"' || quote == '\'') {
      const std::size_t end = std::min(document_.find(quote, at_ + 1), document_.size());
      value = document_.substr(at_ + 1, end - at_ - 1);
      at_ = std::min(end + 1, document_.size());
    } else {
      const std::size_t begin = at_;
      while (at_ < document_.size() && !isHTMLSpace(document_[at_]) && document_[at_] != '>') ++at_;
      value = document_.substr(begin, at_ - begin);
    }
  }
  constexpr std::size_t kMaxName = 32;  // of those that anybody asks for
  if (token.attributes.size() >= kMaxAttributes || name.size() > kMaxName) return;
  std::string lower = lowercase(name);
  for (const HTMLAttribute& other : token.attributes) {
    if (other.name == lower) return;
  }
  token.attributes.push_back({std::move(lower), value});
}

void HTMLTokens::readText(HTMLToken& token) {
  const std::size_t begin = at_;
  do {
    at_ = std::min(document_.find('<', at_ + 1), document_.size());
  } while (at_ < document_.size() && !startsMarkup(at_));
  token.kind = HTMLToken::Kind::text;
  token.text = decodeCharacterReferences(document_.substr(begin, at_ - begin), HTMLPlace::text);
}

// Whether a tag of the name begins there, "<" or "</" first.
bool HTMLTokens::isTagAt(std::size_t at, std::string_view opening, std::string_view name) const {
  const std::size_t after = at + opening.size() + name.size();
  if (after >= document_.size() || !document_.substr(at).starts_with(opening)) return false;
  const char c = document_[after];
  return (isHTMLSpace(c) || c == '/' || c == '>') &&
         lowercase(document_.substr(at + opening.size(), name.size())) == name;
}

// Where the script ends that begins there. Scripts were once hidden in comments: inside one, a
// script that is begun in the text has an end tag of its own.
std::size_t HTMLTokens::scriptEnd(std::size_t begin) const {
  bool inComment = false;
  bool inInner = false;
  for (std::size_t i = document_.find_first_of("<-", begin); i != document_.npos;
       i = document_.find_first_of("<-", i + 1)) {
    const std::string_view rest = document_.substr(i);
    if (rest.starts_with("-->")) {
      inComment = inInner = false;
    } else if (rest.starts_with("<!--")) {
      inComment = true;
      ++i;  // its dashes may end it: "<!-->"
    } else if (inComment && !inInner && isTagAt(i, "<", "script")) {
      inInner = true;
    } else if (isTagAt(i, "</", "script")) {
      if (!inInner) return i;
      inInner = false;
    }
  }
  return document_.size();
}

// The content of the raw element up to its end tag, which is left for the next token.
void HTMLTokens::readRawText(HTMLToken& token) {
  const std::string name = std::move(rawElement_);
  rawElement_.clear();
  const std::size_t begin = at_;
  if (name == "script") {
    at_ = scriptEnd(begin);
  } else if (name == "plaintext") {
    at_ = document_.size();
  } else {
    while (at_ < document_.size() && !isTagAt(at_, "</", name)) {
      at_ = std::min(document_.find('<', at_ + 1), document_.size());
    }
  }
  token.kind = HTMLToken::Kind::text;
  const std::string_view content = document_.substr(begin, at_ - begin);
  const bool decoded = name == "title" || name == "textarea";
  token.text = decoded ? decodeCharacterReferences(content, HTMLPlace::text) : std::string(content);
}

}  // namespace korvane
