#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/links/LinkNames.h"
#include "formats/links/LinkTail.h"
#include "platform/NSDataDetector.h"
#include "text/LinkSchemes.h"

namespace korvane::links {

/// One pass over one text. Every link holds a ":", a "." or an "@": the scanner goes from one such
/// character to the next and looks at what stands around it, to the left never further than a name
/// can be long, so that the whole stays linear.
class LinkScanner {
 public:
  explicit LinkScanner(std::string_view text) : text_(text), names_(text), tail_(text) {}

  /// The links in order; to be called once.
  std::vector<NSTextCheckingResult> links();
  /// How many characters were looked at.
  std::uint64_t steps() const { return steps_ + names_.steps() + tail_.steps(); }

 private:
  struct Link {
    std::size_t begin;
    std::size_t end;
    std::string url;
  };
  // A character of which every link holds one or another, and where the next one stands.
  struct Trigger {
    char character;
    std::size_t next = 0;
  };

  // What stands around a trigger, if it is a link. Where it is none, `resume_` is where to go on.
  std::optional<Link> atColon(std::size_t colon);
  std::optional<Link> atDot(std::size_t dot);
  std::optional<Link> atAtSign(std::size_t at);

  std::optional<Link> linkOfScheme(std::size_t begin, std::size_t colon);
  std::optional<Link> webLink(std::size_t begin, std::size_t colon);
  std::optional<Link> mailtoLink(std::size_t begin, std::size_t colon);
  std::optional<Link> wordLink(std::size_t begin, std::size_t colon, LinkForm form);
  std::optional<Link> otherLink(std::size_t begin, std::size_t restBegin);
  std::optional<std::string> textInAngles(std::size_t begin, std::size_t& end);
  std::optional<Link> linkInAngles(std::size_t begin, std::size_t trigger);
  std::optional<Link> bareLink(std::size_t begin, const LinkNames::Host& host);

  void seek(Trigger& trigger, std::size_t from);
  std::size_t nextTrigger(std::size_t from);
  std::optional<std::size_t> schemeBegin(std::size_t colon);
  std::size_t tailEnd(std::size_t from, std::size_t linkBegin);
  std::size_t pathEnd(std::size_t from, std::size_t linkBegin);
  bool isRemotePath(std::size_t hostEnd);
  void refuse(std::size_t from, LinkNames::Until until);

  std::string_view slice(std::size_t begin, std::size_t end) const {
    return text_.substr(begin, end - begin);
  }
  char charAt(std::size_t at) const { return at < text_.size() ? text_[at] : '\0'; }

  std::string_view text_;
  std::array<Trigger, 3> triggers_{{{':'}, {'.'}, {'@'}}};
  LinkNames names_;
  LinkTail tail_;
  bool isWhole_ = false;    // the text is one link, with all that stands at its end
  std::size_t from_ = 0;    // end of the last link, or of what is none
  std::size_t resume_ = 0;  // where to go on
  std::uint64_t steps_ = 0;
};

}  // namespace korvane::links
