#include "formats/links/LinkScanner.h"

#include <algorithm>
#include <array>
#include <utility>

#include "formats/links/BareHosts.h"
#include "formats/links/LinkCharacters.h"
#include "formats/links/LinkHosts.h"
#include "formats/links/WordLinks.h"

namespace korvane::links {
namespace {

constexpr std::size_t kMaxScheme = 32;
constexpr std::size_t kMaxLocalPart = 64;  // RFC 5321, 4.5.3.1.1
constexpr std::size_t kMaxRemotePath = 128;

constexpr auto kCommonSchemes =
    std::to_array<std::string_view>({"http", "https", "ftp", "file", "mailto", "tel", "korvane"});

// What may stand in the local part behind "mailto:".
constexpr ASCIISet kLocalPartPunctuation = "._+-%&'~!$*=/^`{|}";

constexpr bool isSchemeCharacter(char c) {
  return isAlphanumeric(c) || c == '+' || c == '-' || c == '.';
}

bool isSpaceOrTab(char c) { return c == ' ' || c == '\t'; }
bool isLineBreak(char c) { return c == '\n' || c == '\r'; }

// French elides the last letter of a word before a name: "d'a.example", "qu'a.example".
bool isElision(std::string_view text, std::size_t apostrophe) {
  std::size_t begin = apostrophe;
  while (begin > 0 && apostrophe - begin < 3 && isLetter(text[begin - 1])) --begin;
  const std::string word = lowercase(text.substr(begin, apostrophe - begin));
  return word == "qu" || (word.size() == 1 && isOneOf(word[0], "cdjlmnst"));
}

}  // namespace

std::vector<NSTextCheckingResult> LinkScanner::links() {
  std::vector<NSTextCheckingResult> found;
  for (Trigger& trigger : triggers_) seek(trigger, 0);
  std::size_t at = nextTrigger(0);
  while (at < text_.size()) {
    resume_ = at + 1;
    std::optional<Link> link;
    switch (text_[at]) {
      case ':':
        link = atColon(at);
        break;
      case '.':
        link = atDot(at);
        break;
      default:
        link = atAtSign(at);
        break;
    }
    if (link) {
      if (std::optional<NSURL> url = NSURL::URLWithString(link->url)) {
        found.push_back({link->begin, link->end - link->begin, std::move(*url)});
      }
      from_ = link->end;
      resume_ = std::max(link->end, at + 1);
    }
    at = nextTrigger(resume_);
  }
  return found;
}

void LinkScanner::seek(Trigger& trigger, std::size_t from) {
  trigger.next = std::min(text_.find(trigger.character, from), text_.size());
  steps_ += trigger.next - from + 1;
}

std::size_t LinkScanner::nextTrigger(std::size_t from) {
  std::size_t next = text_.size();
  for (Trigger& trigger : triggers_) {
    if (trigger.next < from) seek(trigger, from);
    next = std::min(next, trigger.next);
  }
  return next;
}

/// Nothing of what stands at `from` becomes a link.
void LinkScanner::refuse(std::size_t from, LinkNames::Until until) {
  resume_ = std::max(resume_, names_.refusedEnd(from, until));
  from_ = std::max(from_, resume_);
}

// Links with a scheme.

std::optional<LinkScanner::Link> LinkScanner::atColon(std::size_t colon) {
  const std::optional<std::size_t> begin = schemeBegin(colon);
  if (!begin) return std::nullopt;
  if (!isWhole_) {
    if (std::optional<Link> link = linkInAngles(*begin, colon)) return link;
  }
  return linkOfScheme(*begin, colon);
}

std::optional<LinkScanner::Link> LinkScanner::linkOfScheme(std::size_t begin, std::size_t colon) {
  const bool slash = charAt(colon + 1) == '/';
  const bool authority = slash && charAt(colon + 2) == '/';
  const LinkScheme* scheme = findLinkScheme(slice(begin, colon));
  if (scheme == nullptr && !authority) return std::nullopt;  // some word

  std::optional<Link> link;
  const LinkForm form = scheme == nullptr ? LinkForm::hierarchy : scheme->form;
  if (form == LinkForm::web) {
    if (authority) link = webLink(begin, colon);
  } else if (form == LinkForm::none) {
    // Nobody should run a program by clicking a text.
  } else if (authority) {
    // "jdbc:mysql://a.example" is about no server that another program could open.
    if (names_.isFreeOfPrefix(begin, from_)) link = otherLink(begin, colon + 3);
  } else if (form == LinkForm::mail) {
    if (!slash) link = mailtoLink(begin, colon);
  } else if (form == LinkForm::hierarchy) {
    if (slash && scheme->name == "file") link = otherLink(begin, colon + 1);
  } else {
    link = wordLink(begin, colon, form);
  }
  if (!link) {
    refuse(colon + 1,
           form == LinkForm::none ? LinkNames::Until::space : LinkNames::Until::anotherLink);
  }
  return link;
}

std::optional<std::size_t> LinkScanner::schemeBegin(std::size_t colon) {
  std::size_t begin = colon;
  while (begin > from_ && colon - begin <= kMaxScheme && isSchemeCharacter(text_[begin - 1])) {
    --begin;
    ++steps_;
  }
  // "see...http:": a common scheme behind punctuation that could be part of a longer one.
  const std::string_view word = slice(begin, colon);
  for (const std::string_view known : kCommonSchemes) {
    if (word.size() < known.size()) continue;
    const std::size_t before = word.size() - known.size();
    if (!equalIgnoringCase(word.substr(before), known)) continue;
    // "git+https" is a scheme of its own.
    const bool isLonger =
        before > 0 && (isAlphanumeric(word[before - 1]) || (word[before - 1] == '+' && before > 1));
    if (!isLonger) return colon - known.size();
  }
  while (begin < colon && !isLetter(text_[begin])) ++begin;
  const std::size_t length = colon - begin;
  if (length < 2 || length > kMaxScheme) return std::nullopt;
  return begin;
}

std::optional<LinkScanner::Link> LinkScanner::webLink(std::size_t begin, std::size_t colon) {
  const std::size_t authority = colon + 3;
  const std::size_t hostBegin = names_.userInfoEnd(authority);
  std::optional<LinkNames::Host> host = names_.host(hostBegin, LinkNames::Underscores::allowed);
  if (!host) host = names_.bracketedAddress(hostBegin);
  if (!host) return std::nullopt;

  std::size_t hostEnd = host->end;
  // The root's dot of a complete name, where it does not end a sentence.
  if (charAt(hostEnd) == '.' && (charAt(hostEnd + 1) == '/' ||
                                 (charAt(hostEnd + 1) == ':' && isDigit(charAt(hostEnd + 2))))) {
    ++hostEnd;
  }
  const std::size_t port = names_.portEnd(hostEnd);
  if (!names_.endsCleanly(*host, port)) return std::nullopt;
  const std::size_t end = pathEnd(port, begin);
  Link link{begin, end, std::string(slice(begin, authority))};
  appendEncoded(link.url, slice(authority, hostBegin));
  link.url += host->ascii;
  link.url += slice(host->end, port);
  appendEncoded(link.url, slice(port, end));
  return link;
}

std::optional<LinkScanner::Link> LinkScanner::mailtoLink(std::size_t begin, std::size_t colon) {
  const std::size_t address = colon + 1;
  Link link{begin, address, std::string(slice(begin, address))};
  if (charAt(address) != '?') {
    std::size_t at = address;
    while (at < text_.size() && at - address <= kMaxLocalPart && text_[at] != '@' &&
           (names_.isHostCharacterAt(at) || isOneOf(text_[at], kLocalPartPunctuation))) {
      at += characterAt(text_, at).length;
      ++steps_;
    }
    if (at == address || charAt(at) != '@') return std::nullopt;
    const std::optional<LinkNames::Host> host =
        names_.host(at + 1, LinkNames::Underscores::allowed);
    if (!host || (charAt(host->end) != ',' && !names_.endsCleanly(*host, host->end))) {
      return std::nullopt;
    }
    appendEncoded(link.url, slice(address, at));
    link.url += "@" + host->ascii;
    link.end = host->end;
  }
  const std::size_t rest = link.end;
  if (charAt(rest) == '?' || charAt(rest) == ',') link.end = tailEnd(rest, begin);
  if (link.end == address) return std::nullopt;
  appendEncoded(link.url, slice(rest, link.end));
  return link;
}

/// A link without "//": the scheme says what has to follow.
std::optional<LinkScanner::Link> LinkScanner::wordLink(std::size_t begin, std::size_t colon,
                                                       LinkForm form) {
  if (!isASCII(charAt(colon + 1)) || charAt(colon + 1) > ' ') {
    const std::size_t end = tailEnd(colon + 1, begin);
    steps_ += end - colon;
    if (!hasForm(form, slice(colon + 1, end))) return std::nullopt;
    // "tel:+39 02 1234" would call somebody else.
    const bool isNumber = form == LinkForm::number || form == LinkForm::numbers;
    if (isNumber && charAt(end) == ' ' &&
        (isDigit(charAt(end + 1)) || isOneOf(charAt(end + 1), "(-/"))) {
      return std::nullopt;
    }
    Link link{begin, end, std::string(slice(begin, colon + 1))};
    appendEncoded(link.url, slice(colon + 1, end));
    return link;
  }
  return std::nullopt;
}

/// A link that is taken as it is from `restBegin` on, which stands behind the scheme.
std::optional<LinkScanner::Link> LinkScanner::otherLink(std::size_t begin, std::size_t restBegin) {
  const char first = charAt(restBegin);
  if (isASCII(first) && !isAlphanumeric(first) && !isOneOf(first, "/[%_~?+(*")) return std::nullopt;
  const std::size_t end = tailEnd(restBegin, begin);
  const std::string_view rest = slice(restBegin, end);
  const auto told = std::find_if(rest.begin(), rest.end(),
                                 [](char c) { return isAlphanumeric(c) || !isASCII(c); });
  steps_ += rest.size();
  if (told == rest.end()) return std::nullopt;
  Link link{begin, end, std::string(slice(begin, restBegin))};
  appendEncoded(link.url, rest);
  return link;
}

/// What stands between "<" and ">" or "‹" and "›" from `begin` on, without the line breaks that
/// mail puts into long lines and the spaces around them (RFC 3986, appendix C); its end is put into
/// `end`. Nothing where that cannot be a URL.
std::optional<std::string> LinkScanner::textInAngles(std::size_t begin, std::size_t& end) {
  std::size_t open = begin;
  if (open >= from_ + 4 && equalIgnoringCase(slice(open - 4, open), "url:")) open -= 4;
  const bool ascii = open > from_ && text_[open - 1] == '<';
  constexpr std::string_view kOpen = "\u2039";
  constexpr std::string_view kClose = "\u203A";
  if (!ascii && (open < from_ + kOpen.size() || slice(open - kOpen.size(), open) != kOpen)) {
    return std::nullopt;
  }
  std::string whole;
  std::size_t at = begin;
  while (true) {
    if (at >= text_.size()) return std::nullopt;
    ++steps_;
    const char c = text_[at];
    if (isSpaceOrTab(c) || isLineBreak(c)) {
      std::size_t lines = 0;
      for (; isSpaceOrTab(charAt(at)) || isLineBreak(charAt(at)); ++at) {
        ++steps_;
        if (charAt(at) == '\n' || (charAt(at) == '\r' && charAt(at + 1) != '\n')) ++lines;
      }
      if (lines != 1) return std::nullopt;
      continue;
    }
    if (ascii ? c == '>' : text_.substr(at).starts_with(kClose)) break;
    const Character character = characterAt(text_, at);
    const bool isLegal =
        character.scalar < 0x80
            ? c > ' ' && c != 0x7F && !isOneOf(c, "<>\"")
            : character.scalar != Character::invalid &&
                  (isLinkCharacter(character.scalar) || isWordJoiner(character.scalar) ||
                   !isInvisible(character.scalar)) &&
                  character.scalar >= 0xA1 && slice(at, at + character.length) != kOpen;
    if (!isLegal) return std::nullopt;
    whole += slice(at, at + character.length);
    at += character.length;
  }
  end = at;
  return whole;
}

/// "<URL>": all of it is the link, or none. Its ":" or first "." stands at `trigger`.
std::optional<LinkScanner::Link> LinkScanner::linkInAngles(std::size_t begin, std::size_t trigger) {
  std::size_t end = begin;
  const std::optional<std::string> whole = textInAngles(begin, end);
  if (!whole) return std::nullopt;
  LinkScanner inner(*whole);
  inner.isWhole_ = true;
  std::optional<Link> link;
  if (text_[trigger] == ':') {
    link = inner.linkOfScheme(0, trigger - begin);
  } else if (whole->size() == end - begin) {  // "<www.a.example" may have its ">" lines below
    link = inner.atDot(trigger - begin);
  }
  steps_ += inner.steps();
  if (!link || link->begin != 0 || link->end != whole->size()) return std::nullopt;
  return Link{begin, end, std::move(link->url)};
}

// Links without one.

std::optional<LinkScanner::Link> LinkScanner::atDot(std::size_t dot) {
  if (dot == from_ || !names_.isHostCharacterAt(dot + 1)) return std::nullopt;
  const std::size_t begin = names_.labelBegin(dot, from_);
  if (begin == dot) return std::nullopt;
  const std::size_t nameEnd = names_.hostNameEnd(begin);
  resume_ = std::max(nameEnd, dot + 1);

  // Parts of paths, of addresses and of other names.
  const char before = begin > 0 ? text_[begin - 1] : ' ';
  const char beforeThat = begin > 1 ? text_[begin - 2] : ' ';
  if (isAlphanumeric(before) || isOneOf(before, "/\\@~#$%+^")) return std::nullopt;
  if (before == '.' && beforeThat != '.') return std::nullopt;
  if (isOneOf(before, "&!*") && isAlphanumeric(beforeThat)) return std::nullopt;
  if (before == '-') {  // "www.-a.example"
    std::size_t dashes = begin;
    while (dashes > 0 && text_[dashes - 1] == '-') --dashes;
    steps_ += begin - dashes;
    if (dashes > 0 && isOneOf(text_[dashes - 1], "./:@")) return std::nullopt;
  }
  if (before == '\'' && isAlphanumeric(beforeThat) && !isElision(text_, begin - 1)) {
    return std::nullopt;
  }
  if (names_.isCutBefore(begin, from_) || !names_.isFreeOfPrefix(begin, from_)) {
    refuse(nameEnd, LinkNames::Until::comma);
    return std::nullopt;
  }
  if (names_.isInLocalPart(nameEnd) || text_.substr(nameEnd).starts_with("://")) {
    return std::nullopt;
  }

  const std::optional<LinkNames::Host> host = names_.host(begin, LinkNames::Underscores::refused);
  if (!host || host->labels < 2) return std::nullopt;
  if (!isWhole_ && (before == '<' || !isASCII(before))) {
    if (std::optional<Link> link = linkInAngles(begin, dot)) return link;
  }
  return bareLink(begin, *host);
}

std::optional<LinkScanner::Link> LinkScanner::bareLink(std::size_t begin,
                                                       const LinkNames::Host& host) {
  const std::size_t port = names_.portEnd(host.end);
  const std::size_t end = pathEnd(port, begin);
  bool isLink = false;
  if (isIPv4Address(host.ascii)) {
    // "192.168.1.1" may be a version, "192.168.0.0/24" is a network.
    const std::string_view path = slice(port, end);
    isLink = path.starts_with('/') &&
             (port != host.end || path.size() == 1 || isLetter(path[1]) || isOneOf(path[1], "_~?"));
  } else if (equalIgnoringCase(std::string_view(host.ascii).substr(0, 4), "www.") &&
             host.labels >= 3) {
    isLink = canBeTopLabel(host.topLabel);
  } else if (names_.isTopLevelDomain(host.topLabel)) {
    const char before = begin > 0 ? text_[begin - 1] : ' ';
    const bool behindArrow = before == '>' && begin > 1 && text_[begin - 2] == '-';
    isLink = isBareDomain({host.ascii, host.topLabel, port != host.end, text_.substr(port, 256),
                           behindArrow || (before == '*' && charAt(host.end) != '*')});
  }
  if (!isLink || !names_.endsCleanly(host, port)) return std::nullopt;
  Link link{begin, end, "http://" + host.ascii};
  link.url += slice(host.end, port);
  appendEncoded(link.url, slice(port, end));
  return link;
}

std::optional<LinkScanner::Link> LinkScanner::atAtSign(std::size_t at) {
  const std::optional<std::size_t> begin = names_.localPartBegin(at, from_);
  if (begin == at) return std::nullopt;
  std::optional<LinkNames::Host> host;
  // "@user@a.example" names an account, no mailbox.
  if (begin && text_[at - 1] != '.' && (*begin == 0 || text_[*begin - 1] != '@') &&
      names_.isFreeOfPrefix(*begin, from_)) {
    host = names_.host(at + 1, LinkNames::Underscores::refused);
  }
  // "icon@2x.png" is a picture for fine screens.
  if (!host || host->labels < 2 || !canBeTopLabel(host->topLabel) ||
      !names_.endsCleanly(*host, host->end) || charAt(host->end) == '@' ||
      isRemotePath(host->end) ||
      (host->labels == 2 && isDigit(host->ascii[0]) &&
       lowercase(host->ascii.substr(1, 2)) == "x.")) {
    refuse(at + 1, LinkNames::Until::comma);
    return std::nullopt;
  }
  Link link{*begin, host->end, "mailto:"};
  // A mailbox with "%" in its name, which is not an escape: "user%host@a.example" (RFC 6068).
  std::string_view rest = slice(*begin, at);
  for (std::size_t percent; (percent = rest.find('%')) != rest.npos;) {
    appendEncoded(link.url, rest.substr(0, percent));
    link.url += "%25";
    rest.remove_prefix(percent + 1);
  }
  appendEncoded(link.url, rest);
  link.url += "@" + host->ascii;
  return link;
}

/// Whether ":" and a path follow a host, as in "git@a.example:user/repo.git".
bool LinkScanner::isRemotePath(std::size_t hostEnd) {
  if (charAt(hostEnd) != ':') return false;
  for (std::size_t at = hostEnd + 1; at < text_.size() && at - hostEnd < kMaxRemotePath; ++at) {
    ++steps_;
    if (text_[at] == '/') return !text_.substr(at).starts_with("//");
    if (!isAlphanumeric(text_[at]) && !isOneOf(text_[at], "._~-")) return false;
  }
  return false;
}

// The ends.

std::size_t LinkScanner::tailEnd(std::size_t from, std::size_t linkBegin) {
  return isWhole_ ? text_.size() : tail_.end(from, linkBegin);
}

/// The end of the path, query and fragment that begin at `from`; `from` where there are none.
std::size_t LinkScanner::pathEnd(std::size_t from, std::size_t linkBegin) {
  const char first = charAt(from);
  return first == '/' || first == '?' || first == '#' ? tailEnd(from, linkBegin) : from;
}

}  // namespace korvane::links
