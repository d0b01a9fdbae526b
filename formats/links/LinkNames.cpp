#include "formats/links/LinkNames.h"

#include <algorithm>
#include <array>
#include <utility>

#include "formats/links/LinkCharacters.h"
#include "formats/links/LinkHosts.h"
#include "text/LinkSchemes.h"

namespace korvane::links {
namespace {

constexpr std::size_t kMaxLocalPart = 64;  // RFC 5321, 4.5.3.1.1
constexpr std::size_t kMaxBracketedAddress = 80;
constexpr std::size_t kMaxPortDigits = 5;
constexpr std::size_t kMaxWord = 32;

// What may stand in a local part beside letters and digits. "/", "?", "!" and the like may as well,
// but stand between an address and other text far more often.
constexpr ASCIISet kLocalPartPunctuation = "._+-%&'~=";
constexpr ASCIISet kUserInfoPunctuation = "-._~!$&*+;=:%";

bool isLocalPartCharacter(char32_t scalar) {
  return isHostCharacter(scalar) ||
         (scalar < 0x80 && isOneOf(static_cast<char>(scalar), kLocalPartPunctuation));
}

bool isUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool isLower(char c) { return c >= 'a' && c <= 'z'; }

// Words that people put before an address and a ":" or "=" without a space. All others in lower
// case may be schemes.
bool isLabelWord(std::string_view word) {
  static constexpr auto kWords = std::to_array<std::string_view>(
      {"address", "adresse",  "at",         "author",    "bcc",    "blog",   "by",      "cc",
       "contact", "contacto", "correo",     "docs",      "domain", "e-mail", "email",   "from",
       "help",    "home",     "homepage",   "host",      "href",   "info",   "kontakt", "link",
       "links",   "mail",     "maintainer", "now",       "or",     "page",   "ref",     "reply-to",
       "see",     "sender",   "server",     "site",      "source", "src",    "support", "to",
       "und",     "uri",      "url",        "via",       "visit",  "von",    "web",     "webpage",
       "website", "with",     "www",        "your-email"});
  // "E-Mail:", "Kontakt:": no scheme is written so.
  const bool isTitle =
      !word.empty() && isUpper(word[0]) &&
      (word.size() == 1 || std::any_of(word.begin(), word.end(), isLower)) &&
      std::all_of(word.begin(), word.end(), [](char c) { return isLetter(c) || c == '-'; });
  return isTitle || std::find(kWords.begin(), kWords.end(), lowercase(word)) != kWords.end();
}

// A character reference, which stands for punctuation: "&gt;".
bool isPunctuationReference(std::string_view text) {
  return std::ranges::any_of(
      std::array<std::string_view, 7>{"&lt;", "&gt;", "&quot;", "&apos;", "&amp;", "&nbsp;", "&#"},
      [&](std::string_view reference) { return text.starts_with(reference); });
}

}  // namespace

bool beginsLinkBehind(std::string_view text, std::size_t separator) {
  const std::string_view rest = text.substr(separator + 1, 8);
  const std::size_t colon = rest.find(':');
  if (colon == std::string_view::npos || !text.substr(separator + 1 + colon).starts_with("://")) {
    return false;
  }
  const LinkScheme* scheme = findLinkScheme(rest.substr(0, colon));
  return scheme != nullptr && scheme->form == LinkForm::web;
}

char32_t LinkNames::scalarAt(std::size_t at) const {
  return at < text_.size() ? characterAt(text_, at).scalar : Character::invalid;
}

bool LinkNames::isHostCharacterAt(std::size_t at) const {
  return at < text_.size() && isHostCharacter(characterAt(text_, at).scalar);
}

std::size_t LinkNames::labelBegin(std::size_t dot, std::size_t from) {
  std::size_t begin = dot;
  while (begin > from) {
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

/// Whether the name goes on behind a dot of another script, which ends sentences too: it does not
/// where the name is complete and what follows is not a top-level domain.
bool LinkNames::goesOnBehindDot(std::size_t label, std::size_t dot, std::size_t next,
                                bool isFirstLabel) {
  if (!isHostCharacterAt(next)) return false;
  if (isFirstLabel || !topLevelDomains_.contains(slice(label, dot))) return true;
  std::size_t end = next;
  bool ascii = true;
  while (end < text_.size() && end - next <= 64) {
    const Character character = characterAt(text_, end);
    ++steps_;
    if (!isHostCharacter(character.scalar) && character.scalar != '-') break;
    ascii = ascii && character.scalar < 0x80;
    end += character.length;
  }
  if (topLevelDomains_.contains(slice(next, end))) return true;
  return ascii && charAt(end) == '.' && isHostCharacterAt(end + 1);
}

std::size_t LinkNames::hostNameEnd(std::size_t begin) {
  if (begin == nameBegin_) return nameEnd_;
  nameBegin_ = begin;
  nameEnd_ = readHostName(begin);
  return nameEnd_;
}

/// A word of a script without spaces, or symbols, that follow a top-level domain are none of the
/// name: "a.com" in Chinese text.
std::size_t LinkNames::readHostName(std::size_t begin) {
  std::size_t label = begin;
  bool latin = true;  // the label so far
  std::size_t end = begin;
  const auto isCompleteName = [&] {
    return latin && label > begin && end > label && topLevelDomains_.contains(slice(label, end));
  };
  while (end < text_.size()) {
    const auto [scalar, length] = characterAt(text_, end);
    ++steps_;
    if (scalar == '.') {
      if (!isHostCharacterAt(end + 1) && !isHostSymbol(scalarAt(end + 1))) break;
      label = end + length;
      latin = true;
    } else if (scalar < 0x80) {
      if (!isHostCharacter(scalar) && scalar != '-' && scalar != '_') break;
    } else if (isWideDot(scalar)) {
      if (!goesOnBehindDot(label, end, end + length, label == begin)) break;
      label = end + length;
      latin = true;
    } else if (isHostCharacter(scalar)) {
      if (isWrittenWithoutSpaces(scalar) && isCompleteName()) break;
      latin = false;
    } else if (isHostSymbol(scalar)) {
      if (isCompleteName()) {
        std::size_t behind = end;
        while (behind < text_.size()) {
          const Character symbol = characterAt(text_, behind);
          ++steps_;
          if (!isHostSymbol(symbol.scalar) && !isInvisible(symbol.scalar)) break;
          behind += symbol.length;
        }
        if (!isHostCharacterAt(behind) && !isOneOf(charAt(behind), ".-_/:@?#%")) break;
      }
      latin = false;
    } else if (isWordJoiner(scalar) && isInvisible(scalar) && end > label) {
      // Part of a letter or an emoji that goes on, or nothing.
      const char32_t next = scalarAt(end + length);
      if (scalar == 0xFE0E || scalar == 0xFE0F) {
        if (!isHostSymbol(characterBefore(text_, end).scalar)) break;
      } else if (!isHostCharacter(next) && !isHostSymbol(next)) {
        break;
      }
      latin = false;
    } else {
      break;
    }
    end += length;
  }
  while (end > begin && text_[end - 1] == '-') --end;
  return end;
}

std::optional<LinkNames::Host> LinkNames::host(std::size_t begin, Underscores underscores) {
  if (!isHostCharacterAt(begin) && !isHostSymbol(scalarAt(begin))) return std::nullopt;
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

std::optional<LinkNames::Host> LinkNames::bracketedAddress(std::size_t begin) const {
  if (charAt(begin) != '[') return std::nullopt;
  const std::string_view window = text_.substr(begin, kMaxBracketedAddress);
  const std::size_t close = window.find(']');
  if (close == std::string_view::npos) return std::nullopt;
  std::string_view address = window.substr(1, close - 1);
  // The network device of a local address, behind "%25" (RFC 6874).
  if (const std::size_t zone = address.find("%25"); zone != std::string_view::npos) {
    const std::string_view name = address.substr(zone + 3);
    if (name.empty() || !std::all_of(name.begin(), name.end(), [](char c) {
          return isAlphanumeric(c) || isOneOf(c, "-._~");
        })) {
      return std::nullopt;
    }
    address = address.substr(0, zone);
  }
  const bool legal = std::all_of(address.begin(), address.end(),
                                 [](char c) { return isHexDigit(c) || c == ':' || c == '.'; });
  if (!legal || std::count(address.begin(), address.end(), ':') < 2) return std::nullopt;
  return Host{begin + close + 1, std::string(window.substr(0, close + 1)), 1, std::string()};
}

std::size_t LinkNames::portEnd(std::size_t hostEnd) const {
  if (charAt(hostEnd) != ':') return hostEnd;
  std::size_t end = hostEnd + 1;
  unsigned port = 0;
  while (end - hostEnd <= kMaxPortDigits && isDigit(charAt(end))) {
    port = port * 10 + static_cast<unsigned>(text_[end] - '0');
    ++end;
  }
  const bool valid = end > hostEnd + 1 && port <= 65535 && !isDigit(charAt(end));
  return valid ? end : hostEnd;
}

bool LinkNames::endsCleanly(const Host& host, std::size_t portEnd) {
  const bool hasPort = portEnd != host.end;
  const char c = charAt(portEnd);
  const char next = charAt(portEnd + 1);
  const bool wordGoesOn = isHostCharacterAt(portEnd + 1) || isOneOf(next, "/@.:_%");
  const auto isComplete = [&] {
    return host.labels > 1 && topLevelDomains_.contains(host.topLabel);
  };
  switch (c) {
    case '%':
    case '@':
    case '^':
    case '=':
    case '+':
    case '$':
      return !isHostCharacterAt(portEnd + 1) && !isOneOf(next, "/@.:_%=+");
    case '*':  // emphasis, as "~"
    case '~':
      return !isHostCharacterAt(portEnd + 1);
    case '&':
      return !wordGoesOn || isPunctuationReference(text_.substr(portEnd, 6));
    case '-':
    case '_': {
      std::size_t end = portEnd;
      while (charAt(end) == c) ++end;
      steps_ += end - portEnd;
      return !isHostCharacterAt(end) && !isOneOf(charAt(end), "/@.:_-%");
    }
    case ':':
      // Neither a port that is none, nor "http://http://a.example", nor "joe@a.example:project".
      return next != '/' && !isAlphanumeric(next);
    case '.': {
      std::size_t end = portEnd;
      while (charAt(end) == '.') ++end;
      steps_ += end - portEnd;
      if (end - portEnd == 1) return !isOneOf(next, "-_%@") && !(hasPort && isDigit(next));
      if (!isHostCharacterAt(end)) return true;
      // "a.example...and" goes on with a word; "a..example" is a name with a hole.
      return end - portEnd > 2 || isComplete();
    }
    case '\'':
      if (next == 's' && !isHostCharacterAt(portEnd + 2)) return true;
      [[fallthrough]];
    case '!':
    case '(':
    case '[':
    case '{':
    case ',':
    case ';':
    case '`':
    case '|':
      // "http://foo!bar.example" is not about the host "foo".
      return !isHostCharacterAt(portEnd + 1) || isComplete() || beginsAnotherLink(text_, portEnd);
    default:
      break;
  }
  if ((hasPort || host.topLabel.empty()) && isHostCharacterAt(portEnd)) return false;
  if (portEnd >= text_.size() || isASCII(c)) return true;
  // A name that goes on behind something that nobody sees.
  std::size_t end = portEnd;
  while (end < text_.size() && !isASCII(text_[end])) {
    const Character character = characterAt(text_, end);
    ++steps_;
    if (!isInvisible(character.scalar)) break;
    end += character.length;
  }
  if (end == portEnd) return true;
  return !isHostCharacterAt(end) && !isHostSymbol(scalarAt(end)) &&
         !(charAt(end) == '.' && isHostCharacterAt(end + 1)) && !isOneOf(charAt(end), "@-_:/");
}

std::size_t LinkNames::userInfoEnd(std::size_t begin) {
  std::size_t end = begin;
  for (std::size_t at = begin; at < text_.size();) {
    const Character character = characterAt(text_, at);
    ++steps_;
    at += character.length;
    if (character.scalar == '@') {
      end = at;
    } else if (!isHostCharacter(character.scalar) &&
               (character.scalar >= 0x80 ||
                !isOneOf(static_cast<char>(character.scalar), kUserInfoPunctuation))) {
      break;
    }
  }
  return end;
}

/// Where a local part begins of which "=" is a part or not: an address that carries another one
/// ("bounces+joe=a.example@b.example") is whole, "mail=joe@a.example" has a label before it.
std::size_t LinkNames::cutAtEqualsSign(std::size_t begin, std::size_t at, bool& refused) const {
  const std::string_view local = slice(begin, at);
  const std::size_t sign = local.rfind('=');
  if (sign == std::string_view::npos) return begin;
  const std::string_view name = local.substr(sign + 1);
  if (name.starts_with('\'') || name.starts_with('"')) return begin + sign + 1;
  const std::string_view word = local.substr(0, sign);
  if (isLabelWord(word)) return begin + sign + 1;
  const bool carriesAddress =
      name.find('.') != std::string_view::npos || word.find('=') != std::string_view::npos;
  if (!carriesAddress) refused = true;
  return begin;
}

std::optional<std::size_t> LinkNames::localPartBegin(std::size_t at, std::size_t from) {
  std::size_t begin = at;
  bool ellipsis = false;
  while (begin > from) {
    const Character character = characterBefore(text_, begin);
    ++steps_;
    if (!isLocalPartCharacter(character.scalar)) break;
    if (begin < at && isASCII(text_[begin]) && isWrittenWithoutSpaces(character.scalar)) break;
    if (character.scalar == '.' && begin < at && text_[begin] == '.') {
      ellipsis = begin >= from + 2 && text_[begin - 2] == '.';
      if (!ellipsis && begin >= from + 2 && isAlphanumeric(text_[begin - 2])) return std::nullopt;
      ellipsis = true;
      break;
    }
    begin -= character.length;
    if (at - begin > kMaxLocalPart) return std::nullopt;
  }
  if (begin == at) return at;

  const char before = begin > from ? text_[begin - 1] : ' ';
  // Right behind another address any of these only parts the two.
  const bool followsLink = from > 0 && begin == from + 1;
  if (isOneOf(before, "/?!#$^\\@") && !followsLink) return std::nullopt;
  if (isOneOf(before, "*`|}") && begin >= from + 2 && isAlphanumeric(text_[begin - 2])) {
    if (!followsLink) return std::nullopt;
  }
  if (isCutBefore(begin, from)) return std::nullopt;

  while (begin < at && isASCII(text_[begin]) && !isAlphanumeric(text_[begin]) &&
         text_[begin] != '_') {
    const bool parts =
        isOneOf(text_[begin], "'-=&") || (text_[begin] == '.' && ellipsis) || begin + 1 == at;
    if (!parts && text_[begin] != '.') return std::nullopt;
    ++begin;
  }
  bool refused = false;
  if (begin < at) begin = cutAtEqualsSign(begin, at, refused);
  while (begin < at && text_[begin] == '\'') ++begin;
  if (refused) return std::nullopt;
  return begin;
}

bool LinkNames::isInLocalPart(std::size_t at) {
  std::size_t end = at;
  while (end < text_.size() && end - at <= kMaxLocalPart) {
    const Character character = characterAt(text_, end);
    ++steps_;
    if (character.scalar == '@') return end == at || isHostCharacterAt(end + 1);
    if (!isLocalPartCharacter(character.scalar)) return false;
    end += character.length;
  }
  return false;
}

bool LinkNames::isFreeOfPrefix(std::size_t begin, std::size_t from) const {
  if (begin <= from || text_[begin - 1] != ':') return true;
  const std::size_t colon = begin - 1;
  std::size_t word = colon;
  while (word > from && colon - word <= kMaxWord &&
         (isAlphanumeric(text_[word - 1]) || isOneOf(text_[word - 1], "+-"))) {
    --word;
  }
  if (word == colon || !isLetter(text_[word])) return true;
  if (word > from && text_[word - 1] == ':') return false;
  const std::string_view prefix = slice(word, colon);
  const LinkScheme* scheme = findLinkScheme(prefix);
  return scheme == nullptr && isLabelWord(prefix);
}

bool LinkNames::isCutBefore(std::size_t begin, std::size_t from) const {
  if (begin <= from || isASCII(text_[begin - 1])) return false;
  const Character before = characterBefore(text_, begin);
  if (isHostSymbol(before.scalar)) return !isBullet(before.scalar);
  const std::size_t end = begin - before.length;
  if (isWideDot(before.scalar)) return end > from && isAlphanumeric(text_[end - 1]);
  if (!isInvisible(before.scalar) || end <= from) return false;
  const char32_t behind = characterBefore(text_, end).scalar;
  return isHostCharacter(behind) || behind == '.' || (isHostSymbol(behind) && !isBullet(behind));
}

std::size_t LinkNames::refusedEnd(std::size_t begin, Until until) {
  std::size_t end = begin;
  while (end < text_.size()) {
    const Character character = characterAt(text_, end);
    ++steps_;
    if (!isLinkCharacter(character.scalar) && !isInvisible(character.scalar) &&
        !isWideDot(character.scalar) && !isOneOf(text_[end], "\\`")) {
      break;
    }
    if (until == Until::comma && isOneOf(text_[end], ",;|")) break;
    if (until != Until::space && beginsAnotherLink(text_, end)) break;
    if (text_[end] == ']' && charAt(end + 1) == '(') break;  // the text of a link in Markdown
    end += character.length;
  }
  return end;
}

}  // namespace korvane::links
