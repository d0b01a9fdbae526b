#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "formats/links/LinkHosts.h"
#include "text/ASCII.h"

namespace korvane::links {

/// Reads the names of a text: hosts, ports, user information and the local parts of mail addresses.
/// A name is read whole or not at all: where only a part of what stands there could be one, there
/// is none, since the part names something else.
class LinkNames {
 public:
  explicit LinkNames(std::string_view text) : text_(text) {}

  struct Host {
    std::size_t end;
    std::string ascii;
    std::size_t labels;
    std::string topLabel;  // of `ascii`
  };
  enum class Underscores { refused, allowed };

  /// The host that begins at a position.
  std::optional<Host> host(std::size_t begin, Underscores underscores);
  /// An IP address of version 6 in its brackets.
  std::optional<Host> bracketedAddress(std::size_t begin) const;
  /// Where the port ends that a ":" begins; `hostEnd` where there is none.
  std::size_t portEnd(std::size_t hostEnd) const;
  /// Whether what stands behind a host, or behind its port, leaves it whole: a path, white space or
  /// punctuation, but nothing that programs would read as more of the name.
  bool endsCleanly(const Host& host, std::size_t portEnd);
  /// Where the labels that begin at a position end, whether or not they are a host.
  std::size_t hostNameEnd(std::size_t begin);
  /// Where the label begins that ends before a dot, not before `from`; `dot` where there is none.
  std::size_t labelBegin(std::size_t dot, std::size_t from);

  /// Where the user information ends, behind its "@"; `begin` where there is none.
  std::size_t userInfoEnd(std::size_t begin);
  /// Where the local part of a mail address begins that ends before the "@" at `at`, not before
  /// `from`; `at` where there is none. Absent where there is one that would be cut.
  std::optional<std::size_t> localPartBegin(std::size_t at, std::size_t from);
  /// Whether the local part of a mail address goes on at a position and ends at its "@":
  /// "joe.name+tag@a.example".
  bool isInLocalPart(std::size_t at);
  /// Whether a name that begins at a position stands for itself, and not behind a ":" that makes it
  /// part of something else: "mail:joe@a.example" is a label and an address,
  /// "pserver:joe@a.example" something of its own.
  bool isFreeOfPrefix(std::size_t begin, std::size_t from) const;
  /// Whether what stands right before a name belongs to it, so that the name would be cut: a symbol
  /// or an invisible character behind a letter.
  bool isCutBefore(std::size_t begin, std::size_t from) const;

  enum class Until { space, anotherLink, comma };  // each holds those before it
  /// Where a run of characters ends of which nothing may become a link, since the whole is none.
  std::size_t refusedEnd(std::size_t begin, Until until);

  /// As the function of this name in LinkHosts.h.
  bool isTopLevelDomain(std::string_view label) { return topLevelDomains_.contains(label); }
  bool isHostCharacterAt(std::size_t at) const;
  char charAt(std::size_t at) const { return at < text_.size() ? text_[at] : '\0'; }
  /// How many characters were looked at.
  std::uint64_t steps() const { return steps_; }

 private:
  std::string_view slice(std::size_t begin, std::size_t end) const {
    return text_.substr(begin, end - begin);
  }
  char32_t scalarAt(std::size_t at) const;
  bool goesOnBehindDot(std::size_t label, std::size_t dot, std::size_t next, bool isFirstLabel);
  std::size_t readHostName(std::size_t begin);
  std::size_t cutAtEqualsSign(std::size_t begin, std::size_t at, bool& refused) const;

  std::string_view text_;
  TopLevelDomains topLevelDomains_;
  // The name read last, which is asked for more than once.
  std::size_t nameBegin_ = std::string_view::npos;
  std::size_t nameEnd_ = 0;
  std::uint64_t steps_ = 0;
};

// The same as below, where there is such a character.
bool beginsLinkBehind(std::string_view text, std::size_t separator);
/// Whether at a position, behind "," or ";" or "|", a link with "//" begins that ends the one
/// before it: ",http://".
inline bool beginsAnotherLink(std::string_view text, std::size_t separator) {
  return separator < text.size() && isOneOf(text[separator], ",;|") &&
         beginsLinkBehind(text, separator);
}

}  // namespace korvane::links
