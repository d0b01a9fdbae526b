#include "formats/links/LinkScanner.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "formats/links/LinkCharacters.h"
#include "formats/links/LinkHosts.h"

namespace korvane::links {
namespace {

constexpr std::size_t maximumScheme = 32;
constexpr std::size_t maximumLocalPart = 64;  // RFC 5321, 4.5.3.1.1
constexpr std::size_t maximumBracketedAddress = 48;
constexpr std::size_t maximumPortDigits = 5;

// What may stand in a local part beside letters and digits: in a bare address only what people
// write there, since the address stands among other text.
constexpr std::string_view bareLocalPartPunctuation = "._+-%&'~";
constexpr std::string_view localPartPunctuation = "._+-%&'~!$*=";
constexpr std::string_view userInfoPunctuation = "-._~!$&*+;=:%";

constexpr bool isSchemeCharacter(char c) {
  return isAlphanumeric(c) || c == '+' || c == '-' || c == '.';
}

bool isBareLocalPartCharacter(char32_t scalar) {
  return isHostCharacter(scalar) ||
         (scalar < 0x80 &&
          bareLocalPartPunctuation.find(static_cast<char>(scalar)) != std::string_view::npos);
}

bool isOneOf(std::string_view word, std::initializer_list<std::string_view> words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

}  // namespace

std::vector<NSTextCheckingResult> LinkScanner::links() {
  std::vector<NSTextCheckingResult> found;
  std::size_t at = nextTrigger(0);
  while (at < text_.size()) {
    std::size_t resume = at + 1;
    std::optional<Link> link;
    switch (text_[at]) {
      case ':':
        link = atColon(at);
        break;
      case '.':
        link = atDot(at, resume);
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
      resume = std::max(link->end, at + 1);
    }
    at = nextTrigger(resume);
  }
  return found;
}

std::size_t LinkScanner::nextTrigger(std::size_t from) {
  std::size_t at = from;
  while (at < text_.size() && text_[at] != '.' && text_[at] != ':' && text_[at] != '@') ++at;
  steps_ += at - from + 1;
  return at;
}

bool LinkScanner::isHostCharacterAt(std::size_t at) const {
  return at < text_.size() && isHostCharacter(characterAt(text_, at).scalar);
}

// Links with a scheme.

std::optional<LinkScanner::Link> LinkScanner::atColon(std::size_t colon) {
  const bool slash = charAt(colon + 1) == '/';
  const bool authority = slash && charAt(colon + 2) == '/';
  const std::optional<std::size_t> begin = schemeBegin(colon);
  if (!begin) return std::nullopt;
  const std::string scheme = lowercase(slice(*begin, colon));
  if (isOneOf(scheme, {"http", "https", "ftp"})) {
    return authority ? webLink(*begin, colon) : std::nullopt;
  }
  if (scheme == "mailto" && !slash) return mailtoLink(*begin, colon);
  if (scheme == "tel" && !slash) return telLink(*begin, colon);
  if (scheme == "file" && slash) return otherLink(*begin, colon + 1);
  // Nobody should run a program by clicking a text.
  if (!authority || isOneOf(scheme, {"javascript", "vbscript", "data"})) return std::nullopt;
  return otherLink(*begin, colon + 3);
}

std::optional<std::size_t> LinkScanner::schemeBegin(std::size_t colon) {
  std::size_t begin = colon;
  while (begin > from_ && colon - begin <= maximumScheme && isSchemeCharacter(text_[begin - 1])) {
    --begin;
    ++steps_;
  }
  // "see...http:": a common scheme behind punctuation that could be part of a longer one.
  const std::string word = lowercase(slice(begin, colon));
  for (const std::string_view known :
       {"http", "https", "ftp", "file", "mailto", "tel", "korvane"}) {
    if (!word.ends_with(known)) continue;
    const std::size_t before = word.size() - known.size();
    if (before == 0 || !isAlphanumeric(word[before - 1])) return colon - known.size();
  }
  while (begin < colon && !isLetter(text_[begin])) ++begin;
  const std::size_t length = colon - begin;
  if (length < 2 || length > maximumScheme) return std::nullopt;
  return begin;
}

std::optional<LinkScanner::Link> LinkScanner::webLink(std::size_t begin, std::size_t colon) {
  const std::size_t authority = colon + 3;
  std::size_t hostBegin = userInfoEnd(authority);
  std::optional<Host> host = hostAt(hostBegin, Underscores::allowed);
  if (!host) host = bracketedAddressAt(hostBegin);
  if (!host && hostBegin != authority) {
    hostBegin = authority;
    host = hostAt(hostBegin, Underscores::allowed);
  }
  if (!host) return std::nullopt;

  std::size_t hostEnd = host->end;
  // The root's dot of a complete name, where it does not end a sentence.
  if (charAt(hostEnd) == '.' && (charAt(hostEnd + 1) == '/' ||
                                 (charAt(hostEnd + 1) == ':' && isDigit(charAt(hostEnd + 2))))) {
    ++hostEnd;
  }
  const std::size_t port = portEnd(hostEnd);
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
    while (at < text_.size() && at - address <= maximumLocalPart && text_[at] != '@' &&
           (isHostCharacterAt(at) || localPartPunctuation.find(text_[at]) != std::string::npos)) {
      at += characterAt(text_, at).length;
      ++steps_;
    }
    if (at == address || charAt(at) != '@') return std::nullopt;
    const std::optional<Host> host = hostAt(at + 1, Underscores::allowed);
    if (!host) return std::nullopt;
    appendEncoded(link.url, slice(address, at));
    link.url += "@" + host->ascii;
    link.end = host->end;
  }
  const std::size_t rest = link.end;
  if (charAt(rest) == '?' || charAt(rest) == ',') link.end = tail_.end(rest, begin);
  if (link.end == address) return std::nullopt;
  appendEncoded(link.url, slice(rest, link.end));
  return link;
}

std::optional<LinkScanner::Link> LinkScanner::telLink(std::size_t begin, std::size_t colon) {
  std::size_t digit = colon + 1;
  if (charAt(digit) == '+') ++digit;
  if (charAt(digit) == '(') ++digit;
  if (!isDigit(charAt(digit)) && charAt(digit) != '*') return std::nullopt;
  return otherLink(begin, colon + 1);
}

/// A link that is taken as it is from `restBegin` on, which stands behind the scheme.
std::optional<LinkScanner::Link> LinkScanner::otherLink(std::size_t begin, std::size_t restBegin) {
  const char first = charAt(restBegin);
  const bool starts =
      !isASCII(first) || isAlphanumeric(first) ||
      (first != '\0' && std::string_view("/[%_~?+(*").find(first) != std::string::npos);
  if (!starts) return std::nullopt;
  const std::size_t end = tail_.end(restBegin, begin);
  const std::string_view rest = slice(restBegin, end);
  const auto told = std::find_if(rest.begin(), rest.end(),
                                 [](char c) { return isAlphanumeric(c) || !isASCII(c); });
  steps_ += rest.size();
  if (told == rest.end()) return std::nullopt;
  Link link{begin, end, std::string(slice(begin, restBegin))};
  appendEncoded(link.url, rest);
  return link;
}

// Links without one.

std::optional<LinkScanner::Link> LinkScanner::atDot(std::size_t dot, std::size_t& resume) {
  if (dot == from_ || !isHostCharacterAt(dot + 1)) return std::nullopt;
  const std::size_t begin = labelBegin(dot);
  if (begin == dot) return std::nullopt;
  const std::size_t nameEnd = hostNameEnd(begin);
  resume = std::max(nameEnd, dot + 1);

  // Parts of paths, of addresses and of other names.
  const char before = begin > 0 ? text_[begin - 1] : ' ';
  if (isAlphanumeric(before) || std::string_view("/\\@~#$%+").find(before) != std::string::npos) {
    return std::nullopt;
  }
  if (isInLocalPart(nameEnd) || text_.substr(nameEnd).starts_with("://")) return std::nullopt;

  const std::optional<Host> host = hostAt(begin, Underscores::refused);
  if (!host || host->labels < 2) return std::nullopt;
  const std::size_t port = portEnd(host->end);
  const bool www = lowercase(host->ascii.substr(0, 4)) == "www." && host->labels >= 3 &&
                   canBeTopLabel(host->topLabel);
  if (!www) {
    if (!isTopLevelDomain(host->topLabel) || isNumberLike(host->ascii) ||
        isSentenceLike(host->ascii)) {
      return std::nullopt;
    }
    if (isFileEnding(host->topLabel) && port == host->end && charAt(port) != '/') {
      return std::nullopt;
    }
  }
  const std::size_t end = pathEnd(port, begin);
  Link link{begin, end, "http://" + host->ascii};
  link.url += slice(host->end, port);
  appendEncoded(link.url, slice(port, end));
  return link;
}

std::optional<LinkScanner::Link> LinkScanner::atAtSign(std::size_t at) {
  const std::size_t begin = localPartBegin(at);
  // "@user@a.example" names an account, no mailbox.
  if (begin == at || text_[at - 1] == '.' || (begin > 0 && text_[begin - 1] == '@')) {
    return std::nullopt;
  }
  const std::optional<Host> host = hostAt(at + 1, Underscores::refused);
  if (!host || host->labels < 2 || !canBeTopLabel(host->topLabel) || charAt(host->end) == '@') {
    return std::nullopt;
  }
  // "icon@2x.png", a picture for fine screens.
  if (host->labels == 2 && isDigit(host->ascii[0]) && lowercase(host->ascii.substr(1, 2)) == "x.") {
    return std::nullopt;
  }
  Link link{begin, host->end, "mailto:"};
  appendEncoded(link.url, slice(begin, at));
  link.url += "@" + host->ascii;
  return link;
}

// The parts of names.

/// Where the label that ends before `dot` begins; `dot` where there is none.
std::size_t LinkScanner::labelBegin(std::size_t dot) {
  std::size_t begin = dot;
  while (begin > from_) {
    const Character character = characterBefore(text_, begin);
    ++steps_;
    if (!isHostCharacter(character.scalar) && character.scalar != '-' && character.scalar != '_') {
      break;
    }
    if (begin < dot && isASCII(text_[begin]) && isWrittenWithoutSpaces(character.scalar)) break;
    begin -= character.length;
  }
  while (begin < dot && text_[begin] == '-') ++begin;  // "-a.example", an item of a list
  return begin;
}

/// Where the local part that ends before `at` begins; `at` where there is none.
std::size_t LinkScanner::localPartBegin(std::size_t at) {
  std::size_t begin = at;
  while (begin > from_) {
    const Character character = characterBefore(text_, begin);
    ++steps_;
    if (!isBareLocalPartCharacter(character.scalar)) break;
    if (begin < at && isASCII(text_[begin]) && isWrittenWithoutSpaces(character.scalar)) break;
    if (character.scalar == '.' && begin < at && text_[begin] == '.') break;
    begin -= character.length;
    if (at - begin > maximumLocalPart) return at;
  }
  while (begin < at && isASCII(text_[begin]) && !isAlphanumeric(text_[begin]) &&
         text_[begin] != '_') {
    ++begin;
  }
  return begin;
}

/// Whether the local part of a mail address goes on at `at` and ends at its "@":
/// "joe.name+tag@a.example".
bool LinkScanner::isInLocalPart(std::size_t at) {
  std::size_t end = at;
  while (end < text_.size() && end - at <= maximumLocalPart) {
    const Character character = characterAt(text_, end);
    ++steps_;
    if (character.scalar == '@') return end == at || isHostCharacterAt(end + 1);
    if (!isBareLocalPartCharacter(character.scalar)) return false;
    end += character.length;
  }
  return false;
}

/// Where the user information ends, behind its "@"; `begin` where there is none.
std::size_t LinkScanner::userInfoEnd(std::size_t begin) {
  std::size_t end = begin;
  for (std::size_t at = begin; at < text_.size();) {
    const Character character = characterAt(text_, at);
    ++steps_;
    at += character.length;
    if (character.scalar == '@') {
      end = at;
    } else if (!isHostCharacter(character.scalar) &&
               (character.scalar >= 0x80 || userInfoPunctuation.find(static_cast<char>(
                                                character.scalar)) == std::string::npos)) {
      break;
    }
  }
  return end;
}

/// Where the labels that begin at `begin` end. A word of a script without spaces that follows a
/// top-level domain is none of it: "a.com" in Chinese text.
std::size_t LinkScanner::hostNameEnd(std::size_t begin) {
  std::size_t label = begin;
  bool latin = true;  // the label so far
  std::size_t end = begin;
  while (end < text_.size()) {
    const Character character = characterAt(text_, end);
    ++steps_;
    if (character.scalar == '.') {
      if (!isHostCharacterAt(end + 1)) break;
      label = end + 1;
      latin = true;
    } else if (!isHostCharacter(character.scalar) && character.scalar != '-' &&
               character.scalar != '_') {
      break;
    } else if (character.scalar >= 0x80) {
      if (latin && label > begin && end > label && isWrittenWithoutSpaces(character.scalar) &&
          isTopLevelDomain(slice(label, end))) {
        break;
      }
      latin = false;
    }
    end += character.length;
  }
  while (end > begin && text_[end - 1] == '-') --end;
  return end;
}

std::optional<LinkScanner::Host> LinkScanner::hostAt(std::size_t begin, Underscores underscores) {
  if (!isHostCharacterAt(begin)) return std::nullopt;
  const std::size_t end = hostNameEnd(begin);
  const std::string_view name = slice(begin, end);
  if (underscores == Underscores::refused && name.find('_') != std::string_view::npos) {
    return std::nullopt;
  }
  std::optional<std::string> ascii = asciiHost(name);
  if (!ascii) return std::nullopt;
  const auto dots = std::count(ascii->begin(), ascii->end(), '.');
  std::string topLabel = ascii->substr(ascii->rfind('.') + 1);
  return Host{end, std::move(*ascii), static_cast<std::size_t>(dots) + 1, std::move(topLabel)};
}

/// An IPv6 address in its brackets.
std::optional<LinkScanner::Host> LinkScanner::bracketedAddressAt(std::size_t begin) const {
  if (charAt(begin) != '[') return std::nullopt;
  const std::string_view window = text_.substr(begin, maximumBracketedAddress);
  const std::size_t close = window.find(']');
  if (close == std::string_view::npos) return std::nullopt;
  const std::string_view address = window.substr(1, close - 1);
  const bool legal = std::all_of(address.begin(), address.end(),
                                 [](char c) { return isHexDigit(c) || c == ':' || c == '.'; });
  if (!legal || std::count(address.begin(), address.end(), ':') < 2) return std::nullopt;
  return Host{begin + close + 1, std::string(window.substr(0, close + 1)), 1, std::string()};
}

std::size_t LinkScanner::portEnd(std::size_t hostEnd) const {
  if (charAt(hostEnd) != ':') return hostEnd;
  std::size_t end = hostEnd + 1;
  unsigned port = 0;
  while (end - hostEnd <= maximumPortDigits && isDigit(charAt(end))) {
    port = port * 10 + static_cast<unsigned>(text_[end] - '0');
    ++end;
  }
  const bool valid = end > hostEnd + 1 && port <= 65535 && !isDigit(charAt(end));
  return valid ? end : hostEnd;
}

/// The end of the path, query and fragment that begin at `from`; `from` where there are none.
std::size_t LinkScanner::pathEnd(std::size_t from, std::size_t linkBegin) {
  const char first = charAt(from);
  return first == '/' || first == '?' || first == '#' ? tail_.end(from, linkBegin) : from;
}

}  // namespace korvane::links
