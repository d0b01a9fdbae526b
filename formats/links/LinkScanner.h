#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/links/LinkTail.h"
#include "platform/NSDataDetector.h"

namespace korvane::links {

/// One pass over one text. Every link holds a ":", a "." or an "@": the scanner goes from one such
/// character to the next and looks at what stands around it, to the left never further than a name
/// can be long, so that the whole stays linear.
class LinkScanner {
 public:
  explicit LinkScanner(std::string_view text) : text_(text), tail_(text) {}

  /// The links in order; to be called once.
  std::vector<NSTextCheckingResult> links();
  /// How many characters were looked at.
  std::uint64_t steps() const { return steps_ + tail_.steps(); }

 private:
  struct Link {
    std::size_t begin;
    std::size_t end;
    std::string url;
  };
  struct Host {
    std::size_t end;
    std::string ascii;
    std::size_t labels;
    std::string topLabel;  // of `ascii`
  };
  enum class Underscores { refused, allowed };

  // What stands around a trigger, if it is a link. `resume` is where to go on if it is none.
  std::optional<Link> atColon(std::size_t colon);
  std::optional<Link> atDot(std::size_t dot, std::size_t& resume);
  std::optional<Link> atAtSign(std::size_t at);

  std::optional<Link> webLink(std::size_t begin, std::size_t colon);
  std::optional<Link> mailtoLink(std::size_t begin, std::size_t colon);
  std::optional<Link> telLink(std::size_t begin, std::size_t colon);
  std::optional<Link> otherLink(std::size_t begin, std::size_t restBegin);

  std::size_t nextTrigger(std::size_t from);
  std::optional<std::size_t> schemeBegin(std::size_t colon);
  std::size_t labelBegin(std::size_t dot);
  std::size_t localPartBegin(std::size_t at);
  bool isInLocalPart(std::size_t at);
  std::size_t userInfoEnd(std::size_t begin);
  std::size_t hostNameEnd(std::size_t begin);
  std::optional<Host> hostAt(std::size_t begin, Underscores underscores);
  std::optional<Host> bracketedAddressAt(std::size_t begin) const;
  std::size_t portEnd(std::size_t hostEnd) const;
  std::size_t pathEnd(std::size_t from, std::size_t linkBegin);

  std::string_view slice(std::size_t begin, std::size_t end) const {
    return text_.substr(begin, end - begin);
  }
  char charAt(std::size_t at) const { return at < text_.size() ? text_[at] : '\0'; }
  bool isHostCharacterAt(std::size_t at) const;

  std::string_view text_;
  LinkTail tail_;
  std::size_t from_ = 0;  // end of the last link
  std::uint64_t steps_ = 0;
};

}  // namespace korvane::links
